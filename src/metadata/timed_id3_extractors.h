#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <vector>

namespace zent {

// Receives one whole ID3 payload found in a stream.
using Id3TagSink = std::function<void(std::vector<uint8_t> id3Tag)>;

// The largest ID3 payload collected; bigger ones are dropped with a WARNING so a
// broken stream cannot make the collector grow without bound.
inline constexpr size_t kMaxCollectedId3Bytes = 1 << 20;

// Finds timed-ID3 elementary streams in an MPEG transport stream (a PMT entry
// of stream_type 0x15 whose metadata or registration descriptor names "ID3 ")
// and hands each PES payload on, in stream order. Fed with the transport
// stream in pieces of any size; keeps at most one packet and one PES per
// stream between calls.
class TransportStreamId3Extractor {
 public:
  explicit TransportStreamId3Extractor(Id3TagSink sink) : sink_(std::move(sink)) {}

  // discontinuity: the data does not follow on from the previous call (a new
  // fragment, a seek); partial packets and PES packets are dropped.
  void feed(std::span<const uint8_t> data, bool discontinuity);
  void reset();

  // Presentation times, for placing tags on the playback timeline: the PTS
  // (90 kHz) of the PES the tag being handed to the sink came in, when it has
  // one; and a callback with the PTS of each PES of the program's first video
  // stream, in stream order.
  std::optional<uint64_t> currentTagPts() const { return currentTagPts_; }
  bool hasVideoStream() const { return videoPid_.has_value(); }
  void setVideoPtsSink(std::function<void(uint64_t pts90k)> sink) {
    videoPtsSink_ = std::move(sink);
  }

 private:
  struct PesAssembly {
    std::vector<uint8_t> bytes;
    bool collecting = false;
  };
  void handlePacket(const uint8_t* packet);
  void handlePat(std::span<const uint8_t> section);
  void handlePmt(std::span<const uint8_t> section);
  void finishPes(PesAssembly& pes);

  Id3TagSink sink_;
  std::vector<uint8_t> partialPacket_;
  std::set<uint16_t> pmtPids_;
  std::map<uint16_t, PesAssembly> id3Streams_;
  std::optional<uint16_t> videoPid_;
  std::optional<uint64_t> currentTagPts_;
  std::function<void(uint64_t)> videoPtsSink_;
};

// Collects the ID3 tags at the start of each packed-audio fragment (HLS ADTS,
// MP3, AC-3 segments begin with one or more ID3 tags) and hands each tag on.
// The audio after the tags is passed over without copying.
class PackedAudioId3Extractor {
 public:
  explicit PackedAudioId3Extractor(Id3TagSink sink) : sink_(std::move(sink)) {}

  // fragmentStart: data begins a new fragment (or follows a seek).
  void feed(std::span<const uint8_t> data, bool fragmentStart);
  void reset();

 private:
  Id3TagSink sink_;
  bool expectingTag_ = true;
  std::vector<uint8_t> pending_;
};

}  // namespace zent
