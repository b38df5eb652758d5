#include "support/invariant.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "support/logger.h"

namespace zent {

void reportBrokenInvariant(std::string_view operation, std::string_view condition) {
  std::string message = std::string(operation) + ": " + std::string(condition);
#ifdef ZENT_ABORT_ON_INVARIANT
  std::string line = Logger::formatLine(LogLevel::ERROR, message, false, true) + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
  std::abort();
#else
  Logger::log(LogLevel::ERROR, message);
#endif
}

}  // namespace zent
