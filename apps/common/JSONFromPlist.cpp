#include "common/JSONFromPlist.h"

#include <nlohmann/json.hpp>
#include <string>

#include "foundation/property-lists/PropertyListSyntax.h"

namespace tasklane {

using nlohmann::json;

json JSONFromDate(NSDate date) {
  std::string text;
  plist::appendDate(text, date);
  return text;
}

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
      return JSONFromDate(*plist.date());
    case PropertyList::Type::Data: {
      std::string text;
      plist::appendBase64(text, *plist.data());
      return text;
    }
  }
  return nullptr;
}

}  // namespace tasklane
