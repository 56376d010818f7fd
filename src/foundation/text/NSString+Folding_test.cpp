#include "foundation/text/NSString+Folding.h"

#include <gmock/gmock.h>

#include "foundation/base/UTF8.h"

namespace tasklane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Folding, RemovesCaseAndMarksInEveryScript) {
  const struct {
    const char *text, *folded;
  } cases[] = {
      {"", ""},
      {"Crème Brûlée 42!", "creme brulee 42!"},
      {"re\u0301sume\u0301", "resume"},
      {"STRASSE straße ẞ", "strasse strasse ss"},
      {"İstanbul ısı IŞIK ışık", "istanbul isi isik isik"},
      {"Łódź łódź SØREN Ħ đ ð þ ŋ æ Œ ɨ ƀ", "lodz lodz soren h d d th n ae oe i b"},
      {"ΣΊΣΥΦΟΣ σίσυφος", "σισυφοσ σισυφοσ"},
      {"Ёлка й", "елка и"},
      {"Đà Nẵng", "da nang"},
      {"ﬁne ２ Ⅷ ™", "fine 2 viii tm"},
      // Marks that are letters, and tones and points beside them that are none.
      {"दान दिन क़लम", "दान दिन कलम"},
      {"กิน กีน ป้า ป่า", "กิน กีน ปา ปา"},
      {"ދިވެހި", "ދިވެހި"},
      {"がパ ｶﾞ", "か\u3099ハ\u309A カ\u3099"},
      {"שָׁלוֹם كِتَاب أحمد", "שלום كتاب احمد"},
      // What nobody sees: a joiner, a soft hyphen, a variation selector.
      {"می\u200Cخواهم co\u00ADop ❤\uFE0F", "میخواهم coop ❤"},
      {"한", "\u1112\u1161\u11AB"},
      {"𝔘𐐀", "u𐐨"},
      {"a\xFF"
       "B\xE2\x82",
       "a\uFFFDb\uFFFD"},
  };
  for (const auto& [text, folded] : cases) EXPECT_EQ(stringByFolding(text), folded) << text;
}

TEST(Folding, IsIdempotentForEveryCharacter) {
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    std::string text;
    utf8::append(text, c);
    const std::string folded = stringByFolding(text);
    ASSERT_EQ(stringByFolding(folded), folded) << std::hex << static_cast<unsigned>(c);
  }
}

TEST(FoldedTitles, FindsTitlesThatContainTheText) {
  const std::string nul("x\0y", 3), padding(100, '-');
  const FoldedTitles titles({"Café", std::nullopt, "", "Le CAFE du café " + padding, "fe\u0301ca",
                             nul, "Invalid \xFF", padding + "cafE"});
  EXPECT_EQ(titles.count(), 8u);
  EXPECT_THAT(titles.indicesContaining("cafe"), ElementsAre(0, 3, 7));
  EXPECT_THAT(titles.indicesContaining("CAFÉ"), ElementsAre(0, 3, 7));
  EXPECT_THAT(titles.indicesContaining("E"), ElementsAre(0, 3, 4, 7));
  EXPECT_THAT(titles.indicesContaining("fec"), ElementsAre(4));  // not across two titles
  EXPECT_THAT(titles.indicesContaining(std::string("\0", 1)), ElementsAre(5));
  EXPECT_THAT(titles.indicesContaining("\xFE"), ElementsAre(6));
  EXPECT_THAT(titles.indicesContaining("nowhere"), IsEmpty());
  EXPECT_THAT(titles.indicesContaining(""), ElementsAre(0, 2, 3, 4, 5, 6, 7));
  EXPECT_THAT(titles.indicesContaining("\u0301"), IsEmpty());
  EXPECT_THAT(FoldedTitles({"\u0301"}).indicesContaining("\u0301"), ElementsAre(0));
  EXPECT_THAT(FoldedTitles().indicesContaining("x"), IsEmpty());
}

// Every place that a match can have relative to the 16 bytes that are looked at together.
TEST(FoldedTitles, FindsTextAtEveryOffset) {
  for (std::size_t before = 0; before < 40; ++before)
    for (const std::string wanted : {"x", "xy", "xaaaaaaaaaaaaaaaaaay"}) {
      const FoldedTitles titles({std::string(before, 'a') + wanted, "x"});
      EXPECT_EQ(titles.indicesContaining(wanted).front(), 0u) << before << wanted;
      EXPECT_EQ(titles.indicesContaining(wanted).size(), wanted == "x" ? 2u : 1u);
    }
}

TEST(LineRange, CoversTheLinesOfARange) {
  const std::string text =
      "one\ntwo\r\n\rfour\u2028five\u0085"
      "end";
  const struct {
    std::size_t start, length;
    const char* lines;
  } cases[] = {
      {0, 0, "one\n"},        {3, 0, "one\n"},   {3, 1, "one\n"}, {4, 0, "two\r\n"},
      {2, 3, "one\ntwo\r\n"}, {8, 0, "two\r\n"}, {9, 0, "\r"},    {9, 2, "\rfour\u2028"},
      {17, 1, "five\u0085"},  {23, 3, "end"},    {26, 0, "end"},  {0, 26, text.c_str()},
  };
  for (const auto& c : cases) {
    const auto [start, length] = lineRangeForRange(text, c.start, c.length);
    EXPECT_EQ(text.substr(start, length), c.lines) << c.start << " " << c.length;
  }
  EXPECT_EQ(lineRangeForRange("a\n", 2, 0), std::pair(std::size_t{2}, std::size_t{0}));
  EXPECT_EQ(lineRangeForRange("", 0, 0), std::pair(std::size_t{0}, std::size_t{0}));
}

}  // namespace
}  // namespace tasklane
