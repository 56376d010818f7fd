// Feeds damaged property lists to every reader: PropertyList_fuzz [SECONDS [SEED]].
//
// The same seed makes the same documents in the same order. A document must be refused with a
// reason or read whole; what was read must be the same again after it was written;
// everything else is for the sanitisers to find. The document being read is shown when a promise is
// broken.

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/property-lists/NSPropertyListSerialization.h"
#include "foundation/property-lists/RandomDamage.h"

using namespace tasklane;

namespace {

std::string documentOf(std::string_view hexadecimal) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < hexadecimal.size(); i += 2)
    bytes += static_cast<char>(std::stoi(std::string(hexadecimal.substr(i, 2)), nullptr, 16));
  return bytes;
}

std::vector<std::string> seedDocuments() {
  const PropertyList value = PropertyListDictionary{
      {"actions",
       PropertyList::Array{PropertyListDictionary{{"title", "Tom & Ana \r\n <é日🙂>"},
                                                  {"flagged", true},
                                                  {"estimate", -1.5e-3},
                                                  {"order", -42}}}},
      {"created", NSDate(NSTimeInterval(1.7e9))},
      {"data", PropertyList::Data(70, std::byte{0x5A})},
      {"empty", PropertyList::Array{PropertyList(), PropertyList::Array{}, "", false}}};
  const std::string xml = NSPropertyListSerialization::dataWithPropertyList(value).value();
  std::string wide = "\xFF\xFE";
  for (const char c : xml.substr(0, xml.find("<plist"))) wide += {c, '\0'};
  for (const char c : std::string("<plist><array><string>x&#233;</string></array></plist>"))
    wide += {c, '\0'};
  return {xml, wide, NSPropertyListSerialization::describe(value),
          "<?xml version='1.0'?><!-- c --><!DOCTYPE plist [<!ELEMENT a>]>\r\n<plist version='1.0'>"
          "<dict><key a='>'>k</key><string> <!-- x --><![CDATA[<&\r]]>&#x1F642;&quot;</string>"
          "<key/><array><integer>0x7F</integer><real>nan</real><date>2024-02-29T23:59:59Z</date>"
          "<data> AA ==</data><true></true></array></dict></plist>",
          "/* c */ \"key\" = \"v\\U00e9\\n\\341\"; // x\nother = (a, <0f bd>, {b = 'c';},); alone;",
          // As Python's plistlib writes it.
          documentOf("62706c6973743030d6010203040506070f18191e1f5161516254646174615165546c6f6e6763"
                     "00e9d83dde42a708090a0b0c0d0e100110ff120001000013ffffffffffffffff140000000000"
                     "0000008000000000000000140000000000000000ffffffffffffffff138000000000000000d4"
                     "101112131415161751645166517251743341c5c8a8ffc000000823bff8000000000000094200"
                     "ffa41a1b1c1d5040a0d05f101130313233343536373839616263646566676400fc65e5d83dde"
                     "42081517191e20252c3436383d465768717a7c7e80828b8c9596999e9fa0a1a2b60000000000"
                     "0001010000000000000020000000000000000000000000000000bf")};
}

std::vector<std::string_view> words() {
  return {"<dict>",    "</dict>",   "<array>", "</array>", "<key>",        "<string>",
          "</string>", "&amp;",     "&#0;",    "&#13;",    "<!--",         "-->",
          "<?",        "<![CDATA[", "]]>",     "{",        "};",           "(",
          ")",         "\\U",       "\"",      "/*",       "\xEF\xBF\xBF", "\xED\xA0\x80"};
}

[[noreturn]] void broken(const char* promise, const std::string& document) {
  std::fprintf(stderr, "%s\n", promise);
  for (const char c : document) std::fprintf(stderr, "%02x", static_cast<unsigned char>(c));
  std::fprintf(stderr, "\n");
  std::abort();
}

/// Whether the document was accepted.
bool check(const std::string& document) {
  const auto read = NSPropertyListSerialization::propertyListWithData(document);
  if (!read.ok()) {
    if (read.error().description.empty()) broken("refused without a reason", document);
    return false;
  }
  const PropertyList& value = read.value().plist;
  const auto written = NSPropertyListSerialization::dataWithPropertyList(value);
  if (!written.ok()) broken("what was read cannot be written", document);
  const auto again = NSPropertyListSerialization::propertyListWithData(written.value());
  if (!again.ok()) broken("what was written cannot be read", document);
  // Binary strings and dates hold more than XML can carry; XML's own values are the same at once.
  if (read.value().format == NSPropertyListSerialization::Format::XML &&
      again.value().plist != value)
    broken("what was read is not the same after it was written", document);
  // A key that XML cannot carry changes, and with it its place, at the first writing alone.
  const auto twice = NSPropertyListSerialization::dataWithPropertyList(again.value().plist);
  if (!twice.ok()) broken("what was written cannot be written again", document);
  if (again.value().plist == value && twice.value() != written.value())
    broken("equal values are not written alike", document);
  const auto third = NSPropertyListSerialization::propertyListWithData(twice.value());
  if (!third.ok() || third.value().plist != again.value().plist)
    broken("what was written is not the same the second time", document);
  const std::string line = NSPropertyListSerialization::describe(value);
  if (!NSPropertyListSerialization::propertyListWithData(line).ok())
    broken("what was described cannot be read", document);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  const std::chrono::duration<double> limit(argc > 1 ? std::atof(argv[1]) : 2);
  RandomDamage damage(argc > 2 ? static_cast<unsigned int>(std::atoi(argv[2])) : 1,
                      RandomDamage::Places::Anywhere, words());
  const std::vector<std::string> seeds = seedDocuments();
  for (const std::string& seed : seeds)
    if (!check(seed)) broken("a whole document is refused", seed);

  const auto start = std::chrono::steady_clock::now();
  std::size_t documents = 0, accepted = 0;
  while (std::chrono::steady_clock::now() - start < limit) {
    accepted += check(damage.damaged(seeds));
    ++documents;
  }
  std::printf("%zu documents, %zu of them accepted\n", documents, accepted);
}
