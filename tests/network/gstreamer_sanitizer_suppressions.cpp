// GLib, GStreamer, its plugins and FFmpeg run uninstrumented in this process:
// ThreadSanitizer cannot see their synchronisation and LeakSanitizer reports
// their process-lifetime tables. The library's own network code is checked
// without these in network_tests, which runs no pipeline.

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
  return "race:libglib-2.0.so\n"
         "race:libgobject-2.0.so\n"
         "race:libgio-2.0.so\n"
         "race:gstreamer-1.0\n"
         "race:libgst\n"
         "race:libavcodec.so\n"
         "race:libavutil.so\n"
         "race:libffi.so\n"
         "race:libproxy.so\n"
         "race:libsoup-3.0.so\n"
         "deadlock:gstreamer-1.0\n"
         "deadlock:libgst\n"
         "deadlock:libavcodec.so\n"
         "mutex:libgstreamer-1.0.so\n";
}
#endif

#if defined(ZENT_NETWORK_ASAN)
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libglib-2.0.so\n"
         "leak:libgobject-2.0.so\n"
         "leak:libgstreamer-1.0.so\n"
         "leak:libgstadaptivedemux2.so\n"
         "leak:libgstzentadaptivedemux2.so\n"
         "leak:_dl_init\n";
}
#endif
