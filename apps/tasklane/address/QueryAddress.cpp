#include "QueryAddress.h"

#include <uriparser/Uri.h>

#include <memory>
#include <string_view>

namespace tasklane {

namespace {

NSError wrong(const std::string& what) { return {NSError::Kind::Corrupt, what}; }

/// Percent-encodes what may not stand in an address (RFC 3986, section 2), percent signs left as
/// they are.
std::string encoded(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789ABCDEF", kUnsafe = "\"<>[\\]^`{|}";
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte > 0x20 && byte < 0x7F && kUnsafe.find(c) == kUnsafe.npos) {
      result += c;
    } else {
      result += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
  }
  return result;
}

std::string textOf(const UriTextRangeA& range) {
  return range.first ? std::string(range.first, range.afterLast) : std::string();
}

std::string nameOf(const UriUriA& address) {
  std::string name = textOf(address.hostText);
  for (const auto* segment = address.pathHead; segment; segment = segment->next)
    name += textOf(segment->text);
  return name;
}

Result<QueryAddress> read(const std::string& address) {
  const std::string text = encoded(address);
  // It decodes into texts that end with a null character.
  if (text.find("%00") != text.npos) return wrong("a text in it has a null character (%00)");
  UriUriA parsed{};
  const char* faultAt = nullptr;
  if (uriParseSingleUriExA(&parsed, text.data(), text.data() + text.size(), &faultAt) !=
      URI_SUCCESS)
    return wrong("it has a fault at \"" +
                 (faultAt ? std::string(faultAt).substr(0, 20) : std::string()) +
                 "\"; write a percent sign as %25");
  const std::unique_ptr<UriUriA, void (*)(UriUriA*)> members(&parsed, uriFreeUriMembersA);
  if (parsed.fragment.first) return wrong("a # in a text must be written as %23");

  QueryAddress result;
  result.name = nameOf(parsed);
  UriQueryListA* list = nullptr;
  int count = 0;
  if (parsed.query.first == parsed.query.afterLast) return result;
  if (uriDissectQueryMallocExA(&list, &count, parsed.query.first, parsed.query.afterLast, URI_TRUE,
                               URI_BR_DONT_TOUCH) != URI_SUCCESS)
    return wrong("what stands behind the ? cannot be read");
  const std::unique_ptr<UriQueryListA, void (*)(UriQueryListA*)> values(list, uriFreeQueryListA);
  for (const auto* entry = list; entry; entry = entry->next)
    result.values.emplace_back(entry->key, entry->value ? entry->value : "");
  return result;
}

}  // namespace

}  // namespace tasklane

extern "C" __attribute__((visibility("default"))) void tasklane_read_query_address(
    const std::string& address, tasklane::Result<tasklane::QueryAddress>& result) {
  result = tasklane::read(address);
}
