#include "kestrel/views/KAAppearance.h"

#include "foundation/base/NSLog.h"
#include "foundation/extension/NSBundle.h"
#include "kestrel/views/KAAppearancePropertyList.h"

namespace tasklane {

namespace {

/// Where a palette's list is; where it should be when there is none.
std::string pathOfPropertyList(const std::string& name) {
  const auto bundle = NSBundle::mainBundle();
  const std::string resource = "palettes/" + name;
  return bundle->pathForResource(resource, "plist")
      .value_or(bundle->bundlePath() + "/Resources/" + resource + ".plist");
}

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const auto& word : words) text += (text.empty() ? "" : ", ") + word;
  return text;
}

}  // namespace

void KAAppearance::readPropertyListsOnce() const {
  const std::lock_guard lock(reading_);
  if (valuesAreRead_.load(std::memory_order_relaxed)) return;
  readPropertyLists();
  valuesAreRead_.store(true, std::memory_order_release);
}

void KAAppearance::readPropertyLists() const {
  const auto vocabulary = keys();
  for (const auto& key : vocabulary) values_.push_back(key.emptyValue());
  const auto names = propertyListNames();
  if (names.empty()) return;

  std::vector<bool> found(vocabulary.size());
  bool listsAreThere = true;
  for (const auto& name : names) {
    const auto list = KAAppearancePropertyList::contentsOfFile(pathOfPropertyList(name));
    if (!list) {
      NSLog(stringWithFormat("Palette %@: %@", {name, list.error().description}));
      listsAreThere = false;
      continue;
    }
    for (const auto& complaint :
         KAAppearancePropertyList::readValues(list.value(), vocabulary, values_, found))
      NSLog(stringWithFormat("Palette %@: %@", {name, complaint.description()}));
  }
  if (!listsAreThere) return;  // that says why there are no values
  const auto missing = KAAppearancePropertyList::missingKeys(vocabulary, found);
  if (!missing.empty())
    NSLog(stringWithFormat("Palette %@: no value for %@", {names.back(), joined(missing)}));
}

template <class Value>
Value KAAppearance::valueForKeyPath(std::string_view keyPath) const {
  const auto vocabulary = keys();
  for (std::size_t i = 0; i < vocabulary.size(); ++i)
    if (vocabulary[i].name == keyPath)
      if (const auto* value = std::get_if<Value>(&values()[i])) return *value;
  return {};
}

std::optional<UIColor> KAAppearance::colorForKeyPath(std::string_view keyPath) const {
  return valueForKeyPath<std::optional<UIColor>>(keyPath);
}

double KAAppearance::doubleForKeyPath(std::string_view keyPath) const {
  return valueForKeyPath<double>(keyPath);
}

CGSize KAAppearance::sizeForKeyPath(std::string_view keyPath) const {
  return valueForKeyPath<CGSize>(keyPath);
}

UIEdgeInsets KAAppearance::edgeInsetsForKeyPath(std::string_view keyPath) const {
  return valueForKeyPath<UIEdgeInsets>(keyPath);
}

bool KAAppearance::boolForKeyPath(std::string_view keyPath) const {
  return valueForKeyPath<bool>(keyPath);
}

std::shared_ptr<UIImage> KAAppearance::imageForKeyPath(std::string_view keyPath) const {
  const auto name = valueForKeyPath<std::string>(keyPath);
  return name.empty() ? nullptr : UIImage::imageNamed(name);
}

std::int64_t KAAppearance::integerForKeyPath(std::string_view keyPath) const {
  return valueForKeyPath<std::int64_t>(keyPath);
}

std::shared_ptr<UIImage> KAAppearance::imageAtIndex(std::size_t index) const {
  const auto& name = valueAtIndex<std::string>(index);
  return name.empty() ? nullptr : UIImage::imageNamed(name);
}

}  // namespace tasklane
