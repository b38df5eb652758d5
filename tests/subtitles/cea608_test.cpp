#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "subtitles/cea608_decoder.h"
#include "support/cea608_pairs.h"

namespace zent {
namespace {

using namespace testing;

constexpr uint8_t RCL = 0x20, BS = 0x21, DER = 0x24, RU2 = 0x25, RDC = 0x29, EDM = 0x2C, CR = 0x2D,
                  ENM = 0x2E, EOC = 0x2F;

struct Case {
  const char* name;
  int field;
  CcPairs pairs;
  int channel;        // 0 = CC1 ... 3 = CC4
  std::string shown;  // the channel's screen after each change, joined by "|"
};

CcPairs popOn(int dc, std::string_view line) {
  return misc(dc, RCL) + misc(dc, ENM) + preamble(dc, 15) + text(line) + misc(dc, EOC);
}

CcPair flipParity(CcPair pair, bool first) {
  (first ? pair.first : pair.second) ^= 0x80;
  return pair;
}

class Cea608DecoderTest : public ::testing::TestWithParam<Case> {};

TEST_P(Cea608DecoderTest, ShowsWhatAViewerSeesAfterEachChange) {
  const Case& c = GetParam();
  Cea608Decoder decoder;
  std::string shown;
  for (const CcPair& pair : c.pairs) {
    decoder.feedTriplet(static_cast<uint8_t>(0xF8 | 0x04 | (c.field - 1)), pair.first, pair.second);
    unsigned changed = decoder.takeChangedChannels();
    if (changed & (1u << c.channel))
      shown += (shown.empty() ? "" : "|") + decoder.displayedText(c.channel);
  }
  EXPECT_EQ(shown, c.shown);
}

INSTANTIATE_TEST_SUITE_P(
    ControlCodes, Cea608DecoderTest,
    ::testing::Values(
        Case{"PopOnShowsAtEndOfCaptionAndErasesOnEdm", 1,
             popOn(0, "Hi") + popOn(0, "There") + misc(0, EDM), 0, "Hi|There|"},
        Case{"PopOnRowsFromPreamblesJoinTopToBottom", 1,
             misc(0, RCL) + preamble(0, 14, 8) + text("top") + preamble(0, 15) + text("bottom") +
                 misc(0, EOC),
             0, "top\nbottom"},
        Case{"RollUpTwoRowsScrollsOnCarriageReturn", 1,
             misc(0, RU2) + text("one") + misc(0, CR) + text("two") + misc(0, CR) + text("three"),
             0, "on|one|one\ntw|one\ntwo|two|two\nth|two\nthre|two\nthree"},
        Case{"PaintOnShowsEachCharacterBackspaceAndDeleteToEndOfRow", 1,
             misc(0, RDC) + preamble(0, 15) + text("abcd") + misc(0, BS) + preamble(0, 15, 0) +
                 text("x") + misc(0, DER),
             0, "ab|abcd|abc|xbc|x"},
        Case{"TabOffsetsAndMidRowCodesLeaveSpaces", 1,
             misc(0, RCL) + preamble(0, 15) + text("a") + control(0, 0x17, 0x22) + text("b") +
                 control(0, 0x11, 0x2E) + text("c") + misc(0, EOC),
             0, "a  b c"},
        Case{"SpecialAndExtendedCharactersAndBasicSetDifferences", 1,
             misc(0, RCL) + preamble(0, 15) + text("\x5C") + control(0, 0x11, 0x37) +
                 control(0, 0x11, 0x32) + text("E") + control(0, 0x12, 0x21) + text("A") +
                 control(0, 0x13, 0x31) + text("\x7E\x7F") + misc(0, EOC),
             0, "é♪½Éäñ█"},
        Case{"DoubledControlCodeActsOnceAndAThirdCopyAgain", 1,
             misc(0, RU2) + text("a") + misc(0, CR) + text("b") + misc(0, CR) +
                 control(0, 0x14, CR, false) + text("c"),
             0, "a|a\nb|b||c"},
        Case{"BadParitySecondByteIsDroppedAndBadFirstByteTakesItsPair", 1,
             misc(0, RCL) + preamble(0, 15) + text("ok") +
                 CcPairs{flipParity(text("Xy")[0], true)} +
                 CcPairs{flipParity(text("!Z")[0], false)} +
                 CcPairs{flipParity(misc(0, EOC)[0], true)} + misc(0, EOC),
             0, "ok!"},
        Case{"FieldTwoIsCc3AndSkipsExtendedDataPackets", 2,
             CcPairs{{withParity(0x01), withParity(0x03)}} + text("XD") +
                 CcPairs{{withParity(0x0F), withParity(0x1D)}} + control(0, 0x15, RCL) +
                 preamble(0, 15) + text("three") + control(0, 0x15, EOC),
             2, "three"}),
    [](const ::testing::TestParamInfo<Case>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace zent
