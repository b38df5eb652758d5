// White-box tests (linked with the library's code, not loading it): the library's
// Logger writes into logRecorder(), emptied first.
#ifndef ZENT_TESTS_SUPPORT_LIBRARY_LOG_H
#define ZENT_TESTS_SUPPORT_LIBRARY_LOG_H

#include "support/log_recorder.h"
#include "support/logger.h"

namespace zent::test {

inline void recordLibraryLog() {
  Logger::setCallback(logRecorderCallback);
  logRecorder().clear();
}

}  // namespace zent::test

#endif
