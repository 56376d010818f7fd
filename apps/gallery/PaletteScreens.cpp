#include "Screen.h"
#include "appearance/TasklaneAppearance.h"
#include "uikit/controls/UILabel.h"

namespace tasklane::gallery {

namespace {

const TasklaneAppearance& look() { return TasklaneAppearance::currentAppearance(); }

/// A text on its background, as a padded stripe.
std::shared_ptr<UIView> stripe(const std::string& text, const std::optional<UIColor>& textColor,
                               const std::optional<UIColor>& background) {
  auto made = std::make_shared<Column>(8);
  made->setBackgroundColor(background);
  const auto label = std::make_shared<UILabel>();
  label->setText(text);
  label->setTextColor(textColor);
  made->add(label, 0, 0);
  return made;
}

std::shared_ptr<UIView> swatch(const std::optional<UIColor>& color, CGFloat width) {
  auto made = std::make_shared<UIView>(CGRect(0, 0, width, 28));
  made->setBackgroundColor(color);
  made->setCornerRadius(6);
  return made;
}

std::shared_ptr<UIView> swatchRow(const std::string& name, const std::optional<UIColor>& color) {
  auto made = std::make_shared<Row>();
  made->add(swatch(color, 64));
  made->add(caption(name));
  return made;
}

void fillSections(Column& column) {
  const std::pair<std::string, std::optional<UIColor>> sections[] = {
      {say("Inbox", "נכנס"), look().InboxColor()},
      {say("Projects", "פרויקטים"), look().ProjectsColor()},
      {say("Forecast", "תחזית"), look().ForecastColor()},
      {say("Contexts", "הקשרים"), look().ContextsColor()},
      {say("Flagged", "מסומנים"), look().FlaggedColor()},
      {say("Map", "מפה"), look().MapColor()},
      {say("Review", "סקירה"), look().ReviewColor()},
      {say("Perspectives", "נקודות מבט"), look().PerspectivesColor()}};
  for (const auto& [name, color] : sections) column.add(swatchRow(name, color), 32, 4);
  const std::pair<std::string, std::optional<UIColor>> circles[] = {
      {say("Normal", "רגיל"), look().StatusCircleNormalColor()},
      {say("Due soon", "בקרוב"), look().StatusCircleDueSoonColor()},
      {say("Overdue", "באיחור"), look().StatusCircleOverdueColor()},
      {say("Flagged", "מסומן"), look().StatusCircleFlaggedColor()}};
  for (const auto& [name, color] : circles) column.add(swatchRow(name, color), 32, 4);
}

void fillTextsOnBackgrounds(Column& column) {
  const auto add = [&](const char* english, const char* hebrew, const std::optional<UIColor>& text,
                       const std::optional<UIColor>& back) {
    column.add(stripe(say(english, hebrew), text, back), 36, 6);
  };
  add("Title", "כותרת", look().TitleTextColor(), look().BackgroundColor());
  add("Detail", "פרטים", look().MetadataTextColor(), look().BackgroundColor());
  add("Not available", "לא זמין", look().UnavailableTitleTextColor(), look().BackgroundColor());
  add("Placeholder", "מציין מיקום", look().PlaceholderLabelColor(), look().BackgroundColor());
  add("Due soon", "בקרוב", look().DueSoonTextColor(), look().DueSoonBackgroundColor());
  add("Overdue", "באיחור", look().OverdueTextColor(), look().OverdueBackgroundColor());
  add("Selected row", "שורה נבחרת", look().TitleTextColor(),
      look().StandardPlainTableCellSelectionColor());
  add("Group header", "כותרת קבוצה", look().StandardGroupedTableSectionHeaderTextColor(),
      look().StandardGroupedTableBackgroundColor());
  add("Popover", "חלון צף", look().TitleTextColor(), look().PopoverBackgroundColor());
  add("Badge", "תג", look().ForecastDefaultBadgeLabelColor(),
      look().ForecastDefaultBadgeFillColor());
  add("Item to move", "פריט להעברה", look().ItemToMoveTextColor(),
      look().ItemToMoveBackgroundColor());
  add("Warning", "אזהרה", look().TitleTextColor(), look().NearbyWarningBackgroundColor());
  add("Editor", "עורך", look().EditorLabelColor(), look().InlineEditorBackgroundColor());
}

}  // namespace

std::vector<Screen> paletteScreens() {
  return {{"sections", {360, 480}, [] { return controllerWithColumn(fillSections); }, {}},
          {"texts-on-backgrounds",
           {360, 600},
           [] { return controllerWithColumn(fillTextsOnBackgrounds); },
           {}}};
}

}  // namespace tasklane::gallery
