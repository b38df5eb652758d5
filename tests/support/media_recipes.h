// Building blocks of the ffmpeg command lines behind the media fixtures.
#ifndef ZENT_TESTS_SUPPORT_MEDIA_RECIPES_H
#define ZENT_TESTS_SUPPORT_MEDIA_RECIPES_H

#include <initializer_list>
#include <string>
#include <vector>

namespace zent::test {

// An argument list that concatenates with +.
struct Args {
  std::vector<std::string> items;
  Args() = default;
  Args(std::initializer_list<std::string> list) : items(list) {}
  Args operator+(const Args& more) const {
    Args joined = *this;
    joined.items.insert(joined.items.end(), more.items.begin(), more.items.end());
    return joined;
  }
  operator const std::vector<std::string>&() const { return items; }
};

// testsrc2 at 30 fps as an input.
inline Args testPattern(int width, int height, int seconds) {
  return {"-f", "lavfi", "-i",
          "testsrc2=size=" + std::to_string(width) + "x" + std::to_string(height) +
              ":rate=30:duration=" + std::to_string(seconds)};
}

// A sine tone at 48 kHz as an input.
inline Args sineTone(int hertz, int seconds) {
  return {"-f", "lavfi", "-i",
          "sine=frequency=" + std::to_string(hertz) +
              ":sample_rate=48000:duration=" + std::to_string(seconds)};
}

// x264 at its fastest, 4:2:0, no B-frames, a keyframe exactly every 30 frames.
inline Args h264Video() {
  return {"-c:v", "libx264", "-preset", "ultrafast",   "-pix_fmt", "yuv420p",       "-bf",
          "0",    "-g",      "30",      "-keyint_min", "30",       "-sc_threshold", "0"};
}

// AAC-LC stereo.
inline Args aacAudio(const std::string& bitrate) {
  return {"-c:a", "aac", "-b:a", bitrate, "-ac", "2"};
}

// Input 0 (1280x720 video) split into the three rungs of the adaptive
// fixtures, labelled [v0] 426x240, [v1] 640x360, [v2] 1280x720, square pixels.
inline const char* const kThreeRungSplit =
    "[0:v]split=3[a][b][c];[a]scale=426:240,setsar=1[v0];[b]scale=640:360,setsar=1[v1];"
    "[c]setsar=1[v2]";

// The same rungs with the 16:9 display shape kept: 426x240 gets pixels of
// aspect 640:639. ffmpeg's DASH muxer requires one display aspect ratio per
// AdaptationSet.
inline const char* const kThreeRungSplitSameShape =
    "[0:v]split=3[a][b][c];[a]scale=426:240[v0];[b]scale=640:360[v1];[c]copy[v2]";

// Target (and cap) rates and levels of the three rungs: 300k, 800k, 2000k.
inline Args threeRungRates() {
  return {"-b:v:0", "300k",  "-maxrate:v:0", "300k",  "-bufsize:v:0", "600k",  "-level:v:0", "2.1",
          "-b:v:1", "800k",  "-maxrate:v:1", "800k",  "-bufsize:v:1", "1600k", "-level:v:1", "3.0",
          "-b:v:2", "2000k", "-maxrate:v:2", "2000k", "-bufsize:v:2", "4000k", "-level:v:2", "3.1"};
}

}  // namespace zent::test

#endif
