// The pickers by hand speed: opening one with few and with many projects, and a keystroke in its
// search, rows on screen included, beside one scan for the bytes over the folded titles.

#include <string.h>

#include <random>

#include "bench/Report.h"
#include "foundation/NSString+Folding.h"
#include "option-picker/SearchableOptionPickerController.h"
#include "uikit/UINavigationController.h"
#include "uikit/UIWindow.h"

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

int main() {
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
