// Writes the timed-ID3 test streams to a directory, for looking at them by hand:
//   make_id3_hls <directory> [ts|packed]
#include <cstdio>
#include <exception>
#include <string>

#include "metadata/timed_id3_hls.h"

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s <directory> [ts|packed]\n", argv[0]);
    return 2;
  }
  try {
    std::string kind = argc > 2 ? argv[2] : "ts";
    auto stream = kind == "packed" ? zent::testing::makePackedAudioId3Hls(argv[1])
                                   : zent::testing::makeTimedId3Hls(argv[1]);
    std::printf("%s\n", stream.playlist.c_str());
    for (const auto& tag : stream.tags) {
      std::printf("%.3f s: %zu-byte ID3 tag\n", tag.seconds, tag.tag.size());
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
