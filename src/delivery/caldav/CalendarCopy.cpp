#include "delivery/caldav/CalendarCopy.h"

#include <nlohmann/json.hpp>

#include "foundation/base/StableHash.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/files/UserFolder.h"

namespace tasklane {

using nlohmann::json;

namespace {

/// Another one is not read.
constexpr int kVersion = 1;

std::string folder() { return pathOfUserFolder(UserFolder::Cache) + "/tasklane"; }

std::string pathOf(const std::string& key) {
  return folder() + "/caldav-" + stableHashText(key) + ".json";
}

json JSONFromList(const CalendarCopy::List& list) {
  json resources = json::object();
  for (const auto& [address, resource] : list.resources)
    resources[address] = {resource.etag, resource.uid, resource.text};
  const auto& properties = list.properties;
  return {{"address", properties.address},
          {"title", properties.title},
          {"size", properties.maxResourceSize ? json(*properties.maxResourceSize) : json()},
          {"writable", properties.isWritable},
          {"tasksAlone", properties.isForTasksAlone},
          {"state", list.state},
          {"syncToken", list.syncToken},
          {"resources", std::move(resources)}};
}

CalendarCopy::List listFromJSON(const json& from) {
  CalendarCopy::List list;
  auto& properties = list.properties;
  properties.address = from.at("address");
  properties.title = from.at("title");
  if (!from.at("size").is_null()) properties.maxResourceSize = from.at("size");
  properties.isWritable = from.at("writable");
  properties.isForTasksAlone = from.at("tasksAlone");
  list.state = from.at("state");
  list.syncToken = from.at("syncToken");
  for (const auto& [address, resource] : from.at("resources").items())
    list.resources[address] = {resource.at(0), resource.at(1), resource.at(2)};
  return list;
}

}  // namespace

CalendarCopy CalendarCopy::load(const std::string& key) {
  const auto text = NSFileManager::defaultManager().contentsAtPath(pathOf(key));
  if (!text) return {};
  try {
    const json file = json::parse(text.value());
    if (file.at("version") != kVersion || file.at("key") != key) return {};
    CalendarCopy copy;
    copy.server = file.at("server");
    for (const auto& place : file.at("places"))
      copy.places.push_back({place.at("address"), place.at("isList")});
    for (const auto& list : file.at("lists")) copy.lists.push_back(listFromJSON(list));
    return copy;
  } catch (const json::exception&) {
    return {};
  }
}

void CalendarCopy::save(const std::string& key) const {
  json file{{"version", kVersion},
            {"key", key},
            {"server", server},
            {"places", json::array()},
            {"lists", json::array()}};
  for (const auto& place : places)
    file["places"].push_back({{"address", place.address}, {"isList", place.isList}});
  for (const auto& list : lists) file["lists"].push_back(JSONFromList(list));
  auto& manager = NSFileManager::defaultManager();
  if (const auto made = manager.createDirectoryAtPath(folder(), true); !made) return;
  (void)manager.writeToFileAtomically(pathOf(key),
                                      file.dump(-1, ' ', false, json::error_handler_t::replace));
}

}  // namespace tasklane
