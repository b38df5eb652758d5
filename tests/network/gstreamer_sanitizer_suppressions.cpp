// GLib, GStreamer and FFmpeg run uninstrumented here: the sanitizers cannot see their
// synchronisation and report their process-lifetime tables. network_tests runs no pipeline.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ZENT_NETWORK_TSAN 1
#endif
#if __has_feature(address_sanitizer)
#define ZENT_NETWORK_ASAN 1
#endif
#endif
#if defined(__SANITIZE_THREAD__)
#define ZENT_NETWORK_TSAN 1
#endif
#if defined(__SANITIZE_ADDRESS__)
#define ZENT_NETWORK_ASAN 1
#endif

#if defined(ZENT_NETWORK_TSAN)
extern "C" const char* __tsan_default_suppressions() {
  return "race:libglib-2.0.so\nrace:libgobject-2.0.so\nrace:libgio-2.0.so\nrace:gstreamer-1.0\n"
         "race:libgst\nrace:libavcodec.so\nrace:libavutil.so\nrace:libffi.so\nrace:libproxy.so\n"
         "race:libsoup-3.0.so\ndeadlock:gstreamer-1.0\ndeadlock:libgst\ndeadlock:libavcodec.so\n"
         "mutex:libgstreamer-1.0.so\n";
}
#endif

#if defined(ZENT_NETWORK_ASAN)
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libglib-2.0.so\nleak:libgobject-2.0.so\nleak:libgstreamer-1.0.so\n"
         "leak:libgstadaptivedemux2.so\nleak:libgstzentadaptivedemux2.so\nleak:_dl_init\n";
}
#endif
