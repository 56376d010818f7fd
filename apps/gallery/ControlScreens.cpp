#include "Screen.h"
#include "appearance/TasklaneAppearance.h"
#include "appearance/TasklaneAppearanceTintableDisclosureIndicatorView.h"
#include "uikit/controls/UIButton.h"
#include "uikit/controls/UIImageView.h"
#include "uikit/controls/UILabel.h"
#include "uikit/controls/UITextView.h"
#include "uikit/navigation/UINavigationBar.h"
#include "uikit/navigation/UISearchBar.h"

namespace tasklane::gallery {

namespace {

const TasklaneAppearance& look() { return TasklaneAppearance::currentAppearance(); }

std::shared_ptr<UILabel> label(const std::string& text, UIFontTextStyle style) {
  auto made = std::make_shared<UILabel>();
  made->setText(text);
  made->setFont(UIFont::preferredFontForTextStyle(style));
  made->setTextColor(look().TitleTextColor());
  return made;
}

std::shared_ptr<UITextView> textView(const std::string& text) {
  auto made = std::make_shared<UITextView>();
  made->setText(text);
  made->setFont(UIFont::preferredFontForTextStyle(UIFontTextStyleBody));
  made->setTextColor(look().TitleTextColor());
  made->setBackgroundColor(look().InlineEditorBackgroundColor());
  made->setTextContainerInset({8, 8, 8, 8});
  made->setPlaceholder(say("Add a note", "הוספת הערה"));
  return made;
}

void fillTexts(Column& column) {
  const std::pair<const char*, UIFontTextStyle> styles[] = {
      {"Large Title", UIFontTextStyle::LargeTitle},
      {"Title 1", UIFontTextStyle::Title1},
      {"Title 2", UIFontTextStyle::Title2},
      {"Title 3", UIFontTextStyle::Title3},
      {"Headline", UIFontTextStyle::Headline},
      {"Subheadline", UIFontTextStyle::Subheadline},
      {"Body", UIFontTextStyle::Body},
      {"Callout", UIFontTextStyle::Callout},
      {"Footnote", UIFontTextStyle::Footnote},
      {"Caption 1", UIFontTextStyle::Caption1},
      {"Caption 2", UIFontTextStyle::Caption2}};
  for (const auto& [name, style] : styles) column.add(label(say(name, "טקסט לדוגמה"), style), 0, 4);
  const auto pangram = say("The quick brown fox jumps over the lazy dog and then over another one.",
                           "דג סקרן שט בים מאוכזב ולפתע מצא חברה, ואחר כך מצא עוד אחת כזאת.");
  column.add(label(pangram, UIFontTextStyle::Body), 0, 12);
  const auto wrapped = label(pangram, UIFontTextStyle::Body);
  wrapped->setNumberOfLines(0);
  column.add(wrapped);
  const auto centred = label(say("In the middle", "באמצע"), UIFontTextStyle::Body);
  centred->setTextAlignment(NSTextAlignment::Center);
  column.add(centred);
  column.add(textView(""), 56, 12);
  column.add(textView(say("Start early: the light is best before nine.\nBring bread for the ducks.",
                          "לצאת מוקדם: האור הכי יפה לפני תשע.\nלהביא לחם לברווזים.")),
             104, 12);
}

std::shared_ptr<UINavigationBar> bar(UIBarStyle style, bool hasBack, bool canSave) {
  auto made = std::make_shared<UINavigationBar>();
  made->setBarStyle(style);
  made->setTintColor(style == UIBarStyle::Default
                         ? TasklaneDefaultAppearance::appearance()->ProjectsColor()
                         : TasklaneDarkAppearance::appearance()->ProjectsColor());
  const auto item = std::make_shared<UINavigationItem>(say("New Action", "פעולה חדשה"));
  const auto button = [](const char* english, const char* hebrew, UIBarButtonItemStyle kind) {
    return std::make_shared<UIBarButtonItem>(say(english, hebrew), kind, nullptr, nullptr);
  };
  if (!hasBack) item->setLeftBarButtonItem(button("Cancel", "ביטול", UIBarButtonItemStyle::Plain));
  item->setRightBarButtonItem(button("Save", "שמירה", UIBarButtonItemStyle::Done));
  item->rightBarButtonItem()->setEnabled(canSave);
  std::vector<std::shared_ptr<UINavigationItem>> items;
  if (hasBack) items.push_back(std::make_shared<UINavigationItem>(say("Projects", "פרויקטים")));
  items.push_back(item);
  made->setItems(items);
  return made;
}

std::shared_ptr<UISearchBar> searchBar(const std::string& text) {
  auto made = std::make_shared<UISearchBar>();
  made->setPlaceholder(say("Search", "חיפוש"));
  made->setText(text);
  made->setBarTintColor(look().SearchBarBackgroundColor());
  made->setTextColor(look().TitleTextColor());
  return made;
}

void fillBars(Column& column) {
  const std::pair<const char*, UIBarStyle> styles[] = {
      {"Default", UIBarStyle::Default},
      {"Black", UIBarStyle::Black},
      {"Black translucent", UIBarStyle::BlackTranslucent}};
  for (const auto& [name, style] : styles) {
    column.add(caption(name), 0, 16);
    column.add(bar(style, false, true), 44);
    column.add(bar(style, true, false), 44);
  }
  column.add(caption(say("Search", "חיפוש")), 0, 16);
  column.add(searchBar(""), 56);
  column.add(searchBar(say("garden", "גינה")), 56);
}

std::shared_ptr<UIButton> button(const std::string& title, bool isEnabled, bool pointsBack) {
  auto made = std::make_shared<UIButton>();
  made->setTitle(title);
  made->setEnabled(isEnabled);
  made->setPointsBack(pointsBack);
  made->setFont(TasklaneAppearance::settingsButtonFont());
  made->sizeToFit();
  return made;
}

std::shared_ptr<UIView> imageView(const std::shared_ptr<UIImage>& image) {
  auto made = std::make_shared<UIImageView>(image);
  if (image) made->setFrame({{}, image->size()});
  return made;
}

void fillButtonsAndImages(Column& column) {
  const auto buttons = std::make_shared<Row>(20);
  buttons->add(button(say("Settings", "הגדרות"), true, false));
  buttons->add(button(say("Disabled", "מושבת"), false, false));
  buttons->add(button(say("Back", "חזרה"), true, true));
  column.add(caption(say("Buttons", "כפתורים")));
  column.add(buttons, 44);

  const auto flags = std::make_shared<Row>(20);
  for (const auto& image :
       {look().statusCircleFlagImage(), look().statusCircleInheritedFlagImage()})
    flags->add(imageView(image));
  const auto tinted = imageView(
      look().statusCircleFlagImage()->imageWithRenderingMode(UIImageRenderingMode::AlwaysTemplate));
  tinted->setTintColor(look().ProjectsColor());
  flags->add(tinted);
  flags->add(detail::TasklaneAppearanceTintableDisclosureIndicatorView::disclosureIndicatorView());
  flags->add(imageView(detail::TasklaneAppearanceTintableDisclosureIndicatorView::
                           disclosureIndicatorFallbackImage()));
  column.add(caption(say("Images", "תמונות")), 0, 16);
  column.add(flags, 32);

  column.add(caption(say("Home screen's background", "רקע מסך הבית")), 0, 16);
  const auto background = std::make_shared<UIImageView>(look().HomeScreenEditingBackgroundImage());
  background->setContentMode(UIViewContentMode::ScaleAspectFit);
  column.add(background, 64);
}

}  // namespace

std::vector<Screen> controlScreens() {
  const auto screen = [](const char* name, CGFloat height, void (*fill)(Column&)) {
    return Screen{name, {360, height}, [fill] { return controllerWithColumn(fill); }, {}};
  };
  return {screen("texts", 740, fillTexts), screen("bars", 620, fillBars),
          screen("buttons-and-images", 320, fillButtonsAndImages)};
}

}  // namespace tasklane::gallery
