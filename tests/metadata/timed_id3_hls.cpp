#include "metadata/timed_id3_hls.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>

#include "metadata/id3_tag_builder.h"

namespace zent::testing {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;

constexpr size_t kPacket = 188;
constexpr uint16_t kId3Pid = 0x0102;  // as the PMT below declares
constexpr uint16_t kPmtPid = 0x1000;  // ffmpeg's PMT, video and audio PIDs
const auto isMedia = [](uint16_t pid) { return pid == 0x100 || pid == 0x101; };

uint32_t crc32Mpeg(const uint8_t* data, size_t size) {
  uint32_t crc = 0xFFFFFFFF;
  for (size_t i = 0; i < size; ++i) {
    crc ^= uint32_t{data[i]} << 24;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 0x80000000) ? (crc << 1) ^ 0x04C11DB7 : crc << 1;
  }
  return crc;
}

const auto pidOf = [](const uint8_t* p) -> uint16_t { return ((p[1] & 0x1F) << 8) | p[2]; };
std::optional<size_t> payloadOffset(const uint8_t* p) {
  const size_t offset = 4 + ((p[3] & 0x20) ? 1 + p[4] : 0);
  if (!(p[3] & 0x10) || offset >= kPacket) return std::nullopt;
  return offset;
}

// The PTS of a video or audio packet that starts a PES packet.
std::optional<uint64_t> mediaPts(const uint8_t* packet) {
  const std::optional<size_t> offset = payloadOffset(packet);
  if (!(packet[1] & 0x40) || !isMedia(pidOf(packet)) || !offset || *offset + 14 > kPacket)
    return std::nullopt;
  const uint8_t* pes = packet + *offset;
  if (pes[0] != 0 || pes[1] != 0 || pes[2] != 1 || !(pes[7] & 0x80)) return std::nullopt;
  const uint8_t* t = pes + 9;
  return (uint64_t{t[0] & 0x0Eu} << 29) | (uint64_t{t[1]} << 22) | (uint64_t{t[2] & 0xFEu} << 14) |
         (uint64_t{t[3]} << 7) | (t[4] >> 1);
}

void append(Bytes& out, const Bytes& bytes) {
  out.insert(out.end(), bytes.begin(), bytes.end());
}

// Adds an elementary stream of type 0x15 on kId3Pid whose metadata_descriptor names ID3.
void addMetadataStreamToPmt(uint8_t* packet) {
  const uint8_t* section = packet + *payloadOffset(packet) + 1 + packet[*payloadOffset(packet)];
  const size_t start = static_cast<size_t>(section - packet);
  Bytes rebuilt(section, section + ((section[1] & 0x0F) << 8) + section[2] - 1);  // CRC dropped
  // stream_type 0x15 on PID 0x0102; metadata_descriptor: "ID3 " application and format.
  append(rebuilt, {0x15, 0xE1, 0x02, 0xF0, 15,  0x26, 13,  0xFF, 0xFF, 'I',
                   'D',  '3',  ' ',  0xFF, 'I', 'D',  '3', ' ',  0x00, 0x0F});
  const size_t length = rebuilt.size() + 1;  // after the length field, with the CRC
  rebuilt[1] = static_cast<uint8_t>((section[1] & 0xF0) | (length >> 8));
  rebuilt[2] = static_cast<uint8_t>(length & 0xFF);
  appendBigEndian32(rebuilt, crc32Mpeg(rebuilt.data(), rebuilt.size()));
  if (start + rebuilt.size() > kPacket) throw std::runtime_error("PMT too long");
  std::copy(rebuilt.begin(), rebuilt.end(), packet + start);
  std::fill(packet + start + rebuilt.size(), packet + kPacket, 0xFF);
}

// One ID3 tag as a PES packet (private_stream_1, PTS) in 188-byte packets on pid.
Bytes transportPackets(const Bytes& tag, uint16_t pid, uint64_t pts90k, uint8_t& counter) {
  Bytes pes{0x00, 0x00, 0x01, 0xBD};
  size_t pesLength = 3 + 5 + tag.size();
  if (pesLength > 0xFFFF) throw std::invalid_argument("ID3 tag too large for one PES packet");
  append(pes, {static_cast<uint8_t>(pesLength >> 8), static_cast<uint8_t>(pesLength), 0x84, 0x80,
               0x05, static_cast<uint8_t>(0x21 | ((pts90k >> 29) & 0x0E)),
               static_cast<uint8_t>(pts90k >> 22), static_cast<uint8_t>(0x01 | (pts90k >> 14)),
               static_cast<uint8_t>(pts90k >> 7), static_cast<uint8_t>(0x01 | (pts90k << 1))});
  append(pes, tag);
  Bytes out;
  for (size_t at = 0; at < pes.size();) {
    size_t payload = std::min<size_t>(pes.size() - at, kPacket - 4);
    Bytes packet{0x47, static_cast<uint8_t>((at == 0 ? 0x40 : 0) | (pid >> 8)),
                 static_cast<uint8_t>(pid & 0xFF), static_cast<uint8_t>(0x10 | counter)};
    if (payload < kPacket - 4) {  // the last packet: an adaptation field stuffs it
      payload = std::min<size_t>(payload, kPacket - 6);
      packet[3] |= 0x20;
      append(packet, {static_cast<uint8_t>(kPacket - 5 - payload), 0x00});
      packet.insert(packet.end(), kPacket - 6 - payload, 0xFF);
    }
    counter = (counter + 1) & 0x0F;
    packet.insert(packet.end(), pes.begin() + static_cast<long>(at),
                  pes.begin() + static_cast<long>(at + payload));
    append(out, packet);
    at += payload;
  }
  return out;
}

}  // namespace

std::vector<TimedId3Tag> timedId3TestTags() {
  using E = TextEncoding;
  return {
      {0.5, id3Tag(4, {text("TALB", "First Album"), text("TOPE", "First Artist", E::Latin1),
                       text("TIT1", "First Title"), text("TIT2", "Standard Title"),
                       comment("eng", "", "First comment"), userText("station", "first text")})},
      {2.5,
       id3Tag(3, {text("TALB", "Second Album", E::Utf16), text("TIT1", "Second Títle", E::Utf16),
                  comment("eng", "", "Second comment", E::Utf16)})},
      {4.5,
       id3Tag(4, {text("TOPE", "Ärtist Ünïcode", E::Utf16BigEndian),
                  userText("station", "third text ✓"), text("TIT2", "Other Standard Title")})}};
}

Id3HlsStream makeTimedId3Hls(const fs::path& directory) {
  fs::create_directories(directory);
  Id3HlsStream stream{directory / "index.m3u8", timedId3TestTags()};
  const std::string command =
      "ffmpeg -nostdin -hide_banner -loglevel error -y -f lavfi -i testsrc=size=160x90:rate=25 "
      "-f lavfi -i sine=frequency=440:sample_rate=48000 -t 6 -c:v libx264 -preset ultrafast "
      "-pix_fmt yuv420p -g 25 -sc_threshold 0 -c:a aac -b:a 48k -f hls -hls_time 2 "
      "-hls_playlist_type vod -hls_segment_type mpegts -hls_segment_filename '" +
      (directory / "segment%d.ts").string() + "' '" + stream.playlist.string() + "'";
  if (std::system(command.c_str()) != 0) throw std::runtime_error("ffmpeg failed: " + command);

  // The tag at t goes in segment t / 2, before its first media packet at or after t.
  std::vector<Bytes> files;
  for (int s = 0; s < 3; ++s) {
    std::ifstream in(directory / ("segment" + std::to_string(s) + ".ts"), std::ios::binary);
    if (!in) throw std::runtime_error("ffmpeg made no segment " + std::to_string(s));
    files.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  std::optional<uint64_t> firstPts;
  for (size_t at = 0; at + kPacket <= files[0].size(); at += kPacket) {
    if (auto pts = mediaPts(&files[0][at])) firstPts = std::min(firstPts.value_or(*pts), *pts);
  }
  if (!firstPts) throw std::runtime_error("no media time stamps in the first segment");
  uint8_t counter = 0;
  for (size_t s = 0, next = 0; s < files.size(); ++s) {
    Bytes out;
    auto insertDue = [&](std::optional<uint64_t> beforePts) {
      for (; next < stream.tags.size() && stream.tags[next].seconds < 2.0 * (s + 1); ++next) {
        uint64_t pts =
            *firstPts + static_cast<uint64_t>(std::llround(stream.tags[next].seconds * 90000));
        if (beforePts && *beforePts < pts) return;
        append(out, transportPackets(stream.tags[next].tag, kId3Pid, pts, counter));
      }
    };
    for (size_t at = 0; at + kPacket <= files[s].size(); at += kPacket) {
      uint8_t* packet = &files[s][at];
      if (packet[0] != 0x47) throw std::runtime_error("lost transport-stream sync");
      if (pidOf(packet) == kPmtPid && (packet[1] & 0x40)) addMetadataStreamToPmt(packet);
      if (auto pts = mediaPts(packet)) insertDue(pts);
      out.insert(out.end(), packet, packet + kPacket);
    }
    insertDue(std::nullopt);
    std::ofstream(directory / ("segment" + std::to_string(s) + ".ts"), std::ios::binary)
        .write(reinterpret_cast<const char*>(out.data()), static_cast<std::streamsize>(out.size()));
  }
  return stream;
}

}  // namespace zent::testing
