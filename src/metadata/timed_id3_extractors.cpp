#include "metadata/timed_id3_extractors.h"

#include <algorithm>
#include <string>

#include "metadata/id3_header.h"
#include "support/logger.h"

namespace zent {
namespace {

constexpr size_t kPacketSize = 188;
constexpr uint8_t kSyncByte = 0x47;
constexpr uint8_t kMetadataStreamType = 0x15;
constexpr uint8_t kRegistrationDescriptor = 0x05;
constexpr uint8_t kMetadataDescriptor = 0x26;
constexpr uint8_t kMetadataStreamId = 0xFC;

bool isId3Identifier(std::span<const uint8_t> bytes) {
  return bytes.size() >= 4 && bytes[0] == 'I' && bytes[1] == 'D' && bytes[2] == '3' &&
         bytes[3] == ' ';
}

// True when a metadata_descriptor says its format is ID3 (format 0xFF with the
// identifier "ID3 "), or a registration descriptor registers "ID3 ".
bool describesId3(uint8_t tag, std::span<const uint8_t> body) {
  if (tag == kRegistrationDescriptor) return isId3Identifier(body);
  if (tag != kMetadataDescriptor || body.size() < 3) return false;
  size_t at = 2;  // metadata_application_format
  if (body[0] == 0xFF && body[1] == 0xFF) at += 4;
  if (at >= body.size()) return false;
  uint8_t format = body[at++];
  return format == 0xFF && isId3Identifier(body.subspan(std::min(at, body.size())));
}

// The section a PSI packet starts (after the pointer field), bounded by the
// section's own length and the packet.
std::span<const uint8_t> psiSection(std::span<const uint8_t> payload) {
  if (payload.empty()) return {};
  size_t start = 1 + payload[0];
  if (start + 3 > payload.size()) return {};
  std::span<const uint8_t> section = payload.subspan(start);
  size_t length = 3 + (((section[1] & 0x0F) << 8) | section[2]);
  if (length > section.size() || length < 12 + 4) return {};  // header and CRC at least
  return section.first(length);
}

// The PTS of a PES packet starting at pes (its 00 00 01 prefix), when it has one.
std::optional<uint64_t> pesPts(std::span<const uint8_t> pes) {
  if (pes.size() < 14 || pes[0] != 0 || pes[1] != 0 || pes[2] != 1) return std::nullopt;
  if (!(pes[7] & 0x80)) return std::nullopt;
  return (uint64_t{pes[9] & 0x0Eu} << 29) | (uint64_t{pes[10]} << 22) |
         (uint64_t{pes[11] & 0xFEu} << 14) | (uint64_t{pes[12]} << 7) | (pes[13] >> 1);
}

bool isVideoStreamType(uint8_t type) {
  return type == 0x01 || type == 0x02 || type == 0x10 || type == 0x1B || type == 0x24;
}

}  // namespace

void TransportStreamId3Extractor::reset() {
  partialPacket_.clear();
  for (auto& [pid, pes] : id3Streams_) pes = PesAssembly{};
}

void TransportStreamId3Extractor::feed(std::span<const uint8_t> data, bool discontinuity) {
  if (discontinuity) reset();
  if (!partialPacket_.empty()) {
    size_t take = std::min(kPacketSize - partialPacket_.size(), data.size());
    partialPacket_.insert(partialPacket_.end(), data.begin(), data.begin() + take);
    data = data.subspan(take);
    if (partialPacket_.size() < kPacketSize) return;
    if (partialPacket_[0] == kSyncByte) handlePacket(partialPacket_.data());
    partialPacket_.clear();
  }
  size_t at = 0;
  while (at < data.size()) {
    if (data[at] != kSyncByte) {  // lost sync: look for the next sync byte
      ++at;
      continue;
    }
    if (data.size() - at < kPacketSize) {
      partialPacket_.assign(data.begin() + at, data.end());
      return;
    }
    handlePacket(&data[at]);
    at += kPacketSize;
  }
}

void TransportStreamId3Extractor::handlePacket(const uint8_t* packet) {
  if (packet[1] & 0x80) return;  // transport error indicator
  bool unitStart = packet[1] & 0x40;
  uint16_t pid = ((packet[1] & 0x1F) << 8) | packet[2];
  uint8_t control = (packet[3] >> 4) & 0x03;
  if (!(control & 0x01)) return;  // no payload
  size_t offset = 4;
  if (control & 0x02) offset += 1 + packet[4];
  if (offset >= kPacketSize) return;
  std::span<const uint8_t> payload(packet + offset, kPacketSize - offset);

  if (pid == 0 && unitStart) {
    handlePat(psiSection(payload));
  } else if (unitStart && pmtPids_.count(pid)) {
    handlePmt(psiSection(payload));
  }
  if (unitStart && videoPid_ == pid && videoPtsSink_) {
    if (auto pts = pesPts(payload)) videoPtsSink_(*pts);
  }
  auto stream = id3Streams_.find(pid);
  if (stream == id3Streams_.end()) return;
  PesAssembly& pes = stream->second;
  if (unitStart) {
    finishPes(pes);  // a PES of unbounded length ends where the next begins
    pes.collecting = true;
  }
  if (!pes.collecting) return;
  if (pes.bytes.size() + payload.size() > kMaxCollectedId3Bytes) {
    Logger::log(LogLevel::WARNING, "Timed ID3 PES packet on PID " + std::to_string(pid) +
                                       " is larger than " + std::to_string(kMaxCollectedId3Bytes) +
                                       " bytes, dropped");
    pes = PesAssembly{};
    return;
  }
  pes.bytes.insert(pes.bytes.end(), payload.begin(), payload.end());
  if (pes.bytes.size() >= 6) {
    size_t declared = (pes.bytes[4] << 8) | pes.bytes[5];
    if (declared != 0 && pes.bytes.size() >= 6 + declared) {
      pes.bytes.resize(6 + declared);
      finishPes(pes);
    }
  }
}

void TransportStreamId3Extractor::finishPes(PesAssembly& pes) {
  std::vector<uint8_t> bytes = std::move(pes.bytes);
  pes = PesAssembly{};
  if (bytes.size() < 9 || bytes[0] != 0 || bytes[1] != 0 || bytes[2] != 1) return;
  uint8_t streamId = bytes[3];
  size_t payloadStart = 9 + size_t{bytes[8]};
  if (payloadStart > bytes.size()) return;
  std::span<const uint8_t> payload(bytes.data() + payloadStart, bytes.size() - payloadStart);
  currentTagPts_ = pesPts(bytes);
  if (streamId != kMetadataStreamId) {
    if (!payload.empty()) sink_(std::vector<uint8_t>(payload.begin(), payload.end()));
    return;
  }
  // metadata_stream PES packets wrap the ID3 data in metadata access-unit cells.
  std::vector<uint8_t> joined;
  while (payload.size() >= 5) {
    size_t cellLength = (payload[3] << 8) | payload[4];
    if (cellLength > payload.size() - 5) break;
    joined.insert(joined.end(), payload.begin() + 5, payload.begin() + 5 + cellLength);
    payload = payload.subspan(5 + cellLength);
  }
  if (!joined.empty()) sink_(std::move(joined));
}

void TransportStreamId3Extractor::handlePat(std::span<const uint8_t> section) {
  if (section.empty() || section[0] != 0x00) return;
  pmtPids_.clear();
  for (size_t at = 8; at + 4 <= section.size() - 4; at += 4) {
    uint16_t program = (section[at] << 8) | section[at + 1];
    if (program != 0) pmtPids_.insert(((section[at + 2] & 0x1F) << 8) | section[at + 3]);
  }
}

void TransportStreamId3Extractor::handlePmt(std::span<const uint8_t> section) {
  if (section.empty() || section[0] != 0x02) return;
  size_t end = section.size() - 4;  // the CRC
  size_t programInfoLength = ((section[10] & 0x0F) << 8) | section[11];
  size_t at = 12 + programInfoLength;
  while (at + 5 <= end) {
    uint8_t streamType = section[at];
    uint16_t pid = ((section[at + 1] & 0x1F) << 8) | section[at + 2];
    size_t infoLength = ((section[at + 3] & 0x0F) << 8) | section[at + 4];
    size_t descriptors = at + 5;
    at = descriptors + infoLength;
    if (at > end) return;
    if (isVideoStreamType(streamType) && !videoPid_) videoPid_ = pid;
    if (streamType != kMetadataStreamType) continue;
    bool id3 = false;
    for (size_t d = descriptors; d + 2 <= at;) {
      size_t length = section[d + 1];
      if (d + 2 + length > at) break;
      id3 = id3 || describesId3(section[d], section.subspan(d + 2, length));
      d += 2 + length;
    }
    if (id3) id3Streams_.try_emplace(pid);
  }
}

void PackedAudioId3Extractor::reset() {
  expectingTag_ = true;
  pending_.clear();
}

void PackedAudioId3Extractor::feed(std::span<const uint8_t> data, bool fragmentStart) {
  if (fragmentStart) reset();
  while (expectingTag_ && !data.empty()) {
    // Gather the header first, then exactly the rest of the tag.
    size_t wanted = Id3Header::kSize;
    if (pending_.size() >= Id3Header::kSize) {
      std::optional<Id3Header> header = parseId3Header(pending_);
      if (!header) {
        expectingTag_ = false;
        break;
      }
      if (header->totalSize() > kMaxCollectedId3Bytes) {
        Logger::log(LogLevel::WARNING, "ID3 tag of " + std::to_string(header->totalSize()) +
                                           " bytes at the start of an audio fragment, dropped");
        expectingTag_ = false;
        break;
      }
      wanted = header->totalSize();
    } else if (pending_.size() < 3) {
      // Leave at once when the fragment does not start with "ID3".
      static constexpr uint8_t kMagic[3] = {'I', 'D', '3'};
      if (data[0] != kMagic[pending_.size()]) {
        expectingTag_ = false;
        break;
      }
      pending_.push_back(data[0]);
      data = data.subspan(1);
      continue;
    }
    size_t take = std::min(wanted - pending_.size(), data.size());
    pending_.insert(pending_.end(), data.begin(), data.begin() + take);
    data = data.subspan(take);
    if (pending_.size() == wanted && wanted > Id3Header::kSize) {
      sink_(std::move(pending_));
      pending_ = {};  // another tag may follow this one
    } else if (pending_.size() == wanted && wanted == Id3Header::kSize) {
      // A header-only tag (empty body): wanted stays 10 until parsed above.
      std::optional<Id3Header> header = parseId3Header(pending_);
      if (header && header->totalSize() == Id3Header::kSize) {
        sink_(std::move(pending_));
        pending_ = {};
      }
    }
  }
  if (!expectingTag_) pending_.clear();
}

}  // namespace zent
