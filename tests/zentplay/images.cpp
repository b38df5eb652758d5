#include "images.h"

#include <png.h>

#include <bit>
#include <cstdio>
#include <memory>
#include <stdexcept>

#include "support/file_util.h"

namespace zent::test {

std::array<uint8_t, 3> RgbImage::at(int x, int y) const {
  if (x < 0 || y < 0 || x >= width || y >= height) {
    throw std::out_of_range("pixel " + std::to_string(x) + "," + std::to_string(y) +
                            " is outside a " + std::to_string(width) + "x" +
                            std::to_string(height) + " picture");
  }
  const size_t at = (static_cast<size_t>(y) * width + x) * 3;
  return {rgb[at], rgb[at + 1], rgb[at + 2]};
}

RgbImage readPng(const std::string& path) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&image, path.c_str())) {
    throw std::runtime_error("cannot read PNG " + path + ": " + image.message);
  }
  image.format = PNG_FORMAT_RGB;
  RgbImage result;
  result.width = static_cast<int>(image.width);
  result.height = static_cast<int>(image.height);
  result.rgb.resize(PNG_IMAGE_SIZE(image));
  if (!png_image_finish_read(&image, nullptr, result.rgb.data(), 0, nullptr)) {
    const std::string why = image.message;
    png_image_free(&image);
    throw std::runtime_error("cannot decode PNG " + path + ": " + why);
  }
  return result;
}

namespace {

// XWD header fields, all 32-bit big-endian, in file order.
enum XwdField {
  kHeaderSize,
  kFileVersion,
  kPixmapFormat,
  kPixmapDepth,
  kPixmapWidth,
  kPixmapHeight,
  kXOffset,
  kByteOrder,
  kBitmapUnit,
  kBitmapBitOrder,
  kBitmapPad,
  kBitsPerPixel,
  kBytesPerLine,
  kVisualClass,
  kRedMask,
  kGreenMask,
  kBlueMask,
  kBitsPerRgb,
  kColormapEntries,
  kNColors,
  kFieldCount = 25,
};

constexpr uint32_t kZPixmap = 2;
constexpr uint32_t kTrueColor = 4;
constexpr uint32_t kDirectColor = 5;
constexpr uint32_t kColorEntrySize = 12;

uint8_t channel(uint32_t pixel, uint32_t mask) {
  if (mask == 0) return 0;
  const int shift = std::countr_zero(mask);
  const uint32_t value = (pixel & mask) >> shift;
  const uint32_t maximum = mask >> shift;
  return static_cast<uint8_t>((value * 255 + maximum / 2) / maximum);
}

}  // namespace

RgbImage readXwd(const std::string& path) {
  const std::string data = readFile(path);
  auto field = [&data](int index) {
    const auto* p = reinterpret_cast<const uint8_t*>(data.data()) + index * 4;
    return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3];
  };
  if (data.size() < kFieldCount * 4) throw std::runtime_error(path + " is too short for XWD");
  const uint32_t bitsPerPixel = field(kBitsPerPixel);
  if (field(kFileVersion) != 7 || field(kPixmapFormat) != kZPixmap ||
      (field(kVisualClass) != kTrueColor && field(kVisualClass) != kDirectColor) ||
      (bitsPerPixel != 24 && bitsPerPixel != 32)) {
    throw std::runtime_error(path + " is not a 24/32-bit true-colour ZPixmap XWD file");
  }
  RgbImage image;
  image.width = static_cast<int>(field(kPixmapWidth));
  image.height = static_cast<int>(field(kPixmapHeight));
  const size_t stride = field(kBytesPerLine);
  const size_t bytesPerPixel = bitsPerPixel / 8;
  const size_t pixelsAt = field(kHeaderSize) + size_t{field(kNColors)} * kColorEntrySize;
  if (stride < image.width * bytesPerPixel ||
      data.size() < pixelsAt + stride * static_cast<size_t>(image.height)) {
    throw std::runtime_error(path + " holds fewer pixels than its header says");
  }
  const bool mostSignificantFirst = field(kByteOrder) == 1;
  const uint32_t red = field(kRedMask), green = field(kGreenMask), blue = field(kBlueMask);
  image.rgb.resize(static_cast<size_t>(image.width) * image.height * 3);
  const auto* pixels = reinterpret_cast<const uint8_t*>(data.data()) + pixelsAt;
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) {
      const uint8_t* p = pixels + y * stride + x * bytesPerPixel;
      uint32_t value = 0;
      for (size_t i = 0; i < bytesPerPixel; ++i) {
        const size_t byte = mostSignificantFirst ? i : bytesPerPixel - 1 - i;
        value = (value << 8) | p[byte];
      }
      uint8_t* out = image.rgb.data() + (static_cast<size_t>(y) * image.width + x) * 3;
      out[0] = channel(value, red);
      out[1] = channel(value, green);
      out[2] = channel(value, blue);
    }
  }
  return image;
}

}  // namespace zent::test
