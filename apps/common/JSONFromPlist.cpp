#include "common/JSONFromPlist.h"

#include <algorithm>
#include <ctime>
#include <nlohmann/json.hpp>
#include <string>

namespace tasklane {

using nlohmann::json;

namespace {

std::string base64(const PropertyList::Data& data) {
  static constexpr char kDigits[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t i = 0; i < data.size(); i += 3) {
    unsigned bits = 0;
    for (std::size_t j = i; j < i + 3; ++j)
      bits = bits << 8 | (j < data.size() ? std::to_integer<unsigned>(data[j]) : 0);
    const std::size_t digits = std::min<std::size_t>(data.size() - i, 3) + 1;
    for (std::size_t j = 0; j < 4; ++j)
      text += j < digits ? kDigits[bits >> (18 - 6 * j) & 63] : '=';
  }
  return text;
}

std::string dateText(NSDate date) {
  const double seconds = date.time_since_epoch().count();
  if (!(seconds > -6e10 && seconds < 3e11)) return std::to_string(seconds);
  const auto whole = static_cast<std::time_t>(seconds);
  std::tm fields{};
  ::gmtime_r(&whole, &fields);
  char text[64];
  return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &fields)};
}

}  // namespace

json JSONFromPlist(const PropertyList& plist) {
  switch (plist.type()) {
    case PropertyList::Type::Dictionary: {
      json object = json::object();
      for (const auto& [key, value] : *plist.dictionary())
        object[std::string(key)] = JSONFromPlist(value);
      return object;
    }
    case PropertyList::Type::Array: {
      json array = json::array();
      for (const auto& value : *plist.array()) array.push_back(JSONFromPlist(value));
      return array;
    }
    case PropertyList::Type::String:
      return *plist.string();
    case PropertyList::Type::Boolean:
      return *plist.boolean();
    case PropertyList::Type::Real:
      return *plist.real();
    case PropertyList::Type::Integer:
      if (const auto integer = plist.int64()) return *integer;
      return *plist.uint64();
    case PropertyList::Type::Date:
      return dateText(*plist.date());
    case PropertyList::Type::Data:
      return base64(*plist.data());
  }
  return nullptr;
}

}  // namespace tasklane
