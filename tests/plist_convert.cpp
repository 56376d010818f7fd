// Reads property lists of any format and writes each again as XML, FILE as FILE.xml:
// plist_convert FILE... A file that is refused gets a line with the reason, and no FILE.xml.

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "foundation/property-lists/NSPropertyListSerialization.h"

using tasklane::NSPropertyListSerialization;

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string path = argv[i];
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    const auto read = NSPropertyListSerialization::propertyListWithData(bytes);
    if (!read.ok()) {
      std::printf("%s: %s\n", path.c_str(), read.error().description.c_str());
      continue;
    }
    std::ofstream(path + ".xml", std::ios::binary)
        << NSPropertyListSerialization::dataWithPropertyList(read.value().plist).value();
  }
}
