#include "png_file.h"

#include <png.h>

#include <cstdio>
#include <cstring>
#include <memory>

namespace zentplay {
namespace {

struct FileCloser {
  void operator()(FILE* file) const { std::fclose(file); }
};

}  // namespace

bool writePngRgba(const std::string& path, int width, int height, const std::vector<uint8_t>& rgba,
                  std::string& error) {
  if (width <= 0 || height <= 0 ||
      rgba.size() != static_cast<size_t>(width) * static_cast<size_t>(height) * 4) {
    error = "no picture to write";
    return false;
  }
  std::unique_ptr<FILE, FileCloser> file(std::fopen(path.c_str(), "wb"));
  if (!file) {
    error = "cannot create " + path + ": " + std::strerror(errno);
    return false;
  }
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
  if (info == nullptr) {
    png_destroy_write_struct(&png, nullptr);
    error = "libpng cannot start";
    return false;
  }
  // libpng reports errors by longjmp; nothing with a destructor is made below.
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    error = "libpng failed writing " + path;
    return false;
  }
  png_init_io(png, file.get());
  // Fast, light compression: snapshots are taken while the video plays.
  png_set_compression_level(png, 1);
  png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), 8,
               PNG_COLOR_TYPE_RGBA, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  const size_t stride = static_cast<size_t>(width) * 4;
  for (int row = 0; row < height; ++row) {
    png_write_row(png, const_cast<png_bytep>(rgba.data() + row * stride));
  }
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  if (std::fflush(file.get()) != 0) {
    error = "cannot write " + path + ": " + std::strerror(errno);
    return false;
  }
  return true;
}

}  // namespace zentplay
