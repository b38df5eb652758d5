#include "render/frame_conversion.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string>

namespace zent {

FrameConversion frameConversionFor(std::string_view renderer, const char* override) {
  const std::string_view chosen = override != nullptr ? override : "";
  if (chosen == "gpu") return FrameConversion::Gpu;
  if (chosen == "cpu") return FrameConversion::Cpu;
  std::string lower(renderer);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  constexpr std::array<std::string_view, 3> kSoftware = {"llvmpipe", "softpipe", "swiftshader"};
  for (std::string_view name : kSoftware) {
    if (lower.find(name) != std::string::npos) return FrameConversion::Cpu;
  }
  return FrameConversion::Gpu;
}

}  // namespace zent
