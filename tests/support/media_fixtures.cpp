// Progressive files, the colour-bar pattern, DASH and the garbage file. The
// HLS presentations are in hls_fixtures.cpp.
#include "support/media_fixtures.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <system_error>

#include "support/file_util.h"
#include "support/media_recipes.h"

namespace fs = std::filesystem;

namespace zent::test {

// ---- Progressive files -------------------------------------------------

std::string mp4_720p() {
  return cachedMedia("mp4_720p-v1.mp4", [](const std::string& out) {
    runFfmpeg(Args{} + testPattern(1280, 720, 10) + sineTone(440, 10) + Args{"-t", "10"} +
              h264Video() + Args{"-crf", "23"} + aacAudio("128k") +
              Args{"-movflags", "+faststart", out});
  });
}

std::string mp4_rotated() {
  return cachedMedia("mp4_rotated-v3.mp4", [](const std::string& out) {
    const std::string plain = out + ".unrotated.mp4";
    runFfmpeg(Args{} + testPattern(640, 360, 4) + Args{"-t", "4"} + h264Video() +
              Args{"-crf", "23", plain});
    // ffmpeg 5.1 turns the "rotate" tag into a display matrix only when
    // remuxing. "270" (counter-clockwise) stores the matrix that turns the
    // picture 90 degrees clockwise, as a phone held upright records it.
    try {
      runFfmpeg({"-i", plain, "-map", "0", "-c", "copy", "-metadata:s:v:0", "rotate=270",
                 "-movflags", "+faststart", out});
    } catch (...) {
      fs::remove(plain);
      throw;
    }
    fs::remove(plain);
  });
}

std::string mp4_1080p() {
  return cachedMedia("mp4_1080p-v1.mp4", [](const std::string& out) {
    runFfmpeg(Args{} + testPattern(1920, 1080, 10) + sineTone(440, 10) + Args{"-t", "10"} +
              h264Video() + Args{"-b:v", "6M", "-maxrate", "6M", "-bufsize", "12M"} +
              aacAudio("128k") + Args{"-movflags", "+faststart", out});
  });
}

// ---- Colour bars -------------------------------------------------------

const std::array<PatternBand, 8>& patternBands() {
  // Y'CbCr from R'G'B' with the BT.709 matrix, scaled to limited range
  // (Y 16..235, Cb/Cr 16..240) and rounded to the nearest code.
  static const std::array<PatternBand, 8> bands = {{
      {"white", 0, 160, 255, 255, 255, 235, 128, 128},
      {"yellow", 160, 320, 255, 255, 0, 219, 16, 138},
      {"cyan", 320, 480, 0, 255, 255, 188, 154, 16},
      {"green", 480, 640, 0, 255, 0, 173, 42, 26},
      {"magenta", 640, 800, 255, 0, 255, 78, 214, 230},
      {"red", 800, 960, 255, 0, 0, 63, 102, 240},
      {"blue", 960, 1120, 0, 0, 255, 32, 240, 118},
      {"black", 1120, 1280, 0, 0, 0, 16, 128, 128},
  }};
  return bands;
}

namespace {

// One I420 frame whose Y'CbCr codes depend on the column only.
std::string frameI420(const std::function<std::array<uint8_t, 3>(size_t)>& codesAt) {
  constexpr size_t kW = kPatternWidth, kH = kPatternHeight;
  std::string frame(kW * kH * 3 / 2, '\0');
  for (size_t x = 0; x < kW; ++x) {
    const auto codes = codesAt(x);
    for (size_t row = 0; row < kH; ++row) frame[row * kW + x] = codes[0];
    for (size_t row = 0; row < kH / 2 && x % 2 == 0; ++row) {
      frame[kW * kH + row * kW / 2 + x / 2] = codes[1];
      frame[kW * kH * 5 / 4 + row * kW / 2 + x / 2] = codes[2];
    }
  }
  return frame;
}

// The raw frame goes straight to the encoder, so no RGB-to-YUV step of
// ffmpeg's own stands between the codes and the stream. Flat 16x16-aligned
// blocks at CRF 18 decode exactly.
void encodeStill(const std::string& frame, const std::string& out) {
  const std::string raw = out + ".frame.yuv";
  writeFile(raw, frame);
  try {
    runFfmpeg(Args{"-f", "rawvideo", "-pix_fmt", "yuv420p", "-s", "1280x720", "-r", "30",
                   "-stream_loop", "-1", "-i", raw, "-t", "5"} +
              h264Video() +
              Args{"-crf", "18", "-colorspace", "bt709", "-color_primaries", "bt709", "-color_trc",
                   "bt709", "-color_range", "tv", "-movflags", "+faststart", out});
  } catch (...) {
    fs::remove(raw);
    throw;
  }
  fs::remove(raw);
}

}  // namespace

std::string mp4_pattern() {
  return cachedMedia("mp4_pattern-v1.mp4", [](const std::string& out) {
    // Bands are 160 pixels wide: no 2x2 chroma block straddles two of them.
    encodeStill(frameI420([](size_t x) {
                  const PatternBand& band = patternBands()[x / 160];
                  return std::array<uint8_t, 3>{band.y, band.u, band.v};
                }),
                out);
  });
}

std::string mp4_deep_blue() {
  return cachedMedia("mp4_deep_blue-v1.mp4", [](const std::string& out) {
    encodeStill(frameI420([](size_t) { return std::array<uint8_t, 3>{31, 233, 118}; }), out);
  });
}

std::string dash_vod() {
  return cachedMedia("dash_vod-v1", [](const std::string& out) {
    fs::create_directories(out);
    runFfmpeg(Args{} + testPattern(1280, 720, 10) + sineTone(440, 10) + Args{"-t", "10"} +
              Args{"-filter_complex", kThreeRungSplitSameShape, "-map", "[v0]", "-map", "[v1]",
                   "-map", "[v2]", "-map", "1:a"} +
              h264Video() + Args{"-profile:v", "baseline"} + threeRungRates() + aacAudio("64k") +
              Args{"-metadata:s:a:0", "language=en", "-f", "dash", "-seg_duration", "2",
                   "-use_template", "1", "-use_timeline", "0", "-adaptation_sets",
                   "id=0,streams=v id=1,streams=a", "-init_seg_name", "init-$RepresentationID$.m4s",
                   "-media_seg_name", "chunk-$RepresentationID$-$Number%05d$.m4s",
                   out + "/manifest.mpd"});
  });
}

// ---- Garbage -----------------------------------------------------------

std::string garbage_file() {
  return cachedMedia("garbage-v1.mp4", [](const std::string& out) {
    std::string bytes = "This is not a media file.\n";
    uint32_t state = 12345;  // a fixed seed: the same bytes every time
    while (bytes.size() < 64 * 1024) {
      state = state * 1103515245u + 12345u;
      bytes.push_back(static_cast<char>((state >> 16) & 0xff));
    }
    writeFile(out, bytes);
  });
}

}  // namespace zent::test
