#include "support/cea608_media.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "support/cea608_pairs.h"
#include "support/file_util.h"
#include "support/media_cache.h"
#include "support/media_recipes.h"
#include "support/scoped_temp_dir.h"

namespace zent::test {
namespace {

using namespace zent::testing;

constexpr int kFrames = 180;  // 6 s at 30 fps
constexpr uint8_t RCL = 0x20, RU2 = 0x25, EDM = 0x2C, CR = 0x2D, ENM = 0x2E, EOC = 0x2F;

// One byte pair per frame and field; null pairs where nothing is sent.
struct Tracks {
  std::vector<CcPair> field1 = std::vector<CcPair>(kFrames, CcPair{0x80, 0x80});
  std::vector<CcPair> field2 = std::vector<CcPair>(kFrames, CcPair{0x80, 0x80});
};

void place(std::vector<CcPair>& track, int frame, const CcPairs& pairs) {
  for (const CcPair& pair : pairs) track.at(static_cast<size_t>(frame++)) = pair;
}

// A pop-on caption whose end of caption (sent twice, acting once) is at frame.
void popOn(std::vector<CcPair>& track, int frame, uint8_t misc, const CcPairs& text) {
  CcPairs pairs = control(0, misc, RCL) + control(0, misc, ENM) + preamble(0, 15) + text +
                  control(0, misc, EOC);
  place(track, frame - static_cast<int>(pairs.size()) + 2, pairs);
}

Tracks captionTracks() {
  Tracks tracks;
  // CC1: "Café ♪" (é from the basic set, ♪ from the special set).
  popOn(tracks.field1, 30, 0x14, text("Caf\x5C ") + control(0, 0x11, 0x37));
  place(tracks.field1, 60, misc(0, EDM));
  // Roll-up from 2.5 s: each pair a frame; "½" from the special set.
  place(tracks.field1, 75,
        misc(0, RU2) + text("One") + misc(0, CR) + text("Two") + misc(0, CR) +
            control(0, 0x11, 0x32) + text(" Three"));
  place(tracks.field1, 150, misc(0, EDM));
  // CC3, on field 2, whose miscellaneous codes start with 0x15.
  popOn(tracks.field2, 45, 0x15, text("Hola \x7E"));
  place(tracks.field2, 120, control(0, 0x15, EDM));
  return tracks;
}

// An SEI NAL unit (with start code) carrying one frame's cc_data as ATSC A/53
// user data registered by ITU-T T.35.
std::string captionSei(CcPair field1, CcPair field2) {
  std::vector<uint8_t> payload = {
      0xB5,     0x00,         0x31,          'G',  'A',          '9',           '4', 0x03,
      0x40 | 2,  // process_cc_data_flag, cc_count
      0xFF,      // em_data
      0xFC,     field1.first, field1.second, 0xFD, field2.first, field2.second, 0xFF};
  std::vector<uint8_t> rbsp = {0x04, static_cast<uint8_t>(payload.size())};
  rbsp.insert(rbsp.end(), payload.begin(), payload.end());
  rbsp.push_back(0x80);  // rbsp_trailing_bits
  std::string nal = std::string("\x00\x00\x00\x01\x06", 5);
  int zeros = 0;
  for (uint8_t byte : rbsp) {
    if (zeros >= 2 && byte <= 3) {  // emulation prevention
      nal += '\x03';
      zeros = 0;
    }
    nal += static_cast<char>(byte);
    zeros = byte == 0 ? zeros + 1 : 0;
  }
  return nal;
}

// Inserts one caption SEI before each picture of an Annex B stream (one slice
// per picture, no B-frames: stream order is presentation order).
std::string withCaptions(const std::string& annexB) {
  Tracks tracks = captionTracks();
  std::vector<size_t> starts;  // positions of the 00 00 01 of each NAL unit
  for (size_t i = 0; i + 3 <= annexB.size(); ++i) {
    if (annexB[i] == 0 && annexB[i + 1] == 0 && annexB[i + 2] == 1) starts.push_back(i);
  }
  std::string out;
  size_t copied = 0;
  int frame = 0;
  for (size_t start : starts) {
    if (start + 3 >= annexB.size()) break;
    int type = annexB[start + 3] & 0x1F;
    if (type != 1 && type != 5) continue;
    size_t nalBegin = (start > 0 && annexB[start - 1] == 0) ? start - 1 : start;
    out.append(annexB, copied, nalBegin - copied);
    copied = nalBegin;
    if (frame < kFrames) {
      out += captionSei(tracks.field1[static_cast<size_t>(frame)],
                        tracks.field2[static_cast<size_t>(frame)]);
    }
    ++frame;
  }
  out.append(annexB, copied, std::string::npos);
  if (frame != kFrames) throw std::runtime_error("unexpected picture count in caption media");
  return out;
}

// The captioned elementary stream, in dir.
std::string captionedH264(const ScopedTempDir& dir) {
  std::string plain = dir.file("plain.h264");
  runFfmpeg(testPattern(320, 240, 6) + h264Video() + Args{"-an", "-f", "h264", plain});
  return dir.write("captioned.h264", withCaptions(readFile(plain)));
}

}  // namespace

const std::vector<CaptionScreen> kCc1Screens = {{30 / 30.0, "Caf\xC3\xA9 \xE2\x99\xAA"},
                                                {60 / 30.0, ""},
                                                {78 / 30.0, "One"},
                                                {82 / 30.0, "One\nTwo"},
                                                {83 / 30.0, "Two"},
                                                {89 / 30.0, "Two\n\xC2\xBD Three"},
                                                {150 / 30.0, ""}};
const std::vector<CaptionScreen> kCc3Screens = {{45 / 30.0, "Hola \xC3\xB1"}, {120 / 30.0, ""}};

std::string cea608Mp4() {
  return cachedMedia("cea608-v1.mp4", [](const std::string& path) {
    ScopedTempDir dir;
    runFfmpeg({"-f", "h264", "-framerate", "30", "-i", captionedH264(dir), "-c", "copy", "-f",
               "mp4", path});
  });
}

std::string cea608Hls() {
  return cachedMedia("cea608_hls-v2", [](const std::string& path) {
    ScopedTempDir dir;
    std::string source = captionedH264(dir);
    std::filesystem::create_directories(path);
    runFfmpeg({"-f", "h264", "-framerate", "30", "-i", source, "-c", "copy", "-f", "hls",
               "-hls_time", "2", "-hls_playlist_type", "vod", "-hls_segment_filename",
               path + "/seg_%03d.ts", path + "/index.m3u8"});
    std::ofstream(path + "/master.m3u8")
        << "#EXTM3U\n#EXT-X-VERSION:4\n"
           "#EXT-X-MEDIA:TYPE=CLOSED-CAPTIONS,GROUP-ID=\"cc\",NAME=\"English\",LANGUAGE=\"en\","
           "INSTREAM-ID=\"CC1\",DEFAULT=YES,AUTOSELECT=YES\n"
           "#EXT-X-MEDIA:TYPE=CLOSED-CAPTIONS,GROUP-ID=\"cc\",NAME=\"Espa\xC3\xB1ol\","
           "LANGUAGE=\"es\",INSTREAM-ID=\"CC3\"\n"
           "#EXT-X-STREAM-INF:BANDWIDTH=400000,RESOLUTION=320x240,CODECS=\"avc1.42c00d\","
           "CLOSED-CAPTIONS=\"cc\"\nindex.m3u8\n";
  });
}

}  // namespace zent::test
