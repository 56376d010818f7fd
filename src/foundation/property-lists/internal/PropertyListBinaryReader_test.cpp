#include "foundation/property-lists/internal/PropertyListBinaryReader.h"

#include <gtest/gtest.h>

#include <limits>

#include "foundation/property-lists/NSPropertyListSerialization.h"
#include "foundation/property-lists/PropertyListSyntax.h"

namespace tasklane {
namespace {

std::string fromHex(std::string_view digits) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
    bytes += static_cast<char>(plist::hexDigit(digits[i]) * 16 + plist::hexDigit(digits[i + 1]));
  return bytes;
}

std::string bigEndian(std::uint64_t value, int size) {
  std::string bytes;
  while (size-- > 0) bytes += static_cast<char>(value >> (8 * size) & 0xFF);
  return bytes;
}

/// A document of the objects, the first of which is the top one, with two-byte offsets and
/// references of one byte, or two when there are many objects.
std::string document(const std::vector<std::string>& objects) {
  std::string text = "bplist00", table;
  for (const std::string& object : objects) {
    table += bigEndian(text.size(), 2);
    text += object;
  }
  const int referenceSize = objects.size() > 255 ? 2 : 1;
  return text + table + std::string(6, '\0') + bigEndian(2, 1) + bigEndian(referenceSize, 1) +
         bigEndian(objects.size(), 8) + bigEndian(0, 8) + bigEndian(text.size(), 8);
}

std::string fault(const std::string& bytes) {
  const auto result = NSPropertyListSerialization::propertyListWithData(bytes);
  if (result.ok()) return "accepted";
  EXPECT_EQ(result.error().kind, NSError::Kind::Corrupt);
  return result.error().description;
}

// As Python's plistlib writes it.
const std::string sample = fromHex(
    "62706c6973743030d6010203040506070f18191e1f5161516254646174615165546c6f6e6763"
    "00e9d83dde42a708090a0b0c0d0e100110ff120001000013ffffffffffffffff140000000000"
    "0000008000000000000000140000000000000000ffffffffffffffff138000000000000000d4"
    "101112131415161751645166517251743341c5c8a8ffc000000823bff8000000000000094200"
    "ffa41a1b1c1d5040a0d05f101130313233343536373839616263646566676400fc65e5d83dde"
    "42081517191e20252c3436383d465768717a7c7e80828b8c9596999e9fa0a1a2b60000000000"
    "0001010000000000000020000000000000000000000000000000bf");

TEST(PropertyListBinary, ReadsWhatOtherProgramsWrite) {
  const auto result = NSPropertyListSerialization::propertyListWithData(sample);
  ASSERT_TRUE(result.ok()) << result.error().description;
  EXPECT_EQ(result.value().format, NSPropertyListSerialization::Format::Binary);
  const PropertyList expected = PropertyListDictionary{
      {"a", PropertyList::Array{1, 255, 65536, -1, std::uint64_t{1} << 63,
                                std::numeric_limits<std::uint64_t>::max(),
                                std::numeric_limits<std::int64_t>::min()}},
      {"b",
       PropertyListDictionary{
           {"d", NSDate(NSTimeInterval(1709251199.5))}, {"f", false}, {"r", -1.5}, {"t", true}}},
      {"data", PropertyList::Data{std::byte{0}, std::byte{0xFF}}},
      {"e", PropertyList::Array{"", PropertyList::Data{}, PropertyList::Array{}, PropertyList()}},
      {"long", "0123456789abcdefg"},
      {"é🙂", "ü日🙂"}};
  EXPECT_EQ(result.value().plist, expected);
}

TEST(PropertyListBinary, RefusesEveryTruncationAndWhatFollowsTheEnd) {
  for (std::size_t length = 6; length < sample.size(); ++length)
    EXPECT_NE(fault(sample.substr(0, length)), "accepted") << length;
  EXPECT_NE(fault(sample + '\0'), "accepted");
  EXPECT_NE(fault(sample + sample), "accepted");
}

TEST(PropertyListBinary, RefusesWhatIsMalformed) {
  const struct {
    std::vector<std::string> objects;
    const char* error;
  } cases[] = {
      {{"\xA1\x01"}, "byte 9: a reference to an object that is not there"},
      {{std::string("\xA1\0", 2)}, "byte 9: a container that holds itself"},
      {{"\xA1\x01", std::string("\xA1\0", 2)}, "byte 11: a container that holds itself"},
      {{std::string("\0", 1)}, "byte 8: an object of an unknown type"},
      {{std::string("\x80\0", 2)}, "byte 8: an object of an unknown type"},
      {{"\xC1\x01", "\x09"}, "byte 8: an object of an unknown type"},
      {{"\xD1\x01\x01", "\x09"}, "byte 9: a key that is no string"},
      {{"\x13\x01"}, "byte 8: a malformed integer"},
      {{"\x14" + bigEndian(1, 8) + bigEndian(0, 8)}, "byte 8: an integer of more than 64 bits"},
      {{"\x15"}, "byte 8: a malformed integer"},
      {{"\x24" + bigEndian(0, 8)}, "byte 8: a malformed number or date"},
      {{"\x33" + bigEndian(0x7FF8000000000000, 8)}, "byte 8: a date that is no moment"},
      {{"\x52"
        "a"},
       "byte 8: an object that does not end"},
      {{"\x5F\x13" + bigEndian(~0ULL, 8)}, "byte 8: an object that does not end"},
      {{"\x5F\x08"}, "byte 8: an object that does not end"},
      {{"\x6F\x13" + bigEndian(1ULL << 63, 8)}, "byte 8: an object that does not end"},
      {{"\x52"
        "a\xE9"},
       "byte 10: a character that is not ASCII"},
      {{"\x61\xD8\x3D"}, "byte 9: invalid UTF-16"},
  };
  for (const auto& [objects, error] : cases) EXPECT_EQ(fault(document(objects)), error);

  EXPECT_EQ(fault("bplist00"), "byte 8: the document is cut off");
  EXPECT_EQ(fault("bplist15"), "byte 6: an unknown version of the binary format");
  std::string tableBeyond = document({"\x09"});
  tableBeyond[9] = 0x7F;  // the offset of the one object
  EXPECT_EQ(fault(tableBeyond), "byte 9: an offset outside of the document's objects");
}

TEST(PropertyListBinary, LimitsNestingAlsoThroughSharedObjects) {
  const auto chain = [](int levels) {
    std::vector<std::string> objects;
    for (int i = 1; i <= levels; ++i)
      objects.push_back("\xA1" + bigEndian(static_cast<std::uint64_t>(i), 2));
    objects.push_back("\x09");
    return objects;
  };
  EXPECT_EQ(fault(document(chain(512))), "accepted");
  EXPECT_NE(fault(document(chain(513))).find("nested more deeply than 512"), std::string::npos);
  // The deep part is read first, on its own, and then named again from further down.
  std::vector<std::string> objects = chain(500);
  objects[0] = "\xA2" + bigEndian(1, 2) + bigEndian(501, 2);
  for (int i = 501; i < 520; ++i)
    objects.push_back("\xA1" + bigEndian(static_cast<std::uint64_t>(i) + 1, 2));
  objects.back() = "\xA1" + bigEndian(2, 2);
  objects[500] = "\x09";
  EXPECT_NE(fault(document(objects)).find("nested more deeply than 512"), std::string::npos);
}

TEST(PropertyListBinary, SharesSharedObjectsAndRefusesExplosions) {
  std::vector<std::string> repeatedKeys;
  const auto shared = plist::readBinary(document({"\xA3\x01\x01\x01", "\xA1\x02",
                                                  "\x51"
                                                  "x"}),
                                        repeatedKeys);
  ASSERT_TRUE(shared.ok());
  const PropertyList::Array& array = *shared.value().array();
  EXPECT_EQ(array[0].array(), array[2].array());

  // 40 levels of arrays that hold the next one twice: 2^40 strings when written out.
  std::vector<std::string> objects;
  for (unsigned i = 1; i <= 40; ++i) objects.push_back("\xA2" + bigEndian(i, 1) + bigEndian(i, 1));
  objects.push_back(
      "\x51"
      "x");
  EXPECT_NE(fault(document(objects)).find("fill the memory"), std::string::npos);

  // Many large arrays that lie in the same bytes, each of them within the limits.
  std::string run = "\xA2\x01\x02";
  for (int i = 0; i < 200; ++i) run += std::string("\xAF\x11\x40\x00", 4);
  std::string text = "bplist00" + run + std::string(20000, '\x03'), table = bigEndian(8, 2);
  for (unsigned i = 0; i < 200; ++i) table += bigEndian(11 + 4 * i, 2);
  text += table + std::string(6, '\0') + bigEndian(2, 1) + bigEndian(1, 1) + bigEndian(201, 8) +
          bigEndian(0, 8) + bigEndian(text.size(), 8);
  EXPECT_NE(fault(text), "accepted");
}

}  // namespace
}  // namespace tasklane
