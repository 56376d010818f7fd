#include "appearance/PaletteCheck.h"

#include <algorithm>

#include "appearance/TasklaneAppearanceKeys.h"
#include "foundation/NSBundle.h"
#include "foundation/NSFileManager.h"
#include "foundation/NSURL.h"
#include "kestrel/views/KAAppearancePropertyList.h"

namespace tasklane {

namespace {

constexpr const char* kTodayList = "TasklaneTodayAppearance.plist";

bool imageExists(const NSURL& list, std::string name) {
  const auto beside = list.URLByDeletingLastPathComponent()
                          .URLByDeletingLastPathComponent()
                          .URLByAppendingPathComponent("images")
                          .URLByAppendingPathComponent(name);
  if (NSFileManager::defaultManager().fileExistsAtPath(beside.path())) return true;
  if (name.ends_with(".png")) name.erase(name.size() - 4);
  return NSBundle::mainBundle()->pathForResource(name, "png").has_value();
}

}  // namespace

Result<std::vector<std::string>> complaintsAboutPaletteAtPath(const std::string& path) {
  const auto list = KAAppearancePropertyList::contentsOfFile(path);
  if (!list) return list.error();

  const auto url = NSURL::fileURLWithPath(path);
  const bool isToday = url.lastPathComponent() == kTodayList;
  const auto keys = isToday ? tasklaneTodayAppearanceKeys() : tasklaneAppearanceKeys();
  std::vector<KAAppearanceValue> values;
  for (const auto& key : keys) values.push_back(key.emptyValue());
  std::vector<bool> found(keys.size());

  std::vector<std::string> complaints;
  for (const auto& complaint :
       KAAppearancePropertyList::readValues(list.value(), keys, values, found))
    complaints.push_back(complaint.description());

  const auto own = isToday ? keys.subspan(tasklaneAppearanceKeys().size()) : keys;
  for (std::size_t i = keys.size() - own.size(); i < keys.size(); ++i)
    if (keys[i].required && !found[i])
      complaints.push_back(std::string(keys[i].name) + " is missing");

  for (std::size_t i = 0; i < keys.size(); ++i) {
    const auto* image = std::get_if<std::string>(&values[i]);
    if (image && !image->empty() && !imageExists(url, *image))
      complaints.push_back(std::string(keys[i].name) + " names the image \"" + *image +
                           "\", which is not there");
  }
  return complaints;
}

}  // namespace tasklane
