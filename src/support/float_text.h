#pragma once

#include <string>

namespace zent {

// Shortest decimal text that reads back to the same float, with at least one
// digit after the point ("1.0", "0.5", "1e+10" stays as it is).
std::string floatText(float value);

}  // namespace zent
