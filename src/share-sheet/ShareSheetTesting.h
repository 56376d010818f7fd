#pragma once

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "foundation/base/ScratchFolderTesting.h"
#include "foundation/events/NSOperationQueue.h"
#include "foundation/events/NSRunLoop.h"
#include "foundation/extension/NSBundle.h"
#include "foundation/extension/NSItemProvider.h"
#include "foundation/files/NSFileManager.h"
#include "share-sheet/ShareViewController.h"
#include "shared-store/TLXContainers.h"
#include "shared-store/TLXExternalAction.h"
#include "shared-store/TLXPlistPresenter.h"
#include "uikit/headless/Headless.h"

namespace tasklane {

/// An empty container for one test, and the sheet's requests. The store computes its folders once
/// per process, so the container is the same for all tests of a process.
class ShareSheetTesting {
 public:
  ShareSheetTesting() {
    prepareProcess();
    headless::reset();
    for (const char* const name : {"group.com.kestrelworks.Tasklane", "state"})
      std::filesystem::remove_all(folder_ / name);
    TLXPlistPresenter::ensureContainerExists();
    std::filesystem::create_directories(TLXExternalAction::sharedAttachmentPath());
    for (const auto& presenter : {TLXExternalAction::presenter(), TLXContainers::presenter()})
      presenter->refreshPlist();
    waitForLoads();
  }

  /// Publishes projects and contexts by title; an identifier is "p" or "c" and the position.
  static void publish(const std::vector<std::string>& projects,
                      const std::vector<std::string>& contexts) {
    PropertyListDictionary file;
    const auto add = [&file](const std::vector<std::string>& titles, const std::string& prefix,
                             const char* entriesKey, const char* orderKey) {
      PropertyListDictionary entries;
      PropertyList::Array order;
      for (std::size_t i = 0; i < titles.size(); ++i) {
        const std::string identifier = prefix + std::to_string(i);
        entries.set(identifier, PropertyListDictionary{{"id", identifier},
                                                       {"title", titles[i]},
                                                       {"path", "Folder " + identifier}});
        order.push_back(identifier);
      }
      file.set(entriesKey, std::move(entries));
      file.set(orderKey, std::move(order));
    };
    add(projects, "p", "projects", "orderedProjectIDs");
    add(contexts, "c", "contexts", "orderedContextIDs");
    TLXContainers::presenter()->writePlist(
        std::make_shared<const PropertyList>(PropertyList(std::move(file))));
  }

  static std::shared_ptr<NSExtensionItem> item(const std::string& title,
                                               const std::string& text = {}) {
    auto result = std::make_shared<NSExtensionItem>();
    if (!title.empty()) result->attributedTitle = title;
    if (!text.empty()) result->attributedContentText = text;
    return result;
  }

  std::shared_ptr<ShareViewController> begin(
      std::vector<std::shared_ptr<NSExtensionItem>> items = {}) {
    context = std::make_shared<NSExtensionContext>(std::move(items));
    auto sheet = std::make_shared<ShareViewController>();
    sheet->beginRequestWithExtensionContext(context);
    return sheet;
  }

  static bool waitForLoads() {
    return NSRunLoop::mainRunLoop().runUntil(
        [] {
          return NSItemProvider::outstandingLoads() == 0 && NSOperationQueue::mainQueue().empty();
        },
        std::chrono::seconds(20));
  }

  /// The "info" of the newest queued action.
  static PropertyList queuedInfo() {
    const auto actions = TLXExternalAction::currentActions();
    return actions.empty() ? PropertyList() : actions.back()->info().value_or(PropertyList());
  }

  static std::string textIn(const PropertyList& info, const char* key) {
    const auto* value = info.valueForKey(key);
    return value && value->string() ? *value->string() : "(absent)";
  }

  const std::filesystem::path& folder() const { return folder_; }
  std::shared_ptr<NSExtensionContext> context;

 private:
  static const std::filesystem::path& processFolder() {
    static const ScratchFolder scratch;
    return scratch.path();
  }

  void prepareProcess() const {
    const auto bundle = folder_ / "Tasklane.app";
    if (!std::filesystem::create_directories(bundle)) return;
    (void)NSFileManager::defaultManager().writeToFile(
        bundle / "Info.plist", "{CFBundleIdentifier = \"com.kestrelworks.Tasklane\";}");
    std::filesystem::create_directories(bundle / "Resources");
    for (const char* part : {"palettes", "Share.appex/Resources/en.lproj"}) {
      const std::filesystem::path resource = std::filesystem::path(TASKLANE_RESOURCES) / part;
      std::filesystem::create_directory_symlink(resource,
                                                bundle / "Resources" / resource.filename());
    }
    setenv("TASKLANE_GROUP_CONTAINERS", folder_.c_str(), 1);
    setenv("TASKLANE_NOTIFY_FOLDER", (folder_ / "notify").c_str(), 1);
    setenv("XDG_STATE_HOME", (folder_ / "state").c_str(), 1);
    NSBundle::setMainBundle(NSBundle::bundleWithPath(bundle));
  }

  const std::filesystem::path& folder_ = processFolder();
};

}  // namespace tasklane
