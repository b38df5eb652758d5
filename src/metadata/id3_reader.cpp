#include "metadata/id3_reader.h"

#include <optional>
#include <string_view>

#include "metadata/id3_header.h"
#include "metadata/id3_text.h"
#include "support/logger.h"

namespace zent {
namespace {

// Malformed data stops the tag; this is why, for the log line.
struct Fault {
  std::string reason;
};

// Bytes with 0x00 removed after each 0xFF (ID3 unsynchronisation undone).
std::vector<uint8_t> resynchronise(std::span<const uint8_t> bytes) {
  std::vector<uint8_t> out;
  out.reserve(bytes.size());
  for (size_t i = 0; i < bytes.size(); ++i) {
    out.push_back(bytes[i]);
    if (bytes[i] == 0xFF && i + 1 < bytes.size() && bytes[i + 1] == 0x00) ++i;
  }
  return out;
}

bool isFrameIdChar(uint8_t c) {
  return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

// Frame bodies. Each returns a Fault when the body does not hold what its
// identifier promises.
std::optional<Fault> readEncoding(std::span<const uint8_t>& body, const std::string& id,
                                  Id3TextEncoding& encoding) {
  if (body.empty()) return Fault{"frame " + id + " is truncated"};
  std::optional<Id3TextEncoding> declared = id3TextEncoding(body[0]);
  if (!declared) {
    return Fault{"frame " + id + " has text encoding " + std::to_string(body[0])};
  }
  encoding = *declared;
  body = body.subspan(1);
  return std::nullopt;
}

// Text values separated by terminators: 2.4 allows several (joined with "/"),
// 2.3 ends the text at the first terminator.
std::string readTextValues(std::span<const uint8_t> bytes, Id3TextEncoding encoding,
                           uint8_t majorVersion) {
  std::string joined;
  while (!bytes.empty()) {
    auto [value, rest] = splitId3String(bytes, encoding);
    std::string text = decodeId3Text(value, encoding);
    if (!text.empty()) {
      if (!joined.empty()) joined.append("/");
      joined.append(text);
    }
    if (majorVersion < 4) break;
    bytes = rest;
  }
  return joined;
}

std::optional<Fault> readLanguage(std::span<const uint8_t>& body, Id3Frame& frame) {
  if (body.size() < 3) return Fault{"frame " + frame.id + " is truncated"};
  frame.language = decodeId3Text(body.first(3), Id3TextEncoding::Latin1);
  body = body.subspan(3);
  return std::nullopt;
}

std::optional<Fault> readFrameBody(std::span<const uint8_t> body, uint8_t majorVersion,
                                   Id3Frame& frame) {
  const std::string& id = frame.id;
  Id3TextEncoding encoding = Id3TextEncoding::Latin1;
  if (id == "TXXX" || id == "WXXX") {
    if (auto fault = readEncoding(body, id, encoding)) return fault;
    auto [description, rest] = splitId3String(body, encoding);
    frame.description = decodeId3Text(description, encoding);
    frame.text = id == "TXXX" ? readTextValues(rest, encoding, majorVersion)
                              : decodeId3Text(splitId3String(rest, Id3TextEncoding::Latin1).first,
                                              Id3TextEncoding::Latin1);
  } else if (id[0] == 'T') {
    if (auto fault = readEncoding(body, id, encoding)) return fault;
    frame.text = readTextValues(body, encoding, majorVersion);
  } else if (id[0] == 'W') {
    frame.text =
        decodeId3Text(splitId3String(body, Id3TextEncoding::Latin1).first, Id3TextEncoding::Latin1);
  } else if (id == "COMM" || id == "USLT") {
    if (auto fault = readEncoding(body, id, encoding)) return fault;
    if (auto fault = readLanguage(body, frame)) return fault;
    auto [description, rest] = splitId3String(body, encoding);
    frame.description = decodeId3Text(description, encoding);
    frame.text = decodeId3Text(splitId3String(rest, encoding).first, encoding);
  } else if (id == "SYLT") {
    if (auto fault = readEncoding(body, id, encoding)) return fault;
    if (auto fault = readLanguage(body, frame)) return fault;
    if (body.size() < 2) return Fault{"frame SYLT is truncated"};
    body = body.subspan(2);  // time-stamp format, content type
    auto [description, entries] = splitId3String(body, encoding);
    frame.description = decodeId3Text(description, encoding);
    while (!entries.empty()) {
      auto [syllable, rest] = splitId3String(entries, encoding);
      if (rest.size() < 4) return Fault{"frame SYLT is truncated"};
      frame.text.append(decodeId3Text(syllable, encoding));
      entries = rest.subspan(4);  // the syllable's time stamp
    }
  } else {
    frame.data.assign(body.begin(), body.end());
    return std::nullopt;
  }
  frame.isText = true;
  return std::nullopt;
}

// Reads the frames of one tag body (already resynchronised for 2.3). Whole
// frames are appended to frames; the first fault ends the reading.
std::optional<Fault> readFrames(std::span<const uint8_t> body, const Id3Header& header,
                                std::vector<Id3Frame>& frames) {
  const uint8_t version = header.majorVersion;
  size_t pos = 0;

  if (header.has(Id3Header::kExtendedHeader)) {
    if (body.size() < 4) return Fault{"extended header is truncated"};
    size_t extendedSize;
    if (version >= 4) {
      std::optional<uint32_t> size = readSyncSafe(body.subspan<0, 4>());
      if (!size || *size < 6) return Fault{"extended header size is not valid"};
      extendedSize = *size;  // counts its own size field
    } else {
      extendedSize = size_t{readBigEndian32(body.subspan<0, 4>())} + 4;
    }
    if (extendedSize > body.size()) return Fault{"extended header runs past the end of the tag"};
    pos = extendedSize;
  }

  while (pos + 10 <= body.size()) {
    std::span<const uint8_t> frameHeader = body.subspan(pos, 10);
    if (frameHeader[0] == 0) return std::nullopt;  // padding
    for (size_t i = 0; i < 4; ++i) {
      if (!isFrameIdChar(frameHeader[i])) return Fault{"frame identifier is not valid"};
    }
    std::string id(reinterpret_cast<const char*>(frameHeader.data()), 4);
    size_t frameSize;
    if (version >= 4) {
      std::optional<uint32_t> size = readSyncSafe(frameHeader.subspan<4, 4>());
      if (!size) return Fault{"frame " + id + " size is not sync-safe"};
      frameSize = *size;
    } else {
      frameSize = readBigEndian32(frameHeader.subspan<4, 4>());
    }
    uint8_t formatFlags = frameHeader[9];
    pos += 10;
    if (frameSize > body.size() - pos) {
      return Fault{"frame " + id + " size " + std::to_string(frameSize) +
                   " runs past the end of the tag"};
    }
    std::span<const uint8_t> content = body.subspan(pos, frameSize);
    pos += frameSize;

    // Per-frame extras ahead of the content, and the flags that change its bytes.
    size_t extras = 0;
    bool compressed = false, encrypted = false, unsynchronised = false;
    if (version >= 4) {
      compressed = formatFlags & 0x08;
      encrypted = formatFlags & 0x04;
      unsynchronised = (formatFlags & 0x02) || header.has(Id3Header::kUnsynchronisation);
      extras =
          ((formatFlags & 0x40) ? 1 : 0) + (encrypted ? 1 : 0) + ((formatFlags & 0x01) ? 4 : 0);
    } else {
      compressed = formatFlags & 0x80;
      encrypted = formatFlags & 0x40;
      extras = (compressed ? 4 : 0) + (encrypted ? 1 : 0) + ((formatFlags & 0x20) ? 1 : 0);
    }
    if (extras > content.size()) return Fault{"frame " + id + " is truncated"};
    if (compressed || encrypted) continue;  // nothing to read without the codec or key
    content = content.subspan(extras);

    std::vector<uint8_t> resynchronised;
    if (unsynchronised) {
      resynchronised = resynchronise(content);
      content = resynchronised;
    }
    Id3Frame frame;
    frame.id = std::move(id);
    if (auto fault = readFrameBody(content, version, frame)) return fault;
    frames.push_back(std::move(frame));
  }
  return std::nullopt;
}

void warnSkipped(const std::string& reason, size_t framesKept) {
  Logger::log(LogLevel::WARNING, "ID3 tag skipped: " + reason + " (" + std::to_string(framesKept) +
                                     " whole frames before the fault kept)");
}

}  // namespace

MetadataValue Id3Frame::value() const {
  if (isText) return text;
  return data;
}

std::vector<Id3Frame> readId3Tags(std::span<const uint8_t> payload) {
  std::vector<Id3Frame> frames;
  size_t pos = 0;
  while (pos < payload.size()) {
    std::span<const uint8_t> rest = payload.subspan(pos);
    std::optional<Id3Header> header = parseId3Header(rest);
    if (!header) {
      bool onlyPadding = true;
      for (uint8_t byte : rest) onlyPadding = onlyPadding && byte == 0;
      if (!onlyPadding) {
        warnSkipped(rest.size() < Id3Header::kSize ? "data too short for an ID3 header"
                                                   : "data is not an ID3v2 tag header",
                    0);
      }
      break;
    }
    size_t framesBefore = frames.size();
    size_t available = rest.size() - Id3Header::kSize;
    bool cutShort = header->bodySize > available;
    std::span<const uint8_t> body =
        rest.subspan(Id3Header::kSize, cutShort ? available : header->bodySize);
    std::optional<Fault> fault;
    if (header->majorVersion != 3 && header->majorVersion != 4) {
      fault = Fault{"ID3v2." + std::to_string(header->majorVersion) + " is not supported"};
    } else if (header->majorVersion == 3 && header->has(Id3Header::kUnsynchronisation)) {
      std::vector<uint8_t> resynchronised = resynchronise(body);
      fault = readFrames(resynchronised, *header, frames);
    } else {
      fault = readFrames(body, *header, frames);
    }
    if (cutShort) {  // the root cause, whatever frame ran into the cut
      fault = Fault{"tag size " + std::to_string(header->bodySize) +
                    " runs past the end of the data (" + std::to_string(available) + " bytes)"};
    }
    if (fault) warnSkipped(fault->reason, frames.size() - framesBefore);
    if (cutShort || header->totalSize() > rest.size()) break;
    pos += header->totalSize();
  }
  return frames;
}

}  // namespace zent
