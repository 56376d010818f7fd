#include "foundation/property-lists/internal/PropertyListTextReader.h"

#include <gtest/gtest.h>

#include "foundation/property-lists/NSPropertyListSerialization.h"

namespace tasklane {
namespace {

using Serialization = NSPropertyListSerialization;

PropertyList::Data bytes(std::string_view text) {
  const auto* const first = reinterpret_cast<const std::byte*>(text.data());
  return {first, first + text.size()};
}

TEST(PropertyListText, ReadsEveryFormOfAValue) {
  const struct {
    const char* document;
    PropertyList value;
  } cases[] = {
      {"plain/text_1.2-3:$", "plain/text_1.2-3:$"},
      {" \"a b\" // done", "a b"},
      {"'it\"s'", "it\"s"},
      {R"("\"\\\n\t\r\a\b\f\v\'\x")", "\"\\\n\t\r\a\b\f\v'x"},
      {R"("\101\12\0x\341")", std::string("A\n\0xÆ", 6)},
      {R"("\U00e9\U65e5\UD83D\UDE42\U41")", "é日🙂A"},
      {"\"zwei\nZeilen, é🙂\"", "zwei\nZeilen, é🙂"},
      {"()", PropertyList::Array{}},
      {"(a, \"b\", (c), )", PropertyList::Array{"a", "b", PropertyList::Array{"c"}}},
      {"<>", PropertyList::Data{}},
      {"<0fbD 77\n1c>", bytes("\x0F\xBD\x77\x1C")},
      {"< dead >", bytes("\xDE\xAD")},
      {"{}", PropertyList()},
      {"/* c */{a=1;/**/\"b c\"=(x,y);d={e=<00>;};}//end",
       PropertyListDictionary{{"a", "1"},
                              {"b c", PropertyList::Array{"x", "y"}},
                              {"d", PropertyListDictionary{{"e", bytes(std::string(1, '\0'))}}}}},
      {"\xEF\xBB\xBF/* Title */\n\"Save\" = \"Sichern\";\n\"Save\"=Speichern;OK;\n",
       PropertyListDictionary{{"OK", "OK"}, {"Save", "Speichern"}}},
  };
  for (const auto& [document, value] : cases) {
    const auto result = Serialization::propertyListWithData(document);
    ASSERT_TRUE(result.ok()) << document << "\n" << result.error().description;
    EXPECT_EQ(result.value().plist, value) << document;
    EXPECT_EQ(result.value().format, Serialization::Format::Text) << document;
  }
}

TEST(PropertyListText, SaysWhereADocumentIsMalformed) {
  const struct {
    const char *document, *error;
  } cases[] = {
      {"{a = 1;\n b = 2}", "line 2, column 7: \";\" is missing after a value"},
      {"{a = 1;", "line 1, column 8: the document is cut off inside a dictionary"},
      {"{a 1;}", "line 1, column 4: \"=\" is missing after a key"},
      {"{a;}", "line 1, column 3: \"=\" is missing after a key"},
      {"{(a) = 1;}", "line 1, column 2: a key is missing here"},
      {"{\"é\": 1}", "line 1, column 5: \"=\" is missing after a key"},
      {"(a b)", "line 1, column 4: \",\" or \")\" is missing after a value"},
      {"(a,,b)", "line 1, column 4: a value is missing here"},
      {"(a", "line 1, column 3: \",\" or \")\" is missing after a value"},
      {"(", "line 1, column 2: the document is cut off"},
      {"(a) b", "line 1, column 5: something follows the end of the property list"},
      {"(\"a)", "line 1, column 2: a string does not end"},
      {"\"a\\", "line 1, column 1: a string does not end"},
      {"(\"\\Ug\")", "line 1, column 3: a malformed \"\\U\" escape"},
      {"\"\\UD83Dx\"", "line 1, column 2: a malformed \"\\U\" escape"},
      {"(<0>)", "line 1, column 2: data has an odd number of digits"},
      {"(<0g>)", "line 1, column 4: data holds something else than hexadecimal digits"},
      {"<0", "line 1, column 1: data does not end"},
      {"a /* b", "line 1, column 3: a comment does not end"},
      {"// only a comment", "line 1, column 18: the document holds no value"},
      {"a = 1; b", "line 1, column 9: \"=\" is missing after a key"},
      {"{a = (\xC3);}", "line 1, column 7: invalid UTF-8"},
      {"~", "line 1, column 1: a value is missing here"},
  };
  for (const auto& [document, error] : cases) {
    const auto result = Serialization::propertyListWithData(document);
    EXPECT_EQ(result.ok() ? "accepted" : result.error().description, error) << document;
  }
  for (const char* const open : {"(", "{a=", "a=("}) {
    std::string deep;
    for (int i = 0; i < 100000; ++i) deep += open;
    EXPECT_FALSE(Serialization::propertyListWithData(deep).ok());
  }
}

TEST(PropertyListText, DescribesAValueOnOneLineThatReadsBack) {
  const PropertyList value = PropertyListDictionary{
      {"array", PropertyList::Array{1, 1.5, 1e300, true, NSDate(NSTimeInterval(0))}},
      {"data", bytes("\x01\x02\x03\x04\xFF")},
      {"empty", PropertyList::Array{"", PropertyList(), PropertyList::Array{}}},
      {"text", "a \"b\"\\\n\t日\x01"}};
  const std::string line =
      "{ array = (1, 1.5, \"1e+300\", 1, 1970-01-01T00:00:00Z); data = <01020304 ff>; "
      "empty = (\"\", { }, ()); text = \"a \\\"b\\\"\\\\\\n\\U0009日\\U0001\"; }";
  EXPECT_EQ(Serialization::describe(value), line);
  const auto back = Serialization::propertyListWithData(line);
  ASSERT_TRUE(back.ok()) << back.error().description;
  EXPECT_EQ(*back.value().plist.valueForKey("text"), *value.valueForKey("text"));
  EXPECT_EQ(Serialization::describe("bplist00"), "\"bplist00\"") << "or it seems to be binary";
}

}  // namespace
}  // namespace tasklane
