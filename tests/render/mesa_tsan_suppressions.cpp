// ThreadSanitizer cannot see the synchronisation inside Mesa's software rasteriser and
// reports races there that are not ours; linked into what renders through llvmpipe.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ZENT_TSAN_BUILD 1
#endif
#endif
#if defined(__SANITIZE_THREAD__) || defined(ZENT_TSAN_BUILD)
extern "C" const char* __tsan_default_suppressions() {
  return "race:swrast_dri.so\nrace:libgallium\nrace:llvmpipe\nmutex:swrast_dri.so\n"
         "deadlock:swrast_dri.so\n";
}
#endif
