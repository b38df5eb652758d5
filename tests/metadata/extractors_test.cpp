#include <gtest/gtest.h>

#include <algorithm>

#include "metadata/id3_tag_builder.h"
#include "metadata/timed_id3_extractors.h"
#include "metadata/timed_id3_hls.h"

namespace zent {
namespace {

using testing::Id3TagBuilder;
using Bytes = std::vector<uint8_t>;

TEST(PackedAudioId3Extractor, ReadsTagsAtAFragmentStartAndNothingInsideTheAudio) {
  Bytes first = Id3TagBuilder(4).text("TALB", "a").build();
  Bytes second = Id3TagBuilder(3).text("TALB", "b").build();
  Bytes fragment = first;
  fragment.insert(fragment.end(), second.begin(), second.end());
  fragment.insert(fragment.end(), {0xFF, 0xF1, 0x50, 0x80});
  fragment.insert(fragment.end(), first.begin(), first.end());  // inside the audio: not a tag
  for (size_t piece : {1ul, 9ul, 4096ul}) {
    std::vector<Bytes> found;
    PackedAudioId3Extractor extractor([&](Bytes tag) { found.push_back(std::move(tag)); });
    for (size_t at = 0; at < fragment.size(); at += piece)
      extractor.feed(
          std::span<const uint8_t>(fragment).subspan(at, std::min(piece, fragment.size() - at)),
          at == 0);
    extractor.feed(Bytes{0xFF, 0xF1, 0x50}, true);  // a fragment without a tag
    EXPECT_EQ(found, (std::vector<Bytes>{first, second})) << "pieces of " << piece;
  }
}

// A PAT and a PMT listing stream entries, with a CRC the reader does not check.
Bytes programTables(const Bytes& entries) {
  auto packet = [](uint16_t pid, Bytes section) {
    section.insert(section.end(), {0, 0, 0, 0});
    section[1] = static_cast<uint8_t>(0xB0 | ((section.size() - 3) >> 8));
    section[2] = static_cast<uint8_t>(section.size() - 3);
    Bytes out{0x47, static_cast<uint8_t>(0x40 | (pid >> 8)), static_cast<uint8_t>(pid), 0x10, 0};
    out.insert(out.end(), section.begin(), section.end());
    out.resize(188, 0xFF);
    return out;
  };
  Bytes pmt{0x02, 0, 0, 0, 1, 0xC1, 0, 0, 0xE1, 0x00, 0xF0, 0x00};
  pmt.insert(pmt.end(), entries.begin(), entries.end());
  Bytes out = packet(0, {0x00, 0, 0, 0, 1, 0xC1, 0, 0, 0, 1, 0xE1, 0x00});
  Bytes pmtPacket = packet(0x100, pmt);
  out.insert(out.end(), pmtPacket.begin(), pmtPacket.end());
  return out;
}

// PID 0x200: ID3 in metadata cells, marked by its descriptor; PID 0x300: not marked.
const Bytes kEntries{0x15, 0xE2, 0x00, 0xF0, 15,  0x26, 13,   0xFF, 0xFF, 'I',  'D',  '3', ' ',
                     0xFF, 'I',  'D',  '3',  ' ', 0,    0x0F, 0x15, 0xE3, 0x00, 0xF0, 0x00};

TEST(TransportStreamId3Extractor, UnwrapsMetadataCellsAndIgnoresStreamsNotMarkedId3) {
  Bytes ts = programTables(kEntries);
  Bytes tag = Id3TagBuilder(4).text("TALB", "cells").build();
  Bytes cells{0, 0, 0x80, 0, 4, tag[0], tag[1], tag[2], tag[3]};  // the tag over two cells
  cells.insert(cells.end(), {0, 1, 0x40, 0, static_cast<uint8_t>(tag.size() - 4)});
  cells.insert(cells.end(), tag.begin() + 4, tag.end());
  uint8_t cc = 0, cc2 = 0;
  Bytes marked = testing::timedId3TransportPackets(cells, 0x200, 90000, cc);
  const Bytes startCode{0, 0, 1, 0xBD};
  std::search(marked.begin(), marked.end(), startCode.begin(), startCode.end())[3] = 0xFC;
  Bytes unmarked = testing::timedId3TransportPackets(tag, 0x300, 90000, cc2);
  ts.insert(ts.end(), marked.begin(), marked.end());
  ts.insert(ts.end(), unmarked.begin(), unmarked.end());
  std::vector<Bytes> found;
  TransportStreamId3Extractor extractor([&](Bytes t) { found.push_back(std::move(t)); });
  extractor.feed(ts, true);
  EXPECT_EQ(found, std::vector<Bytes>{tag});
}

TEST(TransportStreamId3Extractor, ADiscontinuityDropsAPartlyReadPesPacket) {
  const Bytes tables = programTables(kEntries);
  Bytes big = Id3TagBuilder(4).text("TALB", std::string(400, 'x')).build();  // three packets
  uint8_t cc = 0;
  Bytes pes = testing::timedId3TransportPackets(big, 0x200, 0, cc);
  Bytes firstPacket = tables;
  firstPacket.insert(firstPacket.end(), pes.begin(), pes.begin() + 188);
  std::vector<Bytes> found;
  TransportStreamId3Extractor extractor([&](Bytes t) { found.push_back(std::move(t)); });
  extractor.feed(firstPacket, true);
  extractor.feed(Bytes(pes.begin() + 188, pes.end()), true);
  EXPECT_TRUE(found.empty());
  Bytes whole = tables;
  whole.insert(whole.end(), pes.begin(), pes.end());
  extractor.feed(whole, true);
  EXPECT_EQ(found, std::vector<Bytes>{big});
}

}  // namespace
}  // namespace zent
