#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>

namespace zent {

// Float-to-int32 at the host boundary: truncation toward zero, NaN gives 0 and
// values beyond the int32 range saturate.
inline int32_t saturatingToInt32(double value) {
  if (std::isnan(value)) return 0;
  if (value >= 2147483647.0) return std::numeric_limits<int32_t>::max();
  if (value <= -2147483648.0) return std::numeric_limits<int32_t>::min();
  return static_cast<int32_t>(value);
}

inline bool fitsInt32(int64_t value) {
  return value >= std::numeric_limits<int32_t>::min() &&
         value <= std::numeric_limits<int32_t>::max();
}

// Truncation toward zero into int64, or nothing when the value is not finite or out of range.
inline std::optional<int64_t> truncateToInt64(double value) {
  if (!std::isfinite(value)) return std::nullopt;
  if (value >= 9223372036854775808.0 || value < -9223372036854775808.0) return std::nullopt;
  return static_cast<int64_t>(value);
}

}  // namespace zent
