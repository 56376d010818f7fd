#include "option-picker/OptionPickerController.h"

#include <algorithm>

#include "appearance/TasklaneAppearance.h"
#include "foundation/extension/NSBundle.h"
#include "option-picker/OptionPickerTableViewCell.h"
#include "uikit/base/UIApplication.h"
#include "uikit/base/UIScreen.h"
#include "uikit/views/UINavigationItem.h"

namespace tasklane {

namespace {

constexpr CGFloat kStandardRowHeight = 44;
constexpr CGFloat kRowMargins = 26;
constexpr CGFloat kCheckmarkRoom = 36;
constexpr CGFloat kNarrowest = 200;
constexpr CGFloat kIconToText = 4;

OptionPickerGroupList listOf(std::vector<std::shared_ptr<OptionPickerGroup>> groups) {
  return std::make_shared<const std::vector<std::shared_ptr<OptionPickerGroup>>>(std::move(groups));
}

/// Texts are looked up in the bundle that a token names; "MAIN-BUNDLE" is the program's own.
std::string localizedString(const std::string& key, const std::string& bundleToken) {
  const auto bundle = bundleToken == "MAIN-BUNDLE" ? NSBundle::mainBundle()
                                                   : NSBundle::bundleWithIdentifier(bundleToken);
  return bundle ? bundle->localizedStringForKey(key, "") : key;
}

}  // namespace

OptionPickerController::OptionPickerController(UITableViewStyle style)
    : TasklaneAppearanceTableViewController(style),
      // The first group gets no back reference: its picker reloads the table itself when items are
      // set.
      optionGroups_(listOf({std::make_shared<OptionPickerGroup>()})),
      resignActiveObservation_(NSNotificationCenter::defaultCenter().addObserver(
          UIApplicationWillResignActiveNotification, nullptr,
          [this](const NSNotification&) { _applicationWillResignActive(); })) {}

void OptionPickerController::setOptionGroups(const OptionPickerGroupList& groups) {
  if (groups == optionGroups_) return;
  if (optionGroups_) {
    for (const auto& group : *optionGroups_) group->setOptionPicker(nullptr);
  }
  optionGroups_ = groups ? listOf(*groups) : listOf({});
  for (const auto& group : *optionGroups_) group->setOptionPicker(sharedFrom(this));
  tableView()->reloadData();
}

std::int64_t OptionPickerController::numberOfOptionGroups() const {
  return static_cast<std::int64_t>(optionGroups_->size());
}

std::shared_ptr<OptionPickerGroup> OptionPickerController::onlyGroup() const {
  return optionGroups_->size() == 1 ? optionGroups_->front() : nullptr;
}

OptionPickerItemList OptionPickerController::items() const {
  const auto group = onlyGroup();
  return group ? group->items() : nullptr;
}

void OptionPickerController::setItems(const OptionPickerItemList& items) {
  const auto group = onlyGroup();
  if (!group) return;
  group->setItems(items);
  tableView()->reloadData();
}

std::optional<std::string> OptionPickerController::itemsSectionTitle() const {
  const auto group = onlyGroup();
  return group ? group->title() : std::nullopt;
}

void OptionPickerController::setItemsSectionTitle(const std::optional<std::string>& title) {
  if (const auto group = onlyGroup()) group->setTitle(title);
}

std::int64_t OptionPickerController::selectedItemIndex() const {
  const auto group = onlyGroup();
  return group ? group->selectedItemIndex() : NSNotFound;
}

void OptionPickerController::setSelectedItemIndex(std::int64_t index) {
  if (const auto group = onlyGroup()) group->setSelectedItemIndex(index);
}

std::shared_ptr<OptionPickerItem> OptionPickerController::selectedItem() const {
  const auto group = onlyGroup();
  return group ? group->selectedItem() : nullptr;
}

void OptionPickerController::setShowsSelectedItem(bool shows) {
  if (shows == showsSelectedItem_) return;
  showsSelectedItem_ = shows;
  tableView()->reloadData();
}

void OptionPickerController::setOptionColor(const std::optional<UIColor>& color) {
  optionColor_ = color;
  hasNonDefaultOptionColor_ = true;
}

void OptionPickerController::viewDidLoad() {
  TasklaneAppearanceTableViewController::viewDidLoad();
  tableView()->registerClassForCellReuseIdentifier<OptionPickerTableViewCell>(
      OptionPickerTableViewCell::reuseIdentifier());
}

void OptionPickerController::viewWillAppear(bool animated) {
  TasklaneAppearanceTableViewController::viewWillAppear(animated);
  const auto& device = UIDevice::currentDevice();
  const CGFloat height = view()->frame().size.height;
  const auto rows = static_cast<CGFloat>(
      tableView()->numberOfSections() > 0 ? tableView()->numberOfRowsInSection(0) : 0);
  const bool isPad = device.respondsToUserInterfaceIdiom() &&
                     device.userInterfaceIdiom() == UIUserInterfaceIdiom::Pad;
  tableView()->setScrollEnabled(!isPad || height < rows * kStandardRowHeight - 1);

  if (!device.respondsToUserInterfaceIdiom() ||
      device.userInterfaceIdiom() == UIUserInterfaceIdiom::Phone) {
    if (const auto& titleView = navigationItem()->titleView()) {
      titleView->setAccessibilityTraits(titleView->accessibilityTraits() |
                                        UIAccessibilityTraitSummaryElement);
    }
  }
  tableView()->reloadData();
}

void OptionPickerController::_applicationWillResignActive() { dismissViewControllerAnimated(true); }

std::size_t OptionPickerController::numberOfSectionsInTableView(UITableView&) {
  return optionGroups_->size();
}

std::size_t OptionPickerController::numberOfRowsInSection(UITableView&, std::size_t section) {
  const auto& items = optionGroups_->at(section)->items();
  return items ? items->size() : 0;
}

std::optional<std::string> OptionPickerController::titleForHeaderInSection(UITableView& tableView,
                                                                           std::size_t section) {
  if (section >= optionGroups_->size() || tableView.style() != UITableViewStyle::Grouped) return {};
  return optionGroups_->at(section)->title();
}

CGFloat OptionPickerController::estimatedHeightForRowAtIndexPath(UITableView&, NSIndexPath) {
  return UITableViewAutomaticDimension;
}

std::shared_ptr<UITableViewCell> OptionPickerController::cellForRowAtIndexPath(
    UITableView& tableView, NSIndexPath indexPath) {
  const auto& group = optionGroups_->at(indexPath.section);
  const auto item = group->itemAt(indexPath.row);
  const auto cell = tableView.dequeueReusableCellWithIdentifier(
      OptionPickerTableViewCell::reuseIdentifier(), indexPath);

  cell->textLabel()->setText(item->title());
  if (hasNonDefaultOptionColor_) cell->textLabel()->setTextColor(optionColor_);
  cell->setAccessibilityLabel(item->title());
  cell->imageView()->setImage(item->image());
  cell->imageView()->setTintColor(optionColor_ ? *optionColor_ : view()->tintColor());
  cell->detailTextLabel()->setText(item->detailText());
  cell->setAccessibilityHint(item->detailText());
  cell->setAccessibilityValue(std::nullopt);
  cell->setAccessoryType(UITableViewCellAccessoryType::None);

  if (item->isEnabled()) {
    cell->setSelectionStyle(UITableViewCellSelectionStyle::Default);
    // Known to leave a reused cell's "not enabled" standing; screen readers' users rely on rows as
    // they are.
    cell->setAccessibilityTraits(cell->accessibilityTraits() & UIAccessibilityTraitNotEnabled);
  } else {
    const auto appearance = TasklaneAppearance::appearance();
    const auto unavailable = appearance ? appearance->UnavailableTitleTextColor() : std::nullopt;
    cell->detailTextLabel()->setTextColor(unavailable);
    cell->textLabel()->setTextColor(unavailable);
    cell->imageView()->setTintColor(unavailable);
    cell->setSelectionStyle(UITableViewCellSelectionStyle::None);
    cell->setAccessibilityTraits(cell->accessibilityTraits() | UIAccessibilityTraitNotEnabled);
  }

  if (showsSelectedItem_ &&
      static_cast<std::int64_t>(indexPath.row) == group->selectedItemIndex()) {
    markSelected(*cell, tableView);
  }
  return cell;
}

void OptionPickerController::markSelected(UITableViewCell& cell, UITableView& tableView) const {
  cell.setAccessoryType(UITableViewCellAccessoryType::Checkmark);
  cell.setTintColor(tableView.tintColor());
  cell.textLabel()->setTextColor(cell.textLabel()->tintColor());
  cell.setAccessibilityValue(localizedString("Selected", "MAIN-BUNDLE"));
}

void OptionPickerController::didSelectRowAtIndexPath(UITableView& tableView,
                                                     NSIndexPath indexPath) {
  const auto keepAlive = shared_from_this();
  tableView.deselectRowAtIndexPath(indexPath, true);
  const auto group = optionGroups_->at(indexPath.section);
  // The mark moves also to a choice that may not be taken; it only tells nobody.
  group->setSelectedItemIndex(static_cast<std::int64_t>(indexPath.row));
  const auto chosen = group->selectedItem();
  if (chosen && !chosen->isEnabled()) return;

  if (showsSelectedItem_) tableView.reloadData();
  targetAction_.perform(*this);
  group->performAction();
  // Read again: whoever was told may have changed the choice.
  if (const auto item = group->selectedItem()) item->performAction();
}

CGSize OptionPickerController::idealSize() { return sizeThatFits({CGFLOAT_MAX, CGFLOAT_MAX}); }

CGSize OptionPickerController::sizeThatFits(CGSize size) {
  CGFloat widest = 0;
  CGFloat height = 0;
  for (std::int64_t index = 0; index < numberOfOptionGroups(); ++index) {
    const auto section = static_cast<std::size_t>(index);
    const auto group = optionGroups_->at(section);
    const std::size_t rows = tableView()->numberOfRowsInSection(section);
    for (std::size_t row = 0; row < rows; ++row) {
      const auto item = group->itemAt(row);
      // Rows are measured by the cells of section 0, whatever the section; one off screen measures
      // nothing.
      const auto cell = tableView()->cellForRowAtIndexPath({0, row});
      if (!cell) continue;
      cell->setNeedsLayout();
      cell->layoutIfNeeded();
      const CGFloat title = item->title() ? cell->textLabel()->sizeThatFits(size).width : 0;
      const CGFloat detail =
          item->detailText() ? cell->detailTextLabel()->sizeThatFits(size).width : 0;
      const CGFloat icon =
          item->image() ? cell->imageView()->sizeThatFits(size).width + kIconToText : 0;
      widest = std::max(widest, icon + std::max(title, detail));
      height +=
          cell->contentView()->systemLayoutSizeFittingSize(UILayoutFittingCompressedSize).height;
    }
    if (group->title()) height += tableView()->rectForHeaderInSection(0).size.height;
  }

  const CGFloat wanted = widest + kRowMargins + (showsSelectedItem_ ? kCheckmarkRoom : 0);
  return {std::max(std::min(wanted, size.width), kNarrowest), std::min(height, size.height)};
}

}  // namespace tasklane
