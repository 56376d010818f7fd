// The pickers by hand speed: opening one with few and with many projects, and a keystroke in its
// search, rows on screen included, beside one scan for the bytes over the folded titles.

#include <string.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

#include "bench/Report.h"
#include "foundation/extension/NSBundle.h"
#include "foundation/text/NSString+Folding.h"
#include "option-picker/SearchableOptionPickerController.h"
#include "share-sheet/ConfigurationItemHelper.h"
#include "shared-store/TLXContainers.h"
#include "shared-store/TLXPlistPresenter.h"
#include "uikit/navigation/UINavigationController.h"
#include "uikit/views/UIWindow.h"

using namespace tasklane;

namespace {

std::vector<std::string> titles(std::size_t count) {
  static const char* words[] = {"buy",    "call",   "write",  "plan",   "review",
                                "garden", "café",   "crème",  "résumé", "straße",
                                "Zürich", "budget", "weekly", "sprint", "ticket",
                                "東京",   "Москва", "phone",  "Łódź",   "prepare"};
  std::mt19937 random(11);
  std::vector<std::string> result;
  for (std::size_t i = 0; i < count; ++i) {
    std::string title;
    for (int words_left = 2 + static_cast<int>(random() % 7); words_left > 0; --words_left) {
      title += (title.empty() ? "" : " ") + std::string(words[random() % std::size(words)]);
    }
    result.push_back(title);
  }
  return result;
}

struct Screen {
  explicit Screen(const std::vector<std::string>& projects) {
    root->setTitle("Tasklane");
    window->setRootViewController(navigation);
    window->makeKeyAndVisible();
    picker->setItems(OptionPickerItem::optionPickerItemsWithTitles(projects));
  }
  void open() {
    navigation->pushViewController(picker, false);
    window->layoutIfNeeded();
    picker->tableView()->layoutIfNeeded();
  }
  void close() { navigation->popViewControllerAnimated(false); }
  void type(const std::string& text) {
    picker->searchController()->searchBar()->userDidChangeText(text);
    picker->tableView()->layoutIfNeeded();
  }

  std::shared_ptr<UIViewController> root = std::make_shared<UIViewController>();
  std::shared_ptr<UINavigationController> navigation = UINavigationController::make(root);
  std::shared_ptr<UIWindow> window = std::make_shared<UIWindow>(CGRect(0, 0, 400, 480));
  std::shared_ptr<SearchableOptionPickerController> picker =
      std::make_shared<SearchableOptionPickerController>(UITableViewStyle::Plain);
};

double milliseconds(const std::function<void()>& run) {
  const auto start = std::chrono::steady_clock::now();
  run();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
      .count();
}

std::size_t occurrences(const std::string& text, const std::string& of) {
  std::size_t count = 0;
  const char* at = text.data();
  const char* end = at + text.size();
  while (const void* found = memmem(at, static_cast<std::size_t>(end - at), of.data(), of.size())) {
    at = static_cast<const char*>(found) + of.size();
    ++count;
  }
  return count;
}

void keystrokes(std::size_t count) {
  const auto list = titles(count);
  std::string folded;
  for (const auto& title : list) folded += stringByFolding(title) + '\n';
  Screen screen(list);
  screen.open();
  screen.picker->searchController()->setActive(true);
  for (const std::string text : {"cafe", "e"}) {
    std::vector<double> keystroke, scan;
    for (int round = 0; round < 25; ++round) {
      screen.type("");
      keystroke.push_back(milliseconds([&] { screen.type(text); }));
      scan.push_back(milliseconds([&] { bench::keep(occurrences(folded, text)); }));
    }
    bench::report("'" + text + "' typed over " + std::to_string(count) + " titles, rows drawn",
                  bench::median(keystroke), "ms", bench::median(scan),
                  "one scan of the folded text");
  }
}

}  // namespace

namespace {

/// What a tap on a row costs before anything is drawn: the catalogue in its order, and an option of
/// each entry.
class Tap {
 public:
  explicit Tap(std::size_t projects) {
    std::vector<PropertyListDictionary::Entry> entries;
    PropertyList::Array order;
    for (const auto& title : titles(projects)) {
      const std::string identifier = "project" + std::to_string(order.size() * 7919 % 1000003);
      entries.emplace_back(
          identifier,
          PropertyListDictionary{{"id", identifier}, {"title", title}, {"path", "Folder"}});
      order.emplace_back(identifier);
    }
    contents_ = std::make_shared<const PropertyList>(
        PropertyListDictionary{{"projects", PropertyListDictionary(std::move(entries))},
                               {"orderedProjectIDs", std::move(order)}});
    helper_->setPickProjects(true);
  }
  void publish() const { TLXContainers::presenter()->writePlist(contents_); }
  void run() const { bench::keep(helper_->pickerController()); }

 private:
  PropertyListObject contents_;
  std::shared_ptr<ConfigurationItemHelper> helper_ = std::make_shared<ConfigurationItemHelper>();
};

void taps() {
  for (const std::size_t count : {std::size_t{20}, std::size_t{10000}}) {
    const Tap tap(count);
    tap.publish();
    std::vector<double> first{milliseconds([&] { tap.run(); })}, later;
    for (int round = 0; round < 9; ++round) later.push_back(milliseconds([&] { tap.run(); }));
    bench::report("first tap, " + std::to_string(count) + " projects", first.front(), "ms");
    bench::report("later tap, " + std::to_string(count) + " projects", bench::median(later), "ms");
  }
}

/// A container and a bundle for the store and the palette of this process alone.
void prepareProcess() {
  std::string folder = "/tmp/picker-bench-XXXXXX";
  const std::string bundle = std::string(mkdtemp(folder.data())) + "/Tasklane.app";
  std::filesystem::create_directories(bundle);
  std::filesystem::create_directory_symlink(TASKLANE_RESOURCES, bundle + "/Resources");
  std::ofstream(bundle + "/Info.plist") << "{CFBundleIdentifier = \"com.kestrelworks.Tasklane\";}";
  setenv("TASKLANE_GROUP_CONTAINERS", folder.c_str(), 1);
  setenv("TASKLANE_NOTIFY_FOLDER", (folder + "/notify").c_str(), 1);
  NSBundle::setMainBundle(NSBundle::bundleWithPath(bundle));
  std::atexit([] { std::filesystem::remove_all(getenv("TASKLANE_GROUP_CONTAINERS")); });
}

}  // namespace

int main() {
  prepareProcess();
  taps();
  Screen many(titles(10000));
  Screen few(titles(20));
  bench::compare({{"opening a picker of 10,000",
                   [&] {
                     many.open();
                     many.close();
                   }},
                  {"opening a picker of 20",
                   [&] {
                     few.open();
                     few.close();
                   }}},
                 41);
  keystrokes(10000);
  keystrokes(100000);
  return 0;
}
