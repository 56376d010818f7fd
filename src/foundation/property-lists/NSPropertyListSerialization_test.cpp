#include "foundation/property-lists/NSPropertyListSerialization.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <thread>

namespace tasklane {
namespace {

using Serialization = NSPropertyListSerialization;

PropertyList::Data bytes(std::string_view text) {
  const auto* const first = reinterpret_cast<const std::byte*>(text.data());
  return {first, first + text.size()};
}

std::string document(const std::string& body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
         "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
         "<plist version=\"1.0\">\n" +
         body + "</plist>\n";
}

PropertyList parsed(const std::string& text) {
  const auto result = Serialization::propertyListWithData(text);
  EXPECT_TRUE(result.ok()) << text << "\n" << (result.ok() ? "" : result.error().description);
  return result.ok() ? result.value().plist : PropertyList("no value");
}

std::string fault(const std::string& text) {
  const auto result = Serialization::propertyListWithData(text);
  if (result.ok())
    return "accepted: " + Serialization::dataWithPropertyList(result.value().plist).value();
  EXPECT_EQ(result.error().kind, NSError::Kind::Corrupt) << text;
  return result.error().description;
}

std::string written(const PropertyList& plist) {
  return Serialization::dataWithPropertyList(plist).value();
}

TEST(PropertyListXML, ReadsBackWhateverItWrites) {
  const struct {
    PropertyList value, back;
  } cases[] = {
      {"a\r\nb\rc\n", "a\r\nb\rc\n"},
      {"  spaces  ", "  spaces  "},
      {" \t\n ", " \t\n "},
      {"]]> &amp; &#38;", "]]> &amp; &#38;"},
      {std::string("nul\0, \x01\x1F\x7F", 9), "nul\uFFFD, \uFFFD\uFFFD\x7F"},
      {"cut \xE2\x82, overlong \xC0\x80, surrogate \xED\xA0\x80",
       "cut \uFFFD, overlong \uFFFD\uFFFD, surrogate \uFFFD\uFFFD\uFFFD"},
      {"\uFFFE\uFFFF\U0010FFFF", "\uFFFD\uFFFD\U0010FFFF"},
      {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::min()},
      {5e-324, 5e-324},
      {0.1 + 0.2, 0.1 + 0.2},
      {-INFINITY, -INFINITY},
      {NAN, NAN},
      {NSDate(NSTimeInterval(-62135596800)), NSDate(NSTimeInterval(-62135596800))},
      {NSDate(NSTimeInterval(-62198755200)),
       NSDate(NSTimeInterval(-62198755200))},                        // before year 0
      {NSDate(NSTimeInterval(1e12)), NSDate(NSTimeInterval(1e12))},  // after 9999
      {bytes(std::string("\0\xFF\x80", 3)), bytes(std::string("\0\xFF\x80", 3))},
  };
  for (const auto& [value, back] : cases) {
    EXPECT_EQ(parsed(written(value)), back) << written(value);
    const PropertyList asKey = PropertyListDictionary{{value.string() ? *value.string() : "k", 1}};
    EXPECT_EQ(parsed(written(asKey)).dictionary()->size(), 1u);
  }
  EXPECT_TRUE(std::signbit(*parsed(written(-0.0)).real()));
  for (const double date : {1e300, -1e300, HUGE_VAL, std::nan("")})
    EXPECT_TRUE(parsed(written(NSDate(NSTimeInterval(date)))).date());
}

TEST(PropertyListXML, ReadsEveryFormOfAValue) {
  const struct {
    const char* body;
    PropertyList value;
  } cases[] = {
      {"<integer> +0x1fF\n</integer>", 511},
      {"<integer>-0X10</integer>", -16},
      {"<integer>-0</integer>", 0},
      {"<real>1</real>", 1.0},
      {"<real> +Infinity </real>", INFINITY},
      {"<true></true>", true},
      {"<false>\n</false>", false},
      {"<date>2000-02-29T00:00:00Z</date>", NSDate(NSTimeInterval(951782400))},
      {"<data>\n\tAA EC\n\tAw==\n</data>", bytes(std::string("\0\x01\x02\x03", 4))},
      {"<string/>", ""},
      {"<string >  </string >", "  "},
      {"<string a='>'>x</string>", "x"},
      {"<string> <!-- <x> --> <![CDATA[<&\r\n>]]>&lt;</string>", "  <&\n><"},
      {"<string>&#x1F642;&#65;&apos;&quot;</string>", "🙂A'\""},
      {"<string>a\r\nb\rc&#13;</string>", "a\nb\nc\r"},
      {"<dict><key>b</key><string>1</string><key>a</key><dict/><key>b</key><true/></dict>",
       PropertyListDictionary{{"a", PropertyList()}, {"b", true}}},
      {"<dict><key/><string/></dict>", PropertyListDictionary{{"", ""}}},
      {"<!-- c --><array><?pi?><!-- c --></array>", PropertyList::Array{}},
      {"<array>\n</array>", PropertyList::Array{}},
      {"<dict> </dict>", PropertyList()},
  };
  for (const auto& [body, value] : cases) {
    EXPECT_EQ(parsed(document(body)), value) << body;
    EXPECT_EQ(parsed(std::string("<plist>") + body + "</plist>"), value) << body;
  }
}

TEST(PropertyListXML, RefusesWhatIsNoPropertyList) {
  const struct {
    const char* document;
    const char* error;
  } cases[] = {
      {"<plist><array>\n  <string>x</string>\n</array>",
       "line 3, column 9: the document is cut off"},
      {"<plist><string>x</string></plist> y",
       "line 1, column 35: text after the end of the property list"},
      {"<plist><true/></plist><plist><true/></plist>", "line 1, column 23: a second root element"},
      {"x<plist><true/></plist>", "line 1, column 2: \"=\" is missing after a key"},
      {"<plist><true/><false/></plist>", "line 1, column 15: <plist> holds more than one value"},
      {"<plist>\n</plist>", "line 1, column 1: <plist> holds no value"},
      {"<dict/>", "line 1, column 1: the root element must be <plist>"},
      {"<plist>\n<array>\n<é/></array></plist>", "line 3, column 1: unknown element <é>"},
      {"<plist><array>é x <true/></array></plist>", "line 1, column 15: text between elements"},
      {"<plist><array><![CDATA[]]></array></plist>", "line 1, column 15: text between elements"},
      {"<plist><dict><key>a</key></dict></plist>", "line 1, column 14: the key \"a\" has no value"},
      {"<plist><dict><key>a</key><key>b</key></dict></plist>",
       "line 1, column 14: the key \"a\" has no value"},
      {"<plist><dict><true/></dict></plist>",
       "line 1, column 14: a <key> is missing before this value"},
      {"<plist><key>a</key></plist>", "line 1, column 8: a <key> outside of a dictionary"},
      {"<plist><string>a<true/></string></plist>",
       "line 1, column 17: an element inside of a text"},
      {"<plist><string>ü &eacute;</string></plist>",
       "line 1, column 18: an unknown or malformed reference after \"&\""},
      {"<!DOCTYPE plist [<!ENTITY a \"b\">]><plist><string>x</string></plist>",
       "line 1, column 18: the document type declares entities"},
      {"<plist><true/></plist><!DOCTYPE plist>",
       "line 1, column 23: a document type after the root element"},
      {"<plist><string>\x01</string></plist>", "line 1, column 16: a character that XML forbids"},
      {"<plist><string>\xFF</string></plist>", "line 1, column 16: invalid UTF-8"},
      {"<plist><integer>1.5</integer></plist>",
       "line 1, column 8: <integer> does not hold an integer"},
      {"<plist><array><string>a</array></plist>", "line 1, column 24: </string> is missing here"},
      {"<plist><array>< ></array></plist>", "line 1, column 15: a malformed tag"},
      {"<plist><true/ ></plist>", "line 1, column 8: a malformed tag"},
      {"<plist a='></plist>", "line 1, column 10: a quotation mark is not closed"},
      {"<plist><!-- <true/></plist>", "line 1, column 8: a comment does not end"},
      {"<plist><string><![CDATA[x]]</string></plist>",
       "line 1, column 16: a character data section does not end"},
      {"<!DOCTYPE plist [", "line 1, column 17: the document type does not end"},
      {"<?xml version='1.0'?>\n", "line 2, column 1: the document holds no property list"},
      {" \n", "the property list is empty"},
  };
  for (const auto& [text, error] : cases) EXPECT_EQ(fault(text), error) << text;

  const struct {
    const char* element;
    std::vector<std::string> contents;
  } values[] = {
      {"integer", {"", "abc", "12abc", "1.5", "- 1", "0x", "+-1"}},
      {"real", {"", "abc", "1,5", "nan(1)", "0x1p3"}},
      {"date",
       {"", "garbage", "2024-13-01T00:00:00Z", "2023-02-29T00:00:00Z", "2024-01-01T24:00:00Z",
        "2024-01-01T00:00:00", "2024-01-01 00:00:00Z", "24-01-01T00:00:00Z"}},
      {"data", {"A", "AAA", "A===", "====", "AA==AA==", "AA=A", "AA-_"}},
      {"true", {"x"}},
      {"array", {"&amp;"}},
      {"string",
       {"]]>", "<!-- -- -->x", "<!-- \xFF -->x", "&", "&#0;", "&#xD83D;", "&#1;", "&#x110000;",
        "&#;", "\xEF\xBF\xBE"}}};
  const auto isRefused = [](const std::string& body) {
    EXPECT_FALSE(Serialization::propertyListWithData(document(body)).ok()) << body;
  };
  for (const auto& [element, contents] : values)
    for (const auto& text : contents)
      isRefused("<" + std::string(element) + ">" + text + "</" + element + ">");
  for (const char* const attributes :
       {"a", "a='1'b='2'", "a='1' a='2'", "a='<'", "a='&x;'", "a='\xFF'"})
    isRefused("<string " + std::string(attributes) + ">x</string>");
  for (const char* const body : {"<?xml version='1.0'?><true/>", "<? x?><true/>", "<String/>"})
    isRefused(body);
}

// Texts are copied a block at a time, into memory that many of them share.
TEST(PropertyListXML, CarriesTextsOfEveryLengthWithEveryCharacterAtEveryPlace) {
  const std::pair<std::string, std::string> characters[] = {
      {"", ""},         {"&", "&amp;"},
      {"<", "&lt;"},    {">", "&gt;"},
      {"\r", "&#13;"},  {"\t", "\t"},
      {"é", "é"},       {"東", "東"},
      {"🙂", "🙂"}, {"é東🙂&é", "é東🙂&amp;é"}};
  const std::string letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
  for (const auto& [character, escaped] : characters)
    for (std::size_t before = 0; before < 36; ++before)
      for (std::size_t after = 0; after < 20; ++after) {
        const std::string start = letters.substr(0, before), end = letters.substr(20, after);
        const PropertyList value = start + character + end;
        const std::string text = start + escaped + end;
        ASSERT_EQ(written(value), document("<string>" + text + "</string>\n"));
        ASSERT_EQ(parsed(document("<string>" + text + "</string>\n")), value);
        const PropertyList entry = PropertyListDictionary{{start + character + end, true}};
        ASSERT_EQ(parsed(written(entry)), entry);
      }
}

TEST(PropertyListXML, KeepsADocumentWithNumbersThatNothingHereHolds) {
  EXPECT_EQ(parsed(document("<array><integer>18446744073709551616</integer>"
                            "<integer>-9223372036854775809</integer><integer>0x10000000000000000"
                            "</integer><real>-1e999</real><real>1e-999</real>"
                            "<string>&#x00000000000000000000000000000041;</string></array>")),
            PropertyList(PropertyList::Array{0x1p64, -0x1p63, 0x1p64, -HUGE_VAL, 0.0, "A"}));
}

TEST(PropertyListXML, WritesKeysThatItCannotCarryUnderNamesOfTheirOwn) {
  const PropertyList value = PropertyListDictionary{{"a\x01", 1},
                                                    {"a\x02", 2},
                                                    {"a\uFFFD", 3},
                                                    {"a\xFF", 4},
                                                    {"a", PropertyListDictionary{{"\x01", 5}}}};
  const PropertyList back = parsed(written(value));
  EXPECT_EQ(back, (PropertyListDictionary{{"a", PropertyListDictionary{{"\uFFFD", 5}}},
                                          {"a\uFFFD", 3},
                                          {"a\uFFFD\uFFFD", 1},
                                          {"a\uFFFD\uFFFD\uFFFD", 2},
                                          {"a\uFFFD\uFFFD\uFFFD\uFFFD", 4}}));
  EXPECT_EQ(written(back), written(value));
}

TEST(PropertyListXML, CarriesLongTextsBesideShortOnes) {
  PropertyList::Array texts;
  for (std::size_t length = 1; length < 200'000; length = length * 5 / 3 + 1)
    for (const char* const part : {"x", "&", "é"}) {
      std::string text;
      while (text.size() < length) text += part;
      texts.push_back(PropertyListDictionary{{text, text}, {"short", "y"}});
    }
  EXPECT_EQ(parsed(written(texts)), PropertyList(texts));
}

TEST(PropertyListXML, KeepsWhatIsTakenOutOfADocument) {
  const std::string longKey(40, 'k'), longText(40, 't');
  PropertyList dictionary, array, string, data;
  {
    const PropertyList whole = parsed(written(PropertyListDictionary{
        {"array", PropertyList::Array{longText, bytes("z")}}, {longKey, longText}}));
    EXPECT_EQ(*whole.valueForKey(longKey)->string(), longText);
    dictionary = *whole.dictionary();
    array = *whole.valueForKey("array");
    string = *whole.valueForKey(longKey);
    data = array.array()->at(1);
  }
  auto changed = *dictionary.dictionary();
  changed.set("new", array);
  changed.erase("array");
  EXPECT_EQ(changed, (PropertyListDictionary{{longKey, longText}, {"new", array}}));
  EXPECT_EQ(*dictionary.valueForKey("array"), array) << "the one it was copied from";
  dictionary = changed = {};
  EXPECT_EQ(array, PropertyList(PropertyList::Array{longText, bytes("z")}));
  array = {};
  EXPECT_EQ(data, bytes("z"));

  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([copy = string, &longText] { EXPECT_EQ(*copy.string(), longText); });
  const std::string* const known = string.string();
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(string.string(), known);
}

TEST(PropertyListXML, RefusesEveryTruncation) {
  const std::string whole =
      written(PropertyListDictionary{{"a", PropertyList::Array{1, "x & y", bytes("z")}},
                                     {"b", PropertyListDictionary{{"c", 1.5}}}});
  for (std::size_t length = 0; length + 1 < whole.size(); ++length)
    EXPECT_FALSE(Serialization::propertyListWithData(whole.substr(0, length)).ok()) << length;
}

TEST(PropertyListXML, ReadsEveryEncoding) {
  const std::string body = "<plist><string>é🙂</string></plist>";
  std::u16string wide = u"<plist><string>é🙂</string></plist>";
  std::string little, big;
  for (const char16_t unit : wide) {
    little += {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
    big += {static_cast<char>(unit >> 8), static_cast<char>(unit & 0xFF)};
  }
  for (const std::string& text :
       {"\xEF\xBB\xBF" + body, "\xFF\xFE" + little, "\xFE\xFF" + big, little, big})
    EXPECT_EQ(parsed(text), PropertyList("é🙂"));
  EXPECT_EQ(
      parsed("<?xml version=\"1.0\" encoding='ISO-8859-1'?><plist><string>\xE9</string></plist>"),
      PropertyList("é"));
  const auto unknown =
      Serialization::propertyListWithData("<?xml version=\"1.0\" encoding=\"x\"?><plist/>");
  ASSERT_FALSE(unknown.ok());
  EXPECT_EQ(unknown.error().kind, NSError::Kind::Unsupported);
  EXPECT_EQ(fault("\xFF\xFE" + little.substr(0, 31)), "invalid UTF-16 at byte 32");
}

TEST(PropertyListXML, LimitsNesting) {
  const auto nested = [](int levels) {
    PropertyList value = PropertyList::Array{};
    for (int i = 1; i < levels; ++i) value = PropertyList::Array{value};
    return value;
  };
  EXPECT_EQ(parsed(written(nested(512))), nested(512));
  EXPECT_FALSE(Serialization::dataWithPropertyList(nested(514)).ok());
  std::string deep;
  for (int i = 0; i < 100000; ++i) deep += "<array>";
  std::string end;
  for (int i = 0; i < 100000; ++i) end += "</array>";
  EXPECT_NE(fault("<plist>" + deep + end + "</plist>").find("nested more deeply than 512"),
            std::string::npos);
}

}  // namespace
}  // namespace tasklane
