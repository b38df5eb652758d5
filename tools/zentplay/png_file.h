#pragma once

// PNG snapshots with libpng.

#include <cstdint>
#include <string>
#include <vector>

namespace zentplay {

// Writes 8-bit RGBA rows (top row first, tightly packed) as `path`. False with
// the reason in `error` when the file cannot be written.
bool writePngRgba(const std::string& path, int width, int height, const std::vector<uint8_t>& rgba,
                  std::string& error);

}  // namespace zentplay
