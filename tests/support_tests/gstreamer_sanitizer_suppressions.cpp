// The progressive seek test runs a GStreamer pipeline in this process.
//
// GStreamer and GLib are not built with ThreadSanitizer, so it cannot see their
// atomics-based synchronisation and reports races and lock-order cycles inside
// them. Those are not ours; races with a frame in our own code are still
// reported. GLib and GStreamer also keep a few process-lifetime allocations
// (type and plugin tables) that LeakSanitizer reports at exit. Each hook only
// has an effect in its sanitizer's build.

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ZENT_TSAN_BUILD 1
#endif
#endif
#if defined(__SANITIZE_THREAD__)
#define ZENT_TSAN_BUILD 1
#endif

#if defined(ZENT_TSAN_BUILD)
extern "C" const char* __tsan_default_suppressions() {
  return "race:libglib-2.0.so\n"
         "race:libgobject-2.0.so\n"
         "race:libgio-2.0.so\n"
         "race:libgstreamer-1.0.so\n"
         "race:libgstbase-1.0.so\n"
         "race:libgstaudio-1.0.so\n"
         "race:libgstvideo-1.0.so\n"
         "race:libgstplayback.so\n"
         "race:libgstlibav.so\n"
         "race:libavcodec.so\n"
         "race:libavutil.so\n"
         "race:libproxy.so\n"
         "deadlock:libgstbase-1.0.so\n"
         "deadlock:libgstreamer-1.0.so\n"
         "deadlock:libgstplayback.so\n"
         "deadlock:libgstvideo-1.0.so\n"
         "deadlock:libavcodec.so\n"
         "mutex:libgstreamer-1.0.so\n"
         "called_from_lib:libglib-2.0.so\n";
}
#endif

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZENT_ASAN_BUILD 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define ZENT_ASAN_BUILD 1
#endif

#if defined(ZENT_ASAN_BUILD)
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libglib-2.0.so\n"
         "leak:libgobject-2.0.so\n"
         "leak:libgstreamer-1.0.so\n";
}
#endif
