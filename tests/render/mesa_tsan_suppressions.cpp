// ThreadSanitizer does not see the synchronisation inside Mesa's software
// rasteriser (its worker threads and fences live in the uninstrumented driver), and
// reports races there that are not ours. Link this file into a test that renders
// through llvmpipe; it has no effect in other builds.

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
  return "race:swrast_dri.so\n"
         "race:libgallium\n"
         "race:llvmpipe\n"
         "mutex:swrast_dri.so\n"
         "deadlock:swrast_dri.so\n";
}
#endif
