#include "Screen.h"
#include "appearance/TasklaneAppearance.h"
#include "option-picker/OptionPickerGroup.h"
#include "option-picker/SearchableOptionPickerController.h"
#include "share-sheet/ShareViewController.h"
#include "shared-store/TLXContainers.h"
#include "shared-store/TLXPlistPresenter.h"
#include "uikit/navigation/UINavigationController.h"

namespace tasklane::gallery {

namespace {

std::vector<std::string> projects() {
  return {say("Garden", "גינה"), say("Kitchen renovation", "שיפוץ המטבח"),
          say("Choir's summer tour", "מסע הקיץ של המקהלה"), say("Tax return", "דוח שנתי למס"),
          say("Walks", "טיולים")};
}

std::vector<std::string> folders() {
  return {say("Home", "בית"), say("Home", "בית"), say("Music : Choir", "מוזיקה : מקהלה"), "",
          say("Outdoors", "בחוץ")};
}

/// Publishes the projects and contexts that the sheet offers.
void publishCatalogue() {
  PropertyListDictionary contents;
  for (const char* kind : {"projects", "contexts"}) {
    PropertyListDictionary entries;
    PropertyList::Array order;
    const auto titles = projects(), paths = folders();
    for (std::size_t i = 0; i < titles.size(); ++i) {
      const auto identifier = std::string(kind) + std::to_string(i);
      entries.set(identifier, PropertyListDictionary{
                                  {"id", identifier}, {"title", titles[i]}, {"path", paths[i]}});
      order.emplace_back(identifier);
    }
    contents.set(kind, std::move(entries));
    contents.set(kind == std::string("projects") ? "orderedProjectIDs" : "orderedContextIDs",
                 std::move(order));
  }
  TLXContainers::presenter()->writePlist(std::make_shared<const PropertyList>(std::move(contents)));
}

OptionPickerItemList makeItems(bool hasImages) {
  std::vector<std::shared_ptr<OptionPickerItem>> items;
  const auto titles = projects(), details = folders();
  for (std::size_t i = 0; i < titles.size(); ++i) {
    auto item = std::make_shared<OptionPickerItem>(titles[i]);
    if (!details[i].empty()) item->setDetailText(details[i]);
    if (hasImages && i % 2 == 0)
      item->setImage(TasklaneAppearance::currentAppearance().statusCircleFlagImage());
    item->setEnabled(i != 3);
    items.push_back(std::move(item));
  }
  return std::make_shared<OptionPickerItemList::element_type>(std::move(items));
}

std::shared_ptr<UIViewController> inNavigation(const std::shared_ptr<UIViewController>& top) {
  auto first = std::make_shared<UIViewController>();
  first->setTitle("Tasklane");
  const auto navigation = UINavigationController::make(first);
  navigation->pushViewController(top, false);
  return navigation;
}

std::shared_ptr<UIViewController> makePicker() {
  auto picker = std::make_shared<OptionPickerController>(UITableViewStyle::Grouped);
  std::vector<std::shared_ptr<OptionPickerGroup>> groups;
  for (const auto& title : {say("Recent", "אחרונים"), say("All", "הכול")}) {
    groups.push_back(std::make_shared<OptionPickerGroup>());
    groups.back()->setTitle(title);
    groups.back()->setOptionPicker(picker);
    groups.back()->setItems(makeItems(groups.size() == 1));
  }
  groups[0]->setSelectedItemIndex(1);
  picker->setOptionColor(TasklaneAppearance::currentAppearance().TitleTextColor());
  picker->setOptionGroups(
      std::make_shared<const std::vector<std::shared_ptr<OptionPickerGroup>>>(std::move(groups)));
  picker->setTitle(say("Project", "פרויקט"));
  return inNavigation(picker);
}

std::shared_ptr<UIViewController> makeSearchablePicker() {
  auto picker = std::make_shared<SearchableOptionPickerController>(UITableViewStyle::Plain);
  picker->setTitle(say("Project", "פרויקט"));
  picker->setItems(makeItems(false));
  picker->setSelectedItemIndex(0);
  return inNavigation(picker);
}

void search(UIViewController& controller) {
  auto& navigation = dynamic_cast<UINavigationController&>(controller);
  auto& picker = dynamic_cast<SearchableOptionPickerController&>(*navigation.topViewController());
  picker.searchController()->setActive(true);
  picker.searchController()->searchBar()->userDidChangeText(say("r", "מ"));
}

std::shared_ptr<UIViewController> makeSheet(bool isFilled) {
  auto item = std::make_shared<NSExtensionItem>();
  if (isFilled) {
    item->attributedTitle = say("Walk round the lake on Sunday", "טיול סביב האגם ביום ראשון");
    item->attributedContentText = say("Start early.", "לצאת מוקדם.");
  }
  auto sheet = std::make_shared<ShareViewController>();
  sheet->beginRequestWithExtensionContext(
      std::make_shared<NSExtensionContext>(std::vector<std::shared_ptr<NSExtensionItem>>{item}));
  if (isFilled) {
    sheet->projectConfigItem()->setValue(projects()[1]);
    sheet->contextConfigItem()->setValue(say("Outdoors", "בחוץ"));
  }
  return sheet;
}

void openNote(UIViewController& controller) {
  dynamic_cast<ShareViewController&>(controller).notesConfigItem()->tapHandler()();
}

void openProjects(UIViewController& controller) {
  dynamic_cast<ShareViewController&>(controller).projectConfigItem()->tapHandler()();
}

}  // namespace

std::vector<Screen> productScreens() {
  // The first sheet of a process selects the default palette: it must not do so between pictures.
  static const auto firstSheet = std::make_shared<ShareViewController>();
  publishCatalogue();
  constexpr CGSize table{360, 640}, sheet{400, 360};
  return {{"picker", table, makePicker, {}},
          {"searchable-picker", table, makeSearchablePicker, {}},
          {"searchable-picker-search", table, makeSearchablePicker, search},
          {"sheet-empty", sheet, [] { return makeSheet(false); }, {}},
          {"sheet", sheet, [] { return makeSheet(true); }, {}},
          {"sheet-note", sheet, [] { return makeSheet(true); }, openNote},
          {"sheet-project", sheet, [] { return makeSheet(true); }, openProjects}};
}

}  // namespace tasklane::gallery
