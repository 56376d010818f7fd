#include "PublishCommand.h"

#include <cstdio>
#include <map>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "Command.h"
#include "foundation/base/NSLog.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/property-lists/NSPropertyListSerialization.h"
#include "shared-store/TLXContainers.h"
#include "shared-store/TLXExternalItem.h"

namespace tasklane {

namespace {

const char* nameOfType(PropertyList::Type type) {
  switch (type) {
    case PropertyList::Type::Dictionary:
      return "a dictionary";
    case PropertyList::Type::Array:
      return "an array";
    case PropertyList::Type::String:
      return "a string";
    case PropertyList::Type::Integer:
      return "an integer";
    case PropertyList::Type::Real:
      return "a real number";
    case PropertyList::Type::Boolean:
      return "a boolean";
    case PropertyList::Type::Date:
      return "a date";
    case PropertyList::Type::Data:
      return "data";
  }
  return "";
}

/// What a look at a publication found, each a sentence that begins with the place.
struct Findings {
  std::vector<std::string> faults;   // no reader can use it
  std::vector<std::string> remarks;  // readers get along with it, though it is hardly meant
};

/// Notes what is wrong with a value and goes on, so that one look shows everything.
class Checker {
 public:
  Findings findings;

  void checkContainers(const PropertyList& plist) {
    if (!require(&plist, PropertyList::Type::Dictionary, "")) return;
    if (!plist.valueForKey("projects") && !plist.valueForKey("contexts"))
      return fault("", "holds neither \"projects\" nor \"contexts\"");
    checkCatalogue(plist, "projects", "orderedProjectIDs");
    checkCatalogue(plist, "contexts", "orderedContextIDs");
    remarkOnOtherKeys(plist, {"projects", "orderedProjectIDs", "contexts", "orderedContextIDs"});
  }

  void checkItems(const PropertyList& plist) {
    if (!require(&plist, PropertyList::Type::Dictionary, "")) return;
    checkItemArray(plist.valueForKey("items"), "/items");
    const auto* interval = plist.valueForKey("dueSoonInterval");
    if (interval && interval->type() != PropertyList::Type::Integer)
      require(interval, PropertyList::Type::Real, "/dueSoonInterval");
    const auto* categories = plist.valueForKey("contentCategories");
    if (categories && require(categories, PropertyList::Type::Integer, "/contentCategories") &&
        !categories->uint64())
      fault("/contentCategories", "must not be negative");
    checkOptional(plist, "usesCustomPerspective", PropertyList::Type::Boolean, "");
    remarkOnOtherKeys(plist,
                      {"items", "dueSoonInterval", "contentCategories", "usesCustomPerspective"});
  }

 private:
  void fault(const std::string& place, const std::string& what) {
    findings.faults.push_back(sentence(place, what));
  }

  void remark(const std::string& place, const std::string& what) {
    findings.remarks.push_back(sentence(place, what));
  }

  static std::string sentence(const std::string& place, const std::string& what) {
    return (place.empty() ? std::string("the file") : oneLine(place)) + " " + what;
  }

  void remarkOnOtherKeys(const PropertyList& plist, const std::set<std::string_view>& known) {
    for (const auto& [key, value] : *plist.dictionary())
      if (!known.contains(std::string_view(key)))
        remark("/" + std::string(key), "is not a key that anyone reads");
  }

  bool require(const PropertyList* value, PropertyList::Type type, const std::string& place) {
    if (value && value->type() == type) return true;
    fault(place,
          value ? std::string("must be ") + nameOfType(type) + ", not " + nameOfType(value->type())
                : "is missing");
    return false;
  }

  void checkOptional(const PropertyList& dictionary, const char* key, PropertyList::Type type,
                     const std::string& place) {
    if (const auto* value = dictionary.valueForKey(key)) require(value, type, place + "/" + key);
  }

  void checkCatalogue(const PropertyList& plist, const char* entriesKey, const char* orderKey) {
    const auto* entries = plist.valueForKey(entriesKey);
    const auto* order = plist.valueForKey(orderKey);
    if (!entries && !order) return;
    const std::string entriesPlace = std::string("/") + entriesKey;
    const std::string orderPlace = std::string("/") + orderKey;
    if (require(entries, PropertyList::Type::Dictionary, entriesPlace))
      for (const auto& [key, entry] : *entries->dictionary()) {
        const std::string identifier(key);
        checkEntry(identifier, entry, entriesPlace + "/" + identifier);
      }
    if (!require(order, PropertyList::Type::Array, orderPlace)) return;
    for (std::size_t i = 0; i < order->array()->size(); ++i) {
      const auto& identifier = order->array()->at(i);
      const std::string place = orderPlace + "/" + std::to_string(i);
      if (require(&identifier, PropertyList::Type::String, place) && entries &&
          entries->dictionary() && !entries->valueForKey(*identifier.string()))
        remark(place, "names \"" + oneLine(*identifier.string()) + "\", which is not in " +
                          entriesPlace + ", and is passed over");
    }
  }

  void checkEntry(const std::string& identifier, const PropertyList& entry,
                  const std::string& place) {
    if (!require(&entry, PropertyList::Type::Dictionary, place)) return;
    const auto* id = entry.valueForKey("id");
    if (require(id, PropertyList::Type::String, place + "/id") && *id->string() != identifier)
      fault(place + "/id", "must be \"" + identifier + "\", as its key is");
    require(entry.valueForKey(TLXContainerTitle), PropertyList::Type::String, place + "/title");
    checkOptional(entry, TLXContainerPath, PropertyList::Type::String, place);
  }

  void checkItemArray(const PropertyList* items, const std::string& place) {
    if (!require(items, PropertyList::Type::Array, place)) return;
    for (std::size_t i = 0; i < items->array()->size(); ++i)
      checkItem(items->array()->at(i), place + "/" + std::to_string(i));
  }

  void checkItem(const PropertyList& item, const std::string& place) {
    if (!require(&item, PropertyList::Type::Dictionary, place)) return;
    const auto* uuid = item.valueForKey("uuid");
    if (require(uuid, PropertyList::Type::String, place + "/uuid")) {
      const auto [first, isNew] = placeOfUUID_.try_emplace(*uuid->string(), place);
      if (uuid->string()->empty()) {
        fault(place + "/uuid", "must not be empty");
      } else if (!isNew) {
        remark(place + "/uuid", "is the same as that of " + first->second +
                                    "; what is done to one is shown on the later one only");
      }
    }
    for (const char* key : {"title", "subtitle"})
      checkOptional(item, key, PropertyList::Type::String, place);
    for (const char* key :
         {"flagged", "parentFlagged", "repeats", "blocked", "inbox", "onlyBlockedByDeferDate"})
      checkOptional(item, key, PropertyList::Type::Boolean, place);
    for (const char* key : {"due", "defer"}) {
      const auto* date = item.valueForKey(key);
      const std::string datePlace = place + "/" + key;
      if (date && require(date, PropertyList::Type::String, datePlace) &&
          !TLXExternalItem::sharedDateFormatter().dateFromString(*date->string()))
        fault(datePlace, "must be a date such as 2015-03-14-09:26:53 -0700");
    }
    if (const auto* children = item.valueForKey("children"))
      checkItemArray(children, place + "/children");
  }

  std::map<std::string, std::string> placeOfUUID_;
};

Findings findingsOf(Publication publication, const PropertyList& plist) {
  Checker checker;
  if (publication == Publication::Containers)
    checker.checkContainers(plist);
  else
    checker.checkItems(plist);
  return std::move(checker.findings);
}

}  // namespace

void publish(Publication publication, const std::string& file) {
  const auto input = NSFileManager::defaultManager().contentsOfInputAtPath(file);
  const std::string name = file == "-" ? "the standard input" : oneLine(file);
  if (!input)
    throw Failure{exitCodeForInputError(input.error()),
                  "The file to publish cannot be read: " + input.error().description + "."};
  auto parsed = NSPropertyListSerialization::propertyListWithData(input.value());
  if (!parsed)
    throw Failure{ExitCode::BadData,
                  name + " is no property list: " + parsed.error().description + "."};
  const auto plist = std::make_shared<const PropertyList>(std::move(parsed).value().plist);
  const auto findings = findingsOf(publication, *plist);
  for (const auto& remark : findings.remarks) NSLog("tasklane: " + name + ": " + remark);
  if (!findings.faults.empty()) {
    for (const auto& fault : findings.faults) NSLog("tasklane: " + name + ": " + fault);
    throw Failure{ExitCode::BadData,
                  "Nothing was published; correct " + name + " and publish it again."};
  }
  requireContainer();
  const auto& presenter = publication == Publication::Containers ? TLXContainers::presenter()
                                                                 : TLXExternalItem::presenter();
  changeSharedFile(presenter, [&] { presenter->writePlist(plist); });
}

}  // namespace tasklane
