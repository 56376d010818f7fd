#include "appearance/TasklaneAppearance.h"

#include <map>

#include "foundation/events/NSNotificationCenter.h"
#include "kestrel/base/KBFailure.h"
#include "uikit/base/UIScreen.h"

namespace tasklane {

namespace {

using Palette = std::shared_ptr<TasklaneAppearance>;

/// What is known of an unknown palette.
class AbsentAppearance : public TasklaneAppearance {
 public:
  const KAAppearanceColors& themedKestrelColors() const override {
    static const KAAppearanceColors none;
    return none;
  }
  bool shouldAddFlagDogEar() const override { return false; }
  std::shared_ptr<UIImage> statusCircleFlagImage() const override { return nullptr; }
  std::shared_ptr<UIImage> statusCircleInheritedFlagImage() const override { return nullptr; }
  double TasklaneAppearance_leftSeparatorInset() const override { return 0; }
  UIEdgeInsets ActionTableSeparatorInset() const override { return {}; }
  UIEdgeInsets ActionTableFooterSeparatorInset() const override { return {}; }
};

struct Palettes {
  const std::map<unsigned, Palette> table{
      {0, KAAppearance::appearanceForClass<TasklaneDefaultAppearance>()},
      {1, KAAppearance::appearanceForClass<TasklaneDarkAppearance>()},
      {2, KAAppearance::appearanceForClass<TasklaneTodayAppearance>()}};
  unsigned number = 0;
  Palette current = table.at(0);
};

Palettes& palettes() {
  static Palettes state;
  return state;
}

KFEnumNameTable makeNameTable(std::initializer_list<const char*> names) {
  KFEnumNameTable table(0);
  std::int64_t value = 0;
  for (const char* name : names) table.setName(name, value++);
  return table;
}

CGImageRef bitmapOf(const std::shared_ptr<UIImage>& image) {
  return image ? image->pixels() : nullptr;
}

}  // namespace

const std::shared_ptr<TasklaneAppearance>& TasklaneAppearance::appearance() {
  return palettes().current;
}

const TasklaneAppearance& TasklaneAppearance::currentAppearance() {
  const auto& current = palettes().current;
  return current ? *current : *appearanceForClass<AbsentAppearance>();
}

void TasklaneAppearance::setCurrentPalette(unsigned palette) {
  auto& state = palettes();
  if (palette == state.number) return;
  const auto entry = state.table.find(palette);
  const Palette coming = entry == state.table.end() ? nullptr : entry->second;
  auto& center = NSNotificationCenter::defaultCenter();
  center.postNotificationName(KAAppearanceValuesWillChangeNotification, coming);
  state.number = palette;
  state.current = coming;
  center.postNotificationName(KAAppearanceValuesDidChangeNotification, coming);
}

unsigned TasklaneAppearance::currentPalette() { return palettes().number; }

UIFont TasklaneAppearance::cellMetadataFont() {
  return UIFont::preferredFontForTextStyle(UIFontTextStyleFootnote);
}

UIFont TasklaneAppearance::settingsButtonFont() {
  return UIFont::preferredFontForTextStyle(UIFontTextStyleBody);
}

const UIFont& TasklaneAppearance::forecastTimelineEventCellFont() {
  static const UIFont font = UIFont::systemFontOfSize(13);
  return font;
}

const KFEnumNameTable& TasklaneAppearance::ScrollViewIndicatorStyleEnumNameTable() {
  static const auto table = makeNameTable({"default", "black", "white"});
  return table;
}

const KFEnumNameTable& TasklaneAppearance::BarStyleEnumNameTable() {
  static const auto table = makeNameTable({"default", "black", "black-translucent"});
  return table;
}

const KFEnumNameTable& TasklaneAppearance::StatusBarStyleEnumNameTable() {
  static const auto table = makeNameTable({"default", "light-content"});
  return table;
}

const KFEnumNameTable& TasklaneAppearance::KeyboardAppearanceEnumNameTable() {
  static const auto table = makeNameTable({"default", "dark", "light"});
  return table;
}

const KAAppearanceColors& TasklaneAppearance::themedKestrelColors() const {
  KBRequestConcreteImplementation(className(), "themedKestrelColors",
                                  "iOS/Helpers/TasklaneAppearance", 75);
}

std::shared_ptr<UIImage> TasklaneAppearance::statusCircleFlagImage() const {
  return UIImage::imageNamed("StatusCircleFlag.png");
}

std::shared_ptr<UIImage> TasklaneAppearance::statusCircleInheritedFlagImage() const {
  return UIImage::imageNamed("StatusCircleFlag-inherited.png");
}

CGImageRef TasklaneAppearance::flagDogEarCGImage() const {
  return bitmapOf(statusCircleFlagImage());
}

CGImageRef TasklaneAppearance::inheritedFlagDogEarCGImage() const {
  return bitmapOf(statusCircleInheritedFlagImage());
}

CGSize TasklaneAppearance::flagDogEarSize() const {
  const auto image = statusCircleFlagImage();
  return image ? image->size() : CGSize{};
}

double TasklaneAppearance::TasklaneAppearance_leftSeparatorInset() const {
  if (UIDevice::currentDevice().userInterfaceIdiom() != UIUserInterfaceIdiom::Phone) return 15;
  return UIScreen::mainScreen().bounds().size.width > 414 ? 20 : 15;
}

UIEdgeInsets TasklaneAppearance::ActionTableSeparatorInset() const {
  static const UIEdgeInsets ofFirst = edgeInsetsForKeyPath("ActionTableSeparatorInset");
  return {ofFirst.top, TasklaneAppearance_leftSeparatorInset(), ofFirst.bottom, ofFirst.right};
}

UIEdgeInsets TasklaneAppearance::ActionTableFooterSeparatorInset() const {
  static const UIEdgeInsets ofFirst = edgeInsetsForKeyPath("ActionTableFooterSeparatorInset");
  return {ofFirst.top, TasklaneAppearance_leftSeparatorInset(), ofFirst.bottom, ofFirst.right};
}

// Default.

const std::shared_ptr<TasklaneDefaultAppearance>& TasklaneDefaultAppearance::appearance() {
  return appearanceForClass<TasklaneDefaultAppearance>();
}

const KAAppearanceColors& TasklaneDefaultAppearance::themedKestrelColors() const {
  return *KAAppearanceDefaultColors::appearance();
}

std::vector<std::string> TasklaneDefaultAppearance::propertyListNames() const {
  return {"TasklaneDefaultAppearance"};
}

// Dark.

const std::shared_ptr<TasklaneDarkAppearance>& TasklaneDarkAppearance::appearance() {
  return appearanceForClass<TasklaneDarkAppearance>();
}

const KAAppearanceColors& TasklaneDarkAppearance::themedKestrelColors() const {
  return *KAAppearanceDarkColors::appearance();
}

std::shared_ptr<UIImage> TasklaneDarkAppearance::statusCircleFlagImage() const {
  return UIImage::imageNamed("StatusCircleFlag-dark.png");
}

std::shared_ptr<UIImage> TasklaneDarkAppearance::statusCircleInheritedFlagImage() const {
  return UIImage::imageNamed("StatusCircleFlag-inherited-dark.png");
}

std::vector<std::string> TasklaneDarkAppearance::propertyListNames() const {
  return {"TasklaneDarkAppearance"};
}

// Today.

const std::shared_ptr<TasklaneTodayAppearance>& TasklaneTodayAppearance::appearance() {
  return appearanceForClass<TasklaneTodayAppearance>();
}

const KAAppearanceColors& TasklaneTodayAppearance::themedKestrelColors() const {
  return *KAAppearanceDarkColors::appearance();
}

std::vector<std::string> TasklaneTodayAppearance::propertyListNames() const {
  auto names = TasklaneDarkAppearance::propertyListNames();
  names.push_back("TasklaneTodayAppearance");
  return names;
}

}  // namespace tasklane
