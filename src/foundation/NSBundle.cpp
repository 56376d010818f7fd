#include "foundation/NSBundle.h"

#include <filesystem>
#include <map>
#include <utility>
#include <vector>

#include "foundation/NSFileManager.h"
#include "foundation/NSLog.h"
#include "foundation/NSPropertyListSerialization.h"
#include "foundation/NSURL.h"
#include "foundation/PreferredLanguages.h"

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

/// The dictionary in a file. A file that is not there holds none; one that is no dictionary is
/// worth a line on the console.
PropertyList dictionaryInFile(const std::string& path) {
  const NSFileManager& files = NSFileManager::defaultManager();
  if (!files.fileExistsAtPath(path)) return {};
  const auto contents = files.contentsAtPath(path);
  if (!contents) {
    NSLog(contents.error().description);
    return {};
  }
  const auto parsed = NSPropertyListSerialization::propertyListWithData(contents.value());
  if (parsed && parsed.value().plist.dictionary()) return parsed.value().plist;
  NSLog(path + ": " + (parsed ? "not a dictionary" : parsed.error().description));
  return {};
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
  std::map<std::string, PropertyList> tables;         // by path

  const PropertyList& table(const std::string& path) {
    const auto known = tables.find(path);
    return known != tables.end() ? known->second
                                 : tables.emplace(path, dictionaryInFile(path)).first->second;
  }

  /// The folders of the person's languages, best first, each with a slash at its end.
  std::vector<std::string> languageFolders(const std::string& resources) {
    if (!languages) {
      languages.emplace();
      for (const fs::path name : namesIn(resources))
        if (name.extension() == ".lproj") languages->push_back(name.stem());
    }
    std::vector<std::string> folders;
    for (const std::string& language : matchingLanguages(*languages, preferredLanguages()))
      folders.push_back(resources + language + ".lproj/");
    return folders;
  }
};

NSBundle::NSBundle(std::string path) : path_(std::move(path)), state_(std::make_shared<State>()) {}

std::shared_ptr<NSBundle> NSBundle::mainBundle() {
  std::shared_ptr<NSBundle>& bundle = chosenMainBundle();
  if (!bundle) {
    std::error_code fault;
    const fs::path program = fs::read_symlink("/proc/self/exe", fault);
    bundle = bundleWithPath(program.parent_path());
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
  const PropertyList* const identifier = infoDictionary().valueForKey("CFBundleIdentifier");
  if (!identifier || !identifier->string()) return std::nullopt;
  return *identifier->string();
}

const PropertyList& NSBundle::infoDictionary() const {
  if (!state_->info) state_->info = dictionaryInFile(path_ + "/Info.plist");
  return *state_->info;
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
    const PropertyList* const text = state_->table(folder + file).valueForKey(key);
    if (text && text->string()) return *text->string();
  }
  const std::string application = applicationAround(path_);
  if (!application.empty())
    return bundleWithPath(application)->localizedStringForKey(key, value, table);
  return value.empty() ? key : value;
}

}  // namespace tasklane
