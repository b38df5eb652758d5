// ThreadSanitizer cannot see the synchronisation inside Mesa's software rasteriser (its
// threads live in the uninstrumented driver) and reports races there that are not ours.
// Linked into what renders through llvmpipe; no effect in other builds.
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
  return "race:swrast_dri.so\nrace:libgallium\nrace:llvmpipe\nmutex:swrast_dri.so\n"
         "deadlock:swrast_dri.so\n";
}
#endif
