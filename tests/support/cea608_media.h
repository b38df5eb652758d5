// H.264 test media carrying line-21 captions in A/53 "GA94" SEI user data, as
// broadcast streams do: made by encoding a test pattern with ffmpeg and writing
// one SEI NAL unit with that frame's cc_data before each picture.
#ifndef ZENT_TESTS_SUPPORT_CEA608_MEDIA_H
#define ZENT_TESTS_SUPPORT_CEA608_MEDIA_H

#include <string>
#include <vector>

namespace zent::test {

// What a viewer of one channel sees from a given presentation time on.
struct CaptionScreen {
  double seconds;
  const char* text;  // rows joined by "\n"; "" for a clear screen
};

// 6 s of 320x240 30 fps video. CC1 (field 1): pop-on "Café ♪" at 1.0 s, cleared
// at 2.0 s, then roll-up (two rows) "One", "Two", "½ Three" typed from 2.5 s on,
// cleared at 5.0 s. CC3 (field 2): pop-on "Hola ñ" at 1.5 s, cleared at 4.0 s.
extern const std::vector<CaptionScreen> kCc1Screens;
extern const std::vector<CaptionScreen> kCc3Screens;

// Progressive MP4 (file).
std::string cea608Mp4();

// HLS (directory; open "master.m3u8"): MPEG-TS segments of 2 s, and a master
// playlist whose variant has CLOSED-CAPTIONS="cc" with two renditions:
std::string cea608Hls();

}  // namespace zent::test

#endif
