// Reading and writing property lists, side by side with the archive's property-list library and the
// bare XML parser: plist_bench [ROUNDS [FILE...]]. The files are property lists to measure, too.
#include <plist/plist.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <pugixml.hpp>
#include <random>
#include <string>

#include "bench/Report.h"
#include "foundation/base/NSUUID.h"
#include "foundation/property-lists/NSPropertyListSerialization.h"

using namespace tasklane;

namespace {

std::string words(std::mt19937& random, std::size_t length) {
  static const char* const words[] = {"buy",   "call", "review", "the",       "garden", "café",
                                      "über",  "&",    "<new>",  "São Paulo", "東京",   "it's",
                                      "Ana's", "list", "done",   "next week", "budget", "résumé"};
  std::string text;
  while (text.size() < length) text.append(words[random() % std::size(words)]).append(1, ' ');
  return text;
}

/// A catalogue of 10,000 projects, about 3 MB as XML.
PropertyList catalogue() {
  std::mt19937 random(7);
  PropertyList::Array projects, order;
  for (int i = 0; i < 10000; ++i) {
    const std::string identifier = NSUUID::UUIDString();
    projects.push_back(
        PropertyListDictionary{{"id", identifier},
                               {"title", words(random, 30)},
                               {"path", words(random, 15) + "/" + words(random, 15)}});
    order.push_back(identifier);
  }
  return PropertyListDictionary{{"projects", projects}, {"order", order}};
}

/// 5,000 items with dates, numbers and truth values.
PropertyList items() {
  std::mt19937 random(8);
  PropertyList::Array items;
  for (int i = 0; i < 5000; ++i)
    items.push_back(PropertyListDictionary{
        {"uuid", NSUUID::UUIDString()},
        {"title", words(random, 35)},
        {"completed", random() % 3 == 0},
        {"created", NSDate(NSTimeInterval(static_cast<double>(1577836800 + random() % 150000000)))},
        {"due", "2024-03-14-09:26:53 -0700"},
        {"estimate", static_cast<double>(random() % 1000) / 8},
        {"index", static_cast<int>(random() % 100000) - 100}});
  return PropertyListDictionary{{"items", items}};
}

void readXML(const std::string& name, const std::string& xml, int rounds) {
  const auto length = static_cast<std::uint32_t>(xml.size());

  bench::compare({{name + ": read XML",
                   [&] {
                     const auto read = NSPropertyListSerialization::propertyListWithData(xml);
                     if (!read.ok()) std::abort();
                   },
                   {}},
                  {name + ": pugixml alone, no value made",
                   [&] {
                     pugi::xml_document tree;
                     if (!tree.load_buffer(xml.data(), xml.size())) std::abort();
                   },
                   {}},
                  {name + ": read XML, libplist",
                   [&] {
                     plist_t read = nullptr;
                     plist_from_xml(xml.data(), length, &read);
                     plist_free(read);
                   },
                   {}}},
                 rounds, bench::Time::Processor);
}

void writeXML(const std::string& name, const PropertyList& value, plist_t theirs, int rounds) {
  bench::compare({{name + ": write XML",
                   [&] {
                     const auto written = NSPropertyListSerialization::dataWithPropertyList(value);
                     if (!written.ok()) std::abort();
                   },
                   {}},
                  {name + ": write XML, libplist",
                   [&] {
                     char* text = nullptr;
                     std::uint32_t size = 0;
                     plist_to_xml(theirs, &text, &size);
                     std::free(text);
                   },
                   {}}},
                 rounds, bench::Time::Processor);
}

void readBinary(const std::string& name, plist_t theirs, int rounds) {
  char* binary = nullptr;
  std::uint32_t binaryLength = 0;
  plist_to_bin(theirs, &binary, &binaryLength);
  bench::compare({{name + ": read binary",
                   [&] {
                     const auto read = NSPropertyListSerialization::propertyListWithData(
                         std::string_view(binary, binaryLength));
                     if (!read.ok()) std::abort();
                   },
                   {}},
                  {name + ": read binary, libplist",
                   [&] {
                     plist_t read = nullptr;
                     plist_from_bin(binary, binaryLength, &read);
                     plist_free(read);
                   },
                   {}}},
                 rounds, bench::Time::Processor);
  std::free(binary);
}

void run(const std::string& name, const std::string& xml, int rounds) {
  bench::report(name + ", size as XML", static_cast<double>(xml.size()) / 1e6, "MB");
  readXML(name, xml, rounds);
  const PropertyList value = NSPropertyListSerialization::propertyListWithData(xml).value().plist;
  plist_t theirs = nullptr;
  plist_from_xml(xml.data(), static_cast<std::uint32_t>(xml.size()), &theirs);
  writeXML(name, value, theirs, rounds);
  readBinary(name, theirs, rounds);
  plist_free(theirs);
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::atoi(argv[1]) : 15;
  run("catalogue", NSPropertyListSerialization::dataWithPropertyList(catalogue()).value(), rounds);
  run("items", NSPropertyListSerialization::dataWithPropertyList(items()).value(), rounds);
  for (int i = 2; i < argc; ++i) {
    std::ifstream file(argv[i], std::ios::binary);
    run(argv[i], {std::istreambuf_iterator<char>(file), {}}, rounds);
  }
}
