#include "metadata/timed_id3_extractors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>

#include "metadata/id3_tag_builder.h"
#include "metadata/temp_dir.h"
#include "metadata/timed_id3_hls.h"

namespace zent {
namespace {

using ::testing::ElementsAre;
using testing::Id3TagBuilder;
using ::testing::IsEmpty;
using testing::TempDir;

using Bytes = std::vector<uint8_t>;

Bytes readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::vector<Bytes> segmentFiles(const testing::Id3HlsStream& stream) {
  std::vector<Bytes> files;
  std::ifstream playlist(stream.playlist);
  for (std::string line; std::getline(playlist, line);) {
    if (!line.empty() && line[0] != '#')
      files.push_back(readFile(stream.playlist.parent_path() / line));
  }
  return files;
}

Bytes expectedTag(const testing::Id3HlsStream& stream, size_t i) {
  return stream.tags.at(i).tag;
}

// Feeds each fragment in pieces of the given size, flagging fragment starts.
template <typename Extractor>
void feedInPieces(Extractor& extractor, const std::vector<Bytes>& fragments, size_t piece) {
  for (const Bytes& fragment : fragments) {
    for (size_t at = 0; at < fragment.size(); at += piece) {
      size_t n = std::min(piece, fragment.size() - at);
      extractor.feed(std::span<const uint8_t>(fragment).subspan(at, n), at == 0);
    }
  }
}

class ExtractorsOnMadeStreams : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = new TempDir;
    ts_ = new testing::Id3HlsStream(testing::makeTimedId3Hls(dir_->path() / "ts"));
    packed_ = new testing::Id3HlsStream(testing::makePackedAudioId3Hls(dir_->path() / "packed"));
  }
  static void TearDownTestSuite() {
    delete ts_;
    delete packed_;
    delete dir_;
  }
  static TempDir* dir_;
  static testing::Id3HlsStream* ts_;
  static testing::Id3HlsStream* packed_;
};
TempDir* ExtractorsOnMadeStreams::dir_ = nullptr;
testing::Id3HlsStream* ExtractorsOnMadeStreams::ts_ = nullptr;
testing::Id3HlsStream* ExtractorsOnMadeStreams::packed_ = nullptr;

TEST_F(ExtractorsOnMadeStreams, TransportStreamTagsComeOutWholeAndInOrderWhateverThePieces) {
  std::vector<Bytes> fragments = segmentFiles(*ts_);
  ASSERT_EQ(fragments.size(), 3u);
  for (size_t piece : {1ul, 7ul, 188ul, 1000ul, 1ul << 20}) {
    std::vector<Bytes> found;
    TransportStreamId3Extractor extractor([&](Bytes tag) { found.push_back(std::move(tag)); });
    feedInPieces(extractor, fragments, piece);
    EXPECT_THAT(found,
                ElementsAre(expectedTag(*ts_, 0), expectedTag(*ts_, 1), expectedTag(*ts_, 2)))
        << "pieces of " << piece;
  }
}

TEST_F(ExtractorsOnMadeStreams, PackedAudioTagsAtEachFragmentStartComeOutWhole) {
  std::vector<Bytes> fragments = segmentFiles(*packed_);
  for (size_t piece : {1ul, 9ul, 4096ul, 1ul << 20}) {
    std::vector<Bytes> found;
    PackedAudioId3Extractor extractor([&](Bytes tag) { found.push_back(std::move(tag)); });
    feedInPieces(extractor, fragments, piece);
    ASSERT_EQ(found.size(), packed_->tags.size()) << "pieces of " << piece;
    for (size_t i = 0; i < found.size(); ++i) EXPECT_EQ(found[i], expectedTag(*packed_, i));
  }
}

TEST(PackedAudioId3Extractor, ReadsTagsBackToBackAndNothingInsideTheAudio) {
  Bytes first = Id3TagBuilder(4).text("TALB", "a").build();
  Bytes second = Id3TagBuilder(3).text("TALB", "b").build();
  Bytes fragment = first;
  fragment.insert(fragment.end(), second.begin(), second.end());
  fragment.insert(fragment.end(), {0xFF, 0xF1, 0x50, 0x80});
  fragment.insert(fragment.end(), first.begin(), first.end());  // inside the audio: not a tag
  std::vector<Bytes> found;
  PackedAudioId3Extractor extractor([&](Bytes tag) { found.push_back(std::move(tag)); });
  extractor.feed(fragment, true);
  extractor.feed(Bytes{0xFF, 0xF1, 0x50}, true);  // a fragment without a tag
  EXPECT_THAT(found, ElementsAre(first, second));
}

// A hand-made transport stream: PAT, a PMT with the given elementary stream
// entries, then the PES packets.
Bytes psiPacket(uint16_t pid, Bytes section) {
  section.insert(section.end(), {0, 0, 0, 0});  // CRC, not checked by the reader
  size_t length = section.size() - 3;
  section[1] = static_cast<uint8_t>(0xB0 | (length >> 8));
  section[2] = static_cast<uint8_t>(length & 0xFF);
  Bytes packet{0x47, static_cast<uint8_t>(0x40 | (pid >> 8)), static_cast<uint8_t>(pid), 0x10, 0};
  packet.insert(packet.end(), section.begin(), section.end());
  packet.resize(188, 0xFF);
  return packet;
}

Bytes programTables(Bytes streamEntries) {
  Bytes pat = psiPacket(0, {0x00, 0, 0, 0, 1, 0xC1, 0, 0, 0, 1, 0xE1, 0x00});
  Bytes pmt{0x02, 0, 0, 0, 1, 0xC1, 0, 0, 0xE1, 0x00, 0xF0, 0x00};
  pmt.insert(pmt.end(), streamEntries.begin(), streamEntries.end());
  Bytes out = pat;
  Bytes pmtPacket = psiPacket(0x100, pmt);
  out.insert(out.end(), pmtPacket.begin(), pmtPacket.end());
  return out;
}

const Bytes kId3MetadataDescriptor{0x26, 13,  0xFF, 0xFF, 'I', 'D', '3', ' ',
                                   0xFF, 'I', 'D',  '3',  ' ', 0,   0x0F};

TEST(TransportStreamId3Extractor, UnwrapsMetadataCellsAndIgnoresStreamsNotMarkedId3) {
  Bytes entries{0x15, 0xE2, 0x00, 0xF0, 15};  // PID 0x200: ID3 in metadata_stream PES
  entries.insert(entries.end(), kId3MetadataDescriptor.begin(), kId3MetadataDescriptor.end());
  entries.insert(entries.end(), {0x15, 0xE3, 0x00, 0xF0, 0x00});  // PID 0x300: no descriptor
  Bytes ts = programTables(entries);

  Bytes tag = Id3TagBuilder(4).text("TALB", "cells").build();
  Bytes cells{0, 0, 0x80, 0, 4, tag[0], tag[1], tag[2], tag[3]};  // tag split over two cells
  Bytes rest(tag.begin() + 4, tag.end());
  cells.insert(cells.end(), {0, 1, 0x40, static_cast<uint8_t>(rest.size() >> 8),
                             static_cast<uint8_t>(rest.size())});
  cells.insert(cells.end(), rest.begin(), rest.end());
  uint8_t cc = 0;
  Bytes pes0x200 = [&] {
    // The helper writes private_stream_1; rewrite the stream id to metadata_stream.
    Bytes packets = testing::timedId3TransportPackets(cells, 0x200, 90000, cc);
    const Bytes startCode{0, 0, 1, 0xBD};
    auto at = std::search(packets.begin(), packets.end(), startCode.begin(), startCode.end());
    at[3] = 0xFC;
    return packets;
  }();
  uint8_t cc2 = 0;
  Bytes pes0x300 = testing::timedId3TransportPackets(tag, 0x300, 90000, cc2);
  ts.insert(ts.end(), pes0x200.begin(), pes0x200.end());
  ts.insert(ts.end(), pes0x300.begin(), pes0x300.end());

  std::vector<Bytes> found;
  TransportStreamId3Extractor extractor([&](Bytes t) { found.push_back(std::move(t)); });
  extractor.feed(ts, true);
  EXPECT_THAT(found, ElementsAre(tag));
}

TEST(TransportStreamId3Extractor, ADiscontinuityDropsAPartlyReadPesPacket) {
  Bytes entries{0x15, 0xE2, 0x00, 0xF0, 15};
  entries.insert(entries.end(), kId3MetadataDescriptor.begin(), kId3MetadataDescriptor.end());
  Bytes tables = programTables(entries);
  Bytes bigTag = Id3TagBuilder(4).text("TALB", std::string(400, 'x')).build();  // three packets
  uint8_t cc = 0;
  Bytes pes = testing::timedId3TransportPackets(bigTag, 0x200, 0, cc);
  Bytes firstHalf = tables;
  firstHalf.insert(firstHalf.end(), pes.begin(), pes.begin() + 188);

  std::vector<Bytes> found;
  TransportStreamId3Extractor extractor([&](Bytes t) { found.push_back(std::move(t)); });
  extractor.feed(firstHalf, true);
  extractor.feed(Bytes(pes.begin() + 188, pes.end()), true);
  EXPECT_THAT(found, IsEmpty());
  Bytes whole = tables;
  whole.insert(whole.end(), pes.begin(), pes.end());
  extractor.feed(whole, true);
  EXPECT_THAT(found, ElementsAre(bigTag));
}

}  // namespace
}  // namespace zent
