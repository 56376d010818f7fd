#include "Screen.h"
#include "appearance/TasklaneAppearanceTableViewCell.h"
#include "appearance/TasklaneAppearanceTableViewController.h"
#include "appearance/UITableViewCell+TasklaneAppearance.h"
#include "uikit/navigation/UINavigationController.h"

namespace tasklane::gallery {

namespace {

enum class Accessory { None, Chevron, SystemChevron, Checkmark };

struct RowSpec {
  UITableViewCellStyle style;
  std::string title, detail;
  Accessory accessory = Accessory::None;
  bool hasImage = false;
  bool isAvailable = true;
};

std::vector<RowSpec> stylesSection() {
  using Style = UITableViewCellStyle;
  return {{Style::Default, say("Water the plants", "להשקות את העציצים"), {}},
          {Style::Default, say("Home", "בית"), {}, Accessory::Checkmark},
          {Style::Default, say("Flagged", "מסומן"), {}, Accessory::Chevron, true},
          {Style::Value1, say("Project", "פרויקט"), say("Garden", "גינה"), Accessory::Chevron},
          {Style::Value2, say("Context", "הקשר"), say("On the way home", "בדרך הביתה")},
          {Style::Subtitle, say("Call the dentist", "להתקשר לרופא השיניים"),
           say("Health : Appointments", "בריאות : תורים"), Accessory::Chevron},
          {Style::Subtitle, say("Return the library books", "להחזיר את הספרים לספרייה"),
           say("Errands", "סידורים"), Accessory::Checkmark, true}};
}

std::vector<RowSpec> edgesSection() {
  using Style = UITableViewCellStyle;
  const auto longTitle =
      say("Ask everyone who came to the meeting what they would have wanted to hear there",
          "לשאול את כל מי שהגיע לפגישה מה הם היו רוצים לשמוע בה ומה היה חסר להם");
  const auto longDetail = say("A project with a rather long name : and a folder around it",
                              "פרויקט עם שם ארוך למדי : ותיקייה מסביב לו");
  return {{Style::Default, longTitle, {}, Accessory::Chevron},
          {Style::Value1, longTitle, say("Garden", "גינה"), Accessory::Chevron},
          {Style::Subtitle, longTitle, longDetail, Accessory::Checkmark},
          {Style::Default,
           say("The platform's chevron", "החץ של המערכת"),
           {},
           Accessory::SystemChevron},
          {Style::Subtitle, say("Not available", "לא זמין"), say("Finished", "הסתיים"),
           Accessory::None, false, false}};
}

/// Every kind of row in two sections, in themed cells or in plain ones styled from outside.
class RowsController : public TasklaneAppearanceTableViewController {
 public:
  RowsController(UITableViewStyle style, bool themedCells)
      : TasklaneAppearanceTableViewController(style), themedCells_(themedCells) {
    setTitle(say("Rows", "שורות"));
  }

  std::size_t numberOfSectionsInTableView(UITableView&) override { return sections_.size(); }
  std::size_t numberOfRowsInSection(UITableView&, std::size_t section) override {
    return sections_[section].size();
  }
  std::optional<std::string> titleForHeaderInSection(UITableView& tableView,
                                                     std::size_t section) override {
    if (tableView.style() == UITableViewStyle::Plain) return {};
    return section == 0 ? say("Styles", "סגנונות") : say("Edges", "מקרי קצה");
  }
  std::shared_ptr<UITableViewCell> cellForRowAtIndexPath(UITableView&,
                                                         NSIndexPath indexPath) override {
    const auto& row = sections_[indexPath.section][indexPath.row];
    auto cell = themedCells_ ? makeThemed(row) : makePlain(row);
    cell->textLabel()->setText(row.title);
    if (cell->detailTextLabel()) cell->detailTextLabel()->setText(row.detail);
    if (row.hasImage)
      cell->imageView()->setImage(TasklaneAppearance::currentAppearance().statusCircleFlagImage());
    if (!row.isAvailable)
      cell->textLabel()->setTextColor(
          TasklaneAppearance::currentAppearance().UnavailableTitleTextColor());
    if (row.accessory == Accessory::Checkmark)
      cell->setAccessoryType(UITableViewCellAccessoryType::Checkmark);
    return cell;
  }

 private:
  static std::shared_ptr<UITableViewCell> makeThemed(const RowSpec& row) {
    auto cell = std::make_shared<TasklaneAppearanceTableViewCell>(row.style, "row");
    // The platform's chevron goes past the themed cell's own setter, which would note its use.
    if (row.accessory == Accessory::SystemChevron)
      cell->UITableViewCell::setAccessoryType(UITableViewCellAccessoryType::DisclosureIndicator);
    cell->setHasTintableDisclosureIndicator(row.accessory == Accessory::Chevron);
    return cell;
  }
  static std::shared_ptr<UITableViewCell> makePlain(const RowSpec& row) {
    auto cell = std::make_shared<UITableViewCell>(row.style, "row");
    applyStandardGroupedAppearanceProperties(*cell);
    if (row.accessory == Accessory::Chevron || row.accessory == Accessory::SystemChevron)
      cell->setAccessoryType(UITableViewCellAccessoryType::DisclosureIndicator);
    return cell;
  }

  bool themedCells_;
  std::vector<std::vector<RowSpec>> sections_{stylesSection(), edgesSection()};
};

std::shared_ptr<UIViewController> inNavigation(UITableViewStyle style, bool themedCells) {
  auto first = std::make_shared<UIViewController>();
  first->setTitle(say("Tasklane", "Tasklane"));
  const auto navigation = UINavigationController::make(first);
  navigation->pushViewController(std::make_shared<RowsController>(style, themedCells), false);
  return navigation;
}

void selectRow(UIViewController& controller) {
  auto& navigation = dynamic_cast<UINavigationController&>(controller);
  auto& rows = dynamic_cast<RowsController&>(*navigation.topViewController());
  rows.tableView()->selectRowAtIndexPath(NSIndexPath{0, 5}, false, UITableViewScrollPosition::None);
}

}  // namespace

std::vector<Screen> tableScreens() {
  constexpr CGSize size{360, 800};
  return {
      {"table-plain", size, [] { return inNavigation(UITableViewStyle::Plain, true); }, selectRow},
      {"table-grouped", size, [] { return inNavigation(UITableViewStyle::Grouped, true); },
       selectRow},
      {"table-standard-cells", size, [] { return inNavigation(UITableViewStyle::Grouped, false); },
       selectRow}};
}

}  // namespace tasklane::gallery
