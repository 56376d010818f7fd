#include "foundation/extension/NSBundle.h"

#include <unistd.h>

#include <climits>
#include <filesystem>
#include <map>
#include <utility>
#include <vector>

#include "foundation/base/FileSystem.h"
#include "foundation/base/NSLog.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/files/NSURL.h"
#include "foundation/property-lists/NSPropertyListSerialization.h"
#include "foundation/property-lists/PropertyListLookup.h"
#include "foundation/text/PreferredLanguages.h"

namespace tasklane {

namespace {

namespace fs = std::filesystem;

std::map<std::string, std::shared_ptr<NSBundle>>& bundlesByPath() {
  static std::map<std::string, std::shared_ptr<NSBundle>> bundles;
  return bundles;
}

std::shared_ptr<NSBundle>& chosenMainBundle() {
  static std::shared_ptr<NSBundle> bundle;
  return bundle;
}

const PropertyList& emptyDictionary() {
  static const PropertyList none;
  return none;
}

/// The dictionary in a file; a file that is not there holds an empty one.
Result<PropertyList> dictionaryInFile(const std::string& path) {
  const auto contents = NSFileManager::defaultManager().contentsAtPath(path);
  if (!contents && contents.error().kind == NSError::Kind::FileNotFound) return PropertyList();
  if (!contents) return contents.error();
  auto parsed = NSPropertyListSerialization::propertyListWithData(contents.value());
  if (!parsed) return NSError{parsed.error().kind, path + ": " + parsed.error().description};
  if (!parsed.value().plist.dictionary())
    return NSError{NSError::Kind::Corrupt, path + ": not a dictionary"};
  return std::move(parsed).value().plist;
}

/// None when the folder cannot be listed.
std::vector<std::string> namesIn(const std::string& folder) {
  auto names = NSFileManager::defaultManager().contentsOfDirectoryAtPath(folder);
  return names ? std::move(names).value() : std::vector<std::string>();
}

/// The application that an extension's bundle lies in ("X.app/PlugIns/Y.appex"), or none.
std::string applicationAround(const fs::path& path) {
  if (path.parent_path().filename() != "PlugIns") return {};
  return path.parent_path().parent_path().string();
}

}  // namespace

struct NSBundle::State {
  std::optional<PropertyList> info;
  std::optional<std::vector<std::string>> languages;  // that have a folder
  std::optional<std::vector<std::string>> preferred;  // that the folders are of
  std::vector<std::string> folders;
  std::map<std::string, PropertyList> tables;  // by path

  const PropertyList& table(const std::string& path) {
    const auto known = tables.find(path);
    if (known != tables.end()) return known->second;
    auto read = dictionaryInFile(path);
    if (read) return tables.emplace(path, std::move(read).value()).first->second;
    NSLog(read.error().description);
    return emptyDictionary();
  }

  /// The folders of the person's languages, best first, each with a slash at its end.
  const std::vector<std::string>& languageFolders(const std::string& resources) {
    auto now = preferredLanguages();
    if (preferred == now) return folders;
    preferred = std::move(now);
    folders.clear();
    if (!languages) {
      languages.emplace();
      for (const fs::path name : namesIn(resources))
        if (name.extension() == ".lproj") languages->push_back(name.stem());
    }
    for (const std::string& language : matchingLanguages(*languages, *preferred))
      folders.push_back(resources + language + ".lproj/");
    return folders;
  }
};

NSBundle::NSBundle(std::string path) : path_(std::move(path)), state_(std::make_shared<State>()) {}

std::shared_ptr<NSBundle> NSBundle::mainBundle() {
  std::shared_ptr<NSBundle>& bundle = chosenMainBundle();
  if (!bundle) {
    char program[PATH_MAX];
    const ssize_t length =
        uninterrupted([&] { return readlink("/proc/self/exe", program, sizeof program); });
    // Where the system does not say, this call's answer is a bundle without contents.
    if (length < 0) return std::make_shared<NSBundle>("");
    const std::string path(program, static_cast<std::size_t>(length));
    bundle = bundleWithPath(parentOfPath(path));
  }
  return bundle;
}

void NSBundle::setMainBundle(std::shared_ptr<NSBundle> bundle) {
  chosenMainBundle() = std::move(bundle);
}

std::shared_ptr<NSBundle> NSBundle::bundleWithPath(const std::string& path) {
  const std::string whole = NSURL::fileURLWithPath(path).path();
  std::shared_ptr<NSBundle>& bundle = bundlesByPath()[whole];
  if (!bundle) bundle = std::make_shared<NSBundle>(whole);
  return bundle;
}

std::shared_ptr<NSBundle> NSBundle::bundleWithIdentifier(const std::string& identifier) {
  const auto isWanted = [&](const std::shared_ptr<NSBundle>& bundle) {
    return bundle->bundleIdentifier() == identifier;
  };
  const auto main = mainBundle();
  if (isWanted(main)) return main;
  for (const auto& [path, bundle] : bundlesByPath())
    if (isWanted(bundle)) return bundle;

  const std::string around = applicationAround(main->bundlePath());
  const auto application = around.empty() ? main : bundleWithPath(around);
  if (isWanted(application)) return application;
  const std::string plugIns = application->builtInPlugInsPath();
  for (const std::string& name : namesIn(plugIns)) {
    const auto inside = bundleWithPath(plugIns + "/" + name);
    if (isWanted(inside)) return inside;
  }
  return nullptr;
}

std::optional<std::string> NSBundle::bundleIdentifier() const {
  return optionalTextAt(&infoDictionary(), "CFBundleIdentifier");
}

const PropertyList& NSBundle::infoDictionary() const {
  const auto loaded = loadInfoDictionary();
  if (!loaded) NSLog(loaded.error().description);
  return loaded ? *state_->info : emptyDictionary();
}

Result<void> NSBundle::loadInfoDictionary() const {
  if (state_->info) return {};
  auto read = dictionaryInFile(path_ + "/Info.plist");
  if (!read) return read.error();
  state_->info = std::move(read).value();
  return {};
}

std::string NSBundle::builtInPlugInsPath() const { return path_ + "/PlugIns"; }

std::optional<std::string> NSBundle::pathForResource(const std::string& name,
                                                     const std::string& extension) const {
  const std::string resources = path_ + "/Resources/";
  const std::string file = extension.empty() ? name : name + "." + extension;
  std::vector<std::string> folders = state_->languageFolders(resources);
  folders.push_back(resources);
  for (const std::string& folder : folders)
    if (NSFileManager::defaultManager().fileExistsAtPath(folder + file)) return folder + file;
  const std::string application = applicationAround(path_);
  if (application.empty()) return std::nullopt;
  return bundleWithPath(application)->pathForResource(name, extension);
}

std::string NSBundle::localizedStringForKey(const std::string& key, const std::string& value,
                                            const std::string& table) const {
  const std::string file = (table.empty() ? "Localizable" : table) + ".strings";
  for (const std::string& folder : state_->languageFolders(path_ + "/Resources/")) {
    if (auto text = optionalTextAt(&state_->table(folder + file), key)) return std::move(*text);
  }
  const std::string application = applicationAround(path_);
  if (!application.empty())
    return bundleWithPath(application)->localizedStringForKey(key, value, table);
  return value.empty() ? key : value;
}

}  // namespace tasklane
