#include "metadata/timed_id3_hls.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <stdexcept>

#include "metadata/id3_tag_builder.h"

namespace zent::testing {
namespace {

namespace fs = std::filesystem;

constexpr size_t kPacketSize = 188;
constexpr uint16_t kId3Pid = 0x0102;
constexpr uint8_t kMetadataStreamType = 0x15;
constexpr double kSegmentSeconds = 2.0;

std::vector<uint8_t> readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + path.string());
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void writeFile(const fs::path& path, const std::vector<uint8_t>& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
  if (!out) throw std::runtime_error("cannot write " + path.string());
}

void runFfmpeg(const std::string& arguments) {
  std::string command = "ffmpeg -nostdin -hide_banner -loglevel error -y " + arguments;
  if (std::system(command.c_str()) != 0) throw std::runtime_error("ffmpeg failed: " + command);
}

std::string quoted(const fs::path& path) {
  return "'" + path.string() + "'";
}

struct Segment {
  std::string uri;
  double seconds;
};

std::vector<Segment> readPlaylist(const fs::path& playlist) {
  std::ifstream in(playlist);
  std::vector<Segment> segments;
  std::string line;
  double pending = -1;
  while (std::getline(in, line)) {
    if (line.rfind("#EXTINF:", 0) == 0) {
      pending = std::stod(line.substr(8));
    } else if (!line.empty() && line[0] != '#' && pending >= 0) {
      segments.push_back({line, pending});
      pending = -1;
    }
  }
  if (segments.empty()) throw std::runtime_error("no segments in " + playlist.string());
  return segments;
}

// MPEG-2 systems CRC-32 (polynomial 0x04C11DB7, not reflected).
uint32_t crc32Mpeg(const uint8_t* data, size_t size) {
  uint32_t crc = 0xFFFFFFFF;
  for (size_t i = 0; i < size; ++i) {
    crc ^= uint32_t{data[i]} << 24;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 0x80000000) ? (crc << 1) ^ 0x04C11DB7 : crc << 1;
  }
  return crc;
}

uint16_t pidOf(const uint8_t* packet) {
  return ((packet[1] & 0x1F) << 8) | packet[2];
}
bool startsUnit(const uint8_t* packet) {
  return packet[1] & 0x40;
}

// Offset of the payload in a transport packet, or nothing when it has none.
std::optional<size_t> payloadOffset(const uint8_t* packet) {
  uint8_t control = (packet[3] >> 4) & 0x3;
  if (!(control & 0x1)) return std::nullopt;
  size_t offset = 4;
  if (control & 0x2) offset += 1 + packet[4];
  if (offset >= kPacketSize) return std::nullopt;
  return offset;
}

std::optional<uint64_t> pesPts(const uint8_t* packet) {
  std::optional<size_t> offset = payloadOffset(packet);
  if (!offset || *offset + 14 > kPacketSize) return std::nullopt;
  const uint8_t* pes = packet + *offset;
  if (pes[0] != 0 || pes[1] != 0 || pes[2] != 1 || !(pes[7] & 0x80)) return std::nullopt;
  const uint8_t* p = pes + 9;
  return (uint64_t{p[0] & 0x0Eu} << 29) | (uint64_t{p[1]} << 22) | (uint64_t{p[2] & 0xFEu} << 14) |
         (uint64_t{p[3]} << 7) | (p[4] >> 1);
}

void appendBytes(std::vector<uint8_t>& out, std::initializer_list<uint8_t> bytes) {
  out.insert(out.end(), bytes.begin(), bytes.end());
}

// The "ID3 " identification shared by the metadata pointer and metadata
// descriptors: application format 0xFFFF with identifier "ID3 ", format 0xFF
// with identifier "ID3 ", service id 0.
void appendId3Identification(std::vector<uint8_t>& out) {
  appendBytes(out, {0xFF, 0xFF, 'I', 'D', '3', ' ', 0xFF, 'I', 'D', '3', ' ', 0x00});
}

// Rewrites a PMT packet: a metadata_pointer_descriptor in the program info and
// an elementary stream of type 0x15 on kId3Pid with a metadata_descriptor.
void addMetadataStreamToPmt(uint8_t* packet) {
  std::optional<size_t> offset = payloadOffset(packet);
  if (!offset) throw std::runtime_error("PMT packet without payload");
  size_t sectionStart = *offset + 1 + packet[*offset];
  const uint8_t* section = packet + sectionStart;
  if (section[0] != 0x02) throw std::runtime_error("not a PMT section");
  size_t sectionLength = ((section[1] & 0x0F) << 8) | section[2];
  uint16_t programNumber = (section[3] << 8) | section[4];
  size_t programInfoLength = ((section[10] & 0x0F) << 8) | section[11];
  const uint8_t* streamsBegin = section + 12 + programInfoLength;
  const uint8_t* streamsEnd = section + 3 + sectionLength - 4;

  std::vector<uint8_t> programInfo(section + 12, streamsBegin);
  appendBytes(programInfo, {0x25, 15});
  appendId3Identification(programInfo);
  appendBytes(programInfo, {0x1F, static_cast<uint8_t>(programNumber >> 8),
                            static_cast<uint8_t>(programNumber & 0xFF)});

  std::vector<uint8_t> streams(streamsBegin, streamsEnd);
  appendBytes(streams, {kMetadataStreamType, static_cast<uint8_t>(0xE0 | (kId3Pid >> 8)),
                        static_cast<uint8_t>(kId3Pid & 0xFF), 0xF0, 15, 0x26, 13});
  appendId3Identification(streams);
  appendBytes(streams, {0x0F});

  std::vector<uint8_t> rebuilt(section, section + 10);
  size_t newLength = 9 + programInfo.size() + streams.size() + 4;
  rebuilt[1] = static_cast<uint8_t>((section[1] & 0xF0) | (newLength >> 8));
  rebuilt[2] = static_cast<uint8_t>(newLength & 0xFF);
  appendBytes(rebuilt, {static_cast<uint8_t>(0xF0 | (programInfo.size() >> 8)),
                        static_cast<uint8_t>(programInfo.size() & 0xFF)});
  rebuilt.insert(rebuilt.end(), programInfo.begin(), programInfo.end());
  rebuilt.insert(rebuilt.end(), streams.begin(), streams.end());
  appendBigEndian32(rebuilt, crc32Mpeg(rebuilt.data(), rebuilt.size()));
  if (sectionStart + rebuilt.size() > kPacketSize) throw std::runtime_error("PMT too long");
  std::copy(rebuilt.begin(), rebuilt.end(), packet + sectionStart);
  std::fill(packet + sectionStart + rebuilt.size(), packet + kPacketSize, 0xFF);
}

struct ProgramPids {
  uint16_t pmt = 0;
  std::vector<uint16_t> elementary;
};

ProgramPids findProgram(const std::vector<uint8_t>& ts) {
  ProgramPids pids;
  for (size_t at = 0; at + kPacketSize <= ts.size(); at += kPacketSize) {
    const uint8_t* packet = &ts[at];
    std::optional<size_t> offset = payloadOffset(packet);
    if (!startsUnit(packet) || !offset) continue;
    const uint8_t* section = packet + *offset + 1 + packet[*offset];
    if (pidOf(packet) == 0 && pids.pmt == 0) {
      pids.pmt = ((section[10] & 0x1F) << 8) | section[11];  // first program entry
    } else if (pids.pmt != 0 && pidOf(packet) == pids.pmt) {
      size_t sectionLength = ((section[1] & 0x0F) << 8) | section[2];
      size_t programInfoLength = ((section[10] & 0x0F) << 8) | section[11];
      const uint8_t* p = section + 12 + programInfoLength;
      const uint8_t* end = section + 3 + sectionLength - 4;
      while (p + 5 <= end) {
        pids.elementary.push_back(((p[1] & 0x1F) << 8) | p[2]);
        p += 5 + (((p[3] & 0x0F) << 8) | p[4]);
      }
      return pids;
    }
  }
  throw std::runtime_error("no PAT/PMT in the first segment");
}

std::vector<uint8_t> privTimestamp(uint64_t pts90k) {
  std::string owner = "com.apple.streaming.transportStreamTimestamp";
  std::vector<uint8_t> body(owner.begin(), owner.end());
  body.push_back(0);
  for (int shift = 56; shift >= 0; shift -= 8) body.push_back((pts90k >> shift) & 0xFF);
  return body;
}

}  // namespace

std::vector<TimedId3Tag> timedId3TestTags() {
  return {
      {0.5, Id3TagBuilder(4)
                .text("TALB", "First Album")
                .text("TOPE", "First Artist", TextEncoding::Latin1)
                .text("TIT1", "First Title")
                .text("TIT2", "Standard Title")
                .comment("eng", "", "First comment")
                .userText("station", "first text")
                .build()},
      {2.5, Id3TagBuilder(3)
                .text("TALB", "Second Album", TextEncoding::Utf16)
                .text("TIT1", "Second Títle", TextEncoding::Utf16)
                .comment("eng", "", "Second comment", TextEncoding::Utf16)
                .build()},
      {4.5, Id3TagBuilder(4)
                .text("TOPE", "Ärtist Ünïcode", TextEncoding::Utf16BigEndian)
                .userText("station", "third text ✓")
                .text("TIT2", "Other Standard Title")
                .build()},
  };
}

std::vector<uint8_t> timedId3TransportPackets(const std::vector<uint8_t>& tag, uint16_t pid,
                                              uint64_t pts90k, uint8_t& continuityCounter) {
  std::vector<uint8_t> pes{0x00, 0x00, 0x01, 0xBD};
  size_t pesLength = 3 + 5 + tag.size();
  if (pesLength > 0xFFFF) throw std::invalid_argument("ID3 tag too large for one PES packet");
  appendBytes(pes, {static_cast<uint8_t>(pesLength >> 8), static_cast<uint8_t>(pesLength & 0xFF),
                    0x84, 0x80, 0x05});
  appendBytes(pes, {static_cast<uint8_t>(0x21 | ((pts90k >> 29) & 0x0E)),
                    static_cast<uint8_t>(pts90k >> 22), static_cast<uint8_t>(0x01 | (pts90k >> 14)),
                    static_cast<uint8_t>(pts90k >> 7), static_cast<uint8_t>(0x01 | (pts90k << 1))});
  pes.insert(pes.end(), tag.begin(), tag.end());

  std::vector<uint8_t> out;
  for (size_t at = 0; at < pes.size();) {
    size_t remaining = pes.size() - at;
    size_t payload = std::min<size_t>(remaining, kPacketSize - 4);
    std::vector<uint8_t> packet{0x47, static_cast<uint8_t>((at == 0 ? 0x40 : 0) | (pid >> 8)),
                                static_cast<uint8_t>(pid & 0xFF)};
    if (payload == kPacketSize - 4) {
      packet.push_back(0x10 | continuityCounter);
    } else {
      // Short last packet: an adaptation field of stuffing fills it up.
      payload = std::min<size_t>(remaining, kPacketSize - 6);
      size_t adaptationLength = kPacketSize - 4 - 1 - payload;
      packet.push_back(0x30 | continuityCounter);
      packet.push_back(static_cast<uint8_t>(adaptationLength));
      if (adaptationLength > 0) {
        packet.push_back(0x00);
        packet.insert(packet.end(), adaptationLength - 1, 0xFF);
      }
    }
    continuityCounter = (continuityCounter + 1) & 0x0F;
    packet.insert(packet.end(), pes.begin() + static_cast<std::ptrdiff_t>(at),
                  pes.begin() + static_cast<std::ptrdiff_t>(at + payload));
    out.insert(out.end(), packet.begin(), packet.end());
    at += payload;
  }
  return out;
}

Id3HlsStream makeTimedId3Hls(const fs::path& directory) {
  fs::create_directories(directory);
  fs::path playlist = directory / "index.m3u8";
  runFfmpeg(
      "-f lavfi -i testsrc=size=160x90:rate=25 -f lavfi -i sine=frequency=440:sample_rate=48000 "
      "-t 6 -c:v libx264 -preset ultrafast -pix_fmt yuv420p -g 25 -sc_threshold 0 "
      "-c:a aac -b:a 48k -f hls -hls_time 2 -hls_playlist_type vod -hls_segment_type mpegts "
      "-hls_segment_filename " +
      quoted(directory / "segment%d.ts") + " " + quoted(playlist));

  std::vector<Segment> segments = readPlaylist(playlist);
  std::vector<std::vector<uint8_t>> files;
  for (const Segment& segment : segments) files.push_back(readFile(directory / segment.uri));

  ProgramPids pids = findProgram(files[0]);
  auto isMedia = [&](uint16_t pid) {
    return std::find(pids.elementary.begin(), pids.elementary.end(), pid) != pids.elementary.end();
  };
  std::optional<uint64_t> firstPts;
  for (size_t at = 0; at + kPacketSize <= files[0].size(); at += kPacketSize) {
    const uint8_t* packet = &files[0][at];
    if (!startsUnit(packet) || !isMedia(pidOf(packet))) continue;
    if (std::optional<uint64_t> pts = pesPts(packet)) {
      firstPts = firstPts ? std::min(*firstPts, *pts) : *pts;
    }
  }
  if (!firstPts) throw std::runtime_error("no time stamps in the first segment");

  Id3HlsStream stream{playlist, timedId3TestTags()};
  uint8_t continuityCounter = 0;
  double segmentStart = 0.0;
  size_t nextTag = 0;
  for (size_t s = 0; s < segments.size(); ++s) {
    double segmentEnd = segmentStart + segments[s].seconds;
    bool lastSegment = s + 1 == segments.size();
    std::vector<uint8_t> out;
    const std::vector<uint8_t>& in = files[s];
    auto insertDueTags = [&](std::optional<uint64_t> beforePts) {
      while (nextTag < stream.tags.size() &&
             (lastSegment || stream.tags[nextTag].seconds < segmentEnd)) {
        uint64_t tagPts =
            *firstPts + static_cast<uint64_t>(std::llround(stream.tags[nextTag].seconds * 90000.0));
        if (beforePts && *beforePts < tagPts) return;
        std::vector<uint8_t> packets =
            timedId3TransportPackets(stream.tags[nextTag].tag, kId3Pid, tagPts, continuityCounter);
        out.insert(out.end(), packets.begin(), packets.end());
        ++nextTag;
      }
    };
    for (size_t at = 0; at + kPacketSize <= in.size(); at += kPacketSize) {
      std::vector<uint8_t> packet(in.begin() + static_cast<std::ptrdiff_t>(at),
                                  in.begin() + static_cast<std::ptrdiff_t>(at + kPacketSize));
      if (packet[0] != 0x47) throw std::runtime_error("lost transport-stream sync");
      uint16_t pid = pidOf(packet.data());
      if (pid == pids.pmt && startsUnit(packet.data())) addMetadataStreamToPmt(packet.data());
      if (startsUnit(packet.data()) && isMedia(pid)) {
        if (std::optional<uint64_t> pts = pesPts(packet.data())) insertDueTags(pts);
      }
      out.insert(out.end(), packet.begin(), packet.end());
    }
    insertDueTags(std::nullopt);
    writeFile(directory / segments[s].uri, out);
    segmentStart = segmentEnd;
  }
  return stream;
}

Id3HlsStream makePackedAudioId3Hls(const fs::path& directory) {
  fs::create_directories(directory);
  fs::path adts = directory / "audio.adts";
  runFfmpeg("-f lavfi -i sine=frequency=330:sample_rate=48000 -t 6 -c:a aac -b:a 48k -f adts " +
            quoted(adts));
  std::vector<uint8_t> audio = readFile(adts);
  fs::remove(adts);

  // ADTS frames of 1024 samples at 48 kHz, cut into 2 s segments.
  constexpr double kFrameSeconds = 1024.0 / 48000.0;
  std::vector<std::vector<uint8_t>> segmentAudio(1);
  std::vector<double> segmentSeconds(1, 0.0);
  for (size_t at = 0; at + 7 <= audio.size();) {
    if (audio[at] != 0xFF || (audio[at + 1] & 0xF0) != 0xF0) {
      throw std::runtime_error("lost ADTS sync");
    }
    size_t length = ((audio[at + 3] & 0x03) << 11) | (audio[at + 4] << 3) | (audio[at + 5] >> 5);
    if (length < 7 || at + length > audio.size()) throw std::runtime_error("bad ADTS frame");
    if (segmentSeconds.back() + kFrameSeconds > kSegmentSeconds + 1e-9) {
      segmentAudio.emplace_back();
      segmentSeconds.push_back(0.0);
    }
    segmentAudio.back().insert(segmentAudio.back().end(),
                               audio.begin() + static_cast<std::ptrdiff_t>(at),
                               audio.begin() + static_cast<std::ptrdiff_t>(at + length));
    segmentSeconds.back() += kFrameSeconds;
    at += length;
  }

  Id3HlsStream stream{directory / "audio.m3u8", {}};
  std::ostringstream playlist;
  playlist << "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:2\n#EXT-X-MEDIA-SEQUENCE:0\n"
              "#EXT-X-PLAYLIST-TYPE:VOD\n";
  double start = 0.0;
  for (size_t s = 0; s < segmentAudio.size(); ++s) {
    uint64_t pts90k = 126000 + static_cast<uint64_t>(std::llround(start * 90000.0));
    std::string number = std::to_string(s + 1);
    std::vector<uint8_t> tag = Id3TagBuilder(4)
                                   .frame("PRIV", privTimestamp(pts90k))
                                   .text("TALB", "Packed " + number)
                                   .text("TIT1", "Segment " + number)
                                   .build();
    std::vector<uint8_t> file = tag;
    file.insert(file.end(), segmentAudio[s].begin(), segmentAudio[s].end());
    std::string uri = "audio" + std::to_string(s) + ".aac";
    writeFile(directory / uri, file);
    playlist << "#EXTINF:" << segmentSeconds[s] << ",\n" << uri << "\n";
    stream.tags.push_back({start, tag});
    start += segmentSeconds[s];
  }
  playlist << "#EXT-X-ENDLIST\n";
  std::ofstream(stream.playlist) << playlist.str();
  return stream;
}

}  // namespace zent::testing
