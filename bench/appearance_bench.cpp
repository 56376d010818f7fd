// What the appearance costs: asking a colour (done while drawing), switching the palette under a
// large tree, and reading a palette at the start of a program.

#include <string>
#include <unordered_map>

#include "appearance/TasklaneAppearanceClient.h"
#include "bench/Report.h"
#include "foundation/extension/NSBundle.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/property-lists/NSPropertyListSerialization.h"
#include "kestrel/views/KAAppearancePropertyList.h"

namespace tasklane {
namespace {

constexpr int kAsks = 1'000'000;
constexpr int kViews = 10'000;
const std::string kPalette =
    TASKLANE_APPLICATION "/Resources/palettes/TasklaneDefaultAppearance.plist";

/// The default palette as a program without a table of keys would keep it.
std::unordered_map<std::string, UIColor> hashMapOfColors() {
  std::unordered_map<std::string, UIColor> colors;
  const auto& appearance = *TasklaneDefaultAppearance::appearance();
  for (const auto& key : appearance.keys())
    if (const auto color = appearance.colorForKeyPath(key.name))
      colors[std::string(key.name)] = *color;
  return colors;
}

void benchAsking() {
  const auto colors = hashMapOfColors();
  const std::string title = "TitleTextColor", separator = "SeparatorColor",
                    cell = "StandardGroupedTableCellBackgroundColor";
  bench::compare({{"ask the current appearance 1,000,000 colours",
                   [] {
                     double sum = 0;
                     for (int i = 0; i < kAsks; i += 4) {
                       const auto& appearance = TasklaneAppearance::currentAppearance();
                       sum += appearance.TitleTextColor()->red +
                              appearance.SeparatorColor()->green +
                              appearance.StandardGroupedTableCellBackgroundColor()->blue;
                       sum += TasklaneAppearance::currentAppearance().TitleTextColor()->blue;
                       bench::keep(sum);
                     }
                   },
                   {}},
                  {"look 1,000,000 up in a hash map",
                   [&] {
                     double sum = 0;
                     for (int i = 0; i < kAsks; i += 4) {
                       sum += colors.find(title)->second.red +
                              colors.find(separator)->second.green + colors.find(cell)->second.blue;
                       sum += colors.find(title)->second.blue;
                       bench::keep(sum);
                     }
                   },
                   {}}},
                 21);
}

/// Ten views a level, each with its own subviews: what a screen full of rows looks like.
std::shared_ptr<UIView> makeTree(int views) {
  std::vector<std::shared_ptr<UIView>> all{std::make_shared<UIView>()};
  for (std::size_t parent = 0; static_cast<int>(all.size()) < views; ++parent)
    for (int i = 0; i < 10 && static_cast<int>(all.size()) < views; ++i) {
      all.push_back(std::make_shared<UIView>());
      all[parent]->addSubview(all.back());
    }
  return all.front();
}

int countPlainly(const UIView& view) {
  int count = 1;
  for (const auto& subview : view.subviews()) count += countPlainly(*subview);
  return count;
}

void benchSwitching() {
  const auto tree = makeTree(kViews);
  const auto controller = std::make_shared<UIViewController>();
  controller->view()->addSubview(tree);
  const auto token = NSNotificationCenter::defaultCenter().addObserver(
      KAAppearanceValuesDidChangeNotification, nullptr, [&](const NSNotification& notification) {
        tasklaneAppearanceDidChangeWithNotification(tree, notification);
        tasklaneAppearanceDidChangeWithNotification(controller, notification);
      });
  unsigned palette = 0;
  bench::compare(
      {{"switch the palette under 10,000 views",
        [&] { TasklaneAppearance::setCurrentPalette(palette ^= 1); },
        {}},
       {"walk 10,000 views and do nothing", [&] { bench::keep(countPlainly(*tree)); }, {}}},
      41);
}

void benchReading() {
  const auto keys = tasklaneAppearanceKeys();
  bench::compare(
      {{"read and convert a palette",
        [&] {
          const auto list = KAAppearancePropertyList::contentsOfFile(kPalette);
          std::vector<KAAppearanceValue> values(keys.size());
          std::vector<bool> found(keys.size());
          bench::keep(KAAppearancePropertyList::readValues(list.value(), keys, values, found));
        },
        {}},
       {"parse its property list",
        [] {
          const auto bytes = NSFileManager::defaultManager().contentsAtPath(kPalette);
          bench::keep(NSPropertyListSerialization::propertyListWithData(bytes.value()));
        },
        {}}},
      41);
}

}  // namespace
}  // namespace tasklane

int main() {
  using tasklane::NSBundle;
  NSBundle::setMainBundle(NSBundle::bundleWithPath(TASKLANE_APPLICATION));
  tasklane::benchReading();
  tasklane::benchAsking();
  tasklane::benchSwitching();
}
