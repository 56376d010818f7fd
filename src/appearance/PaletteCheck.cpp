#include "appearance/PaletteCheck.h"

#include <algorithm>
#include <initializer_list>
#include <optional>
#include <string_view>

#include "appearance/TasklaneAppearanceKeys.h"
#include "foundation/extension/NSBundle.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/files/NSURL.h"
#include "foundation/images/EncodedImage.h"
#include "kestrel/views/KAAppearancePropertyList.h"

namespace tasklane {

namespace {

constexpr const char* kTodayList = "TasklaneTodayAppearance.plist";

/// The files of an image in its variants (none, @2x, @3x), from beside the list or, where there is
/// none, from the main bundle.
std::vector<std::string> filesOfImage(const NSURL& list, std::string name) {
  if (name.ends_with(".png")) name.erase(name.size() - 4);
  const auto beside = list.URLByDeletingLastPathComponent()
                          .URLByDeletingLastPathComponent()
                          .URLByAppendingPathComponent("images");
  std::vector<std::string> besideFiles, bundleFiles;
  for (const std::string variant : {"", "@2x", "@3x"}) {
    const auto path = beside.URLByAppendingPathComponent(name + variant + ".png").path();
    if (NSFileManager::defaultManager().fileExistsAtPath(path)) besideFiles.push_back(path);
    if (const auto inBundle = NSBundle::mainBundle()->pathForResource(name + variant, "png"))
      bundleFiles.push_back(*inBundle);
  }
  return besideFiles.empty() ? bundleFiles : besideFiles;
}

/// Why a file is no picture that can be shown; none for a good one.
std::optional<std::string> faultOfPicture(const std::string& path) {
  const auto image = EncodedImage::imageWithContentsOfFile(path);
  if (!image) return image.error().description;
  const auto pixels = image.value()->thumbnail(EncodedImage::kLargestThumbnail);
  return pixels ? std::nullopt : std::optional(pixels.error().description);
}

void judgeImage(const std::string& key, const std::string& name, const NSURL& list,
                std::vector<std::string>& complaints) {
  const auto files = filesOfImage(list, name);
  if (files.empty())
    complaints.push_back(key + " names the image \"" + name + "\", which is not there");
  for (const auto& file : files)
    if (const auto fault = faultOfPicture(file))
      complaints.push_back(key + " names the image \"" + name + "\", which is broken: " + *fault);
}

bool endsWithOneOf(std::string_view name, std::initializer_list<std::string_view> endings) {
  return std::any_of(endings.begin(), endings.end(),
                     [&](std::string_view ending) { return name.ends_with(ending); });
}

/// What a value of the right type must be besides, told by its key's last word; empty when it is.
std::string faultOfValue(const KAAppearanceKey& key, const KAAppearanceValue& value) {
  if (const auto* number = std::get_if<double>(&value)) {
    const bool isPart =
        endsWithOneOf(key.name, {"Ratio", "Alpha", "AlphaComponent", "Opacity", "Dimming"});
    if (isPart && (*number < 0 || *number > 1)) return "must be from 0 to 1";
    const bool isTime = endsWithOneOf(key.name, {"Duration", "Delay", "Interval"});
    const bool isLength = endsWithOneOf(key.name, {"Width", "Height", "Size", "Radius"});
    if ((isTime || isLength) && *number < 0) return "must not be negative";
  }
  const auto* size = std::get_if<CGSize>(&value);
  return size && (size->width < 0 || size->height < 0) ? "must not be negative" : "";
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
    const std::string key(keys[i].name);
    if (const auto fault = faultOfValue(keys[i], values[i]); !fault.empty())
      complaints.push_back(key + " " + fault);
    const auto* image = std::get_if<std::string>(&values[i]);
    if (image && !image->empty()) judgeImage(key, *image, url, complaints);
  }
  return complaints;
}

}  // namespace tasklane
