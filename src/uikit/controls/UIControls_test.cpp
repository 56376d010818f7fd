#include <gmock/gmock.h>

#include "uikit/base/UIScreen.h"
#include "uikit/controls/UIButton.h"
#include "uikit/controls/UIImageView.h"
#include "uikit/controls/UILabel.h"
#include "uikit/controls/UITextView.h"
#include "uikit/headless/Headless.h"
#include "uikit/navigation/UISearchBar.h"
#include "uikit/views/UIWindow.h"

namespace tasklane {
namespace {

class UIControlsTest : public testing::Test {
 protected:
  UIControlsTest() { headless::reset(); }
  ~UIControlsTest() override { headless::reset(); }
};

TEST_F(UIControlsTest, LabelsMeasureWhatTheyShow) {
  struct Case {
    const char* text;
    int lines;
    CGFloat width;
    CGSize expected;
  };
  for (const auto& c : {
           Case{"", 1, 100, {0, 0}}, Case{"12345678", 1, 100, {40, 12}},
           Case{"12345678", 1, 0, {40, 12}},            // no width is any width
           Case{"12345678 12345678", 1, 50, {50, 12}},  // cut
           Case{"12345678 12345678", 0, 50, {40, 24}}, Case{"a b c d e f g h", 2, 15, {15, 24}},
           Case{"12345678", 0, 20, {20, 24}},  // a word longer than a line
           Case{"one\ntwo\n", 0, 100, {15, 36}},
           Case{"\u6f22\u5b57", 1, 100, {20, 12}},  // East Asian
           Case{"e\u0301", 1, 100, {5, 12}},        // combining
           Case{"\U0001F600", 1, 100, {10, 12}},    // two UTF-16 units
       }) {
    const auto label = std::make_shared<UILabel>();
    label->setFont(UIFont::systemFontOfSize(10));
    label->setNumberOfLines(c.lines);
    label->setText(c.text);
    EXPECT_EQ(label->sizeThatFits({c.width, CGFLOAT_MAX}), c.expected) << c.text;
  }
}

TEST_F(UIControlsTest, PreferredFontsFollowTheDesktop) {
  EXPECT_EQ(UIFont::preferredFontForTextStyle(UIFontTextStyleBody), UIFont::systemFontOfSize(17));
  EXPECT_EQ(UIFont::preferredFontForTextStyle(UIFontTextStyleFootnote).pointSize(), 13);
  EXPECT_EQ(UIFont::preferredFontForTextStyle(UIFontTextStyle::Headline).weight(),
            UIFontWeight::Semibold);
  headless::setTextSizeFactor(2);
  const auto body = UIFont::preferredFontForTextStyle(UIFontTextStyleBody);
  EXPECT_EQ(body.pointSize(), 34);
  EXPECT_GE(UISearchBar().sizeThatFits({300, 0}).height, body.lineHeight() + 24);
}

TEST_F(UIControlsTest, ButtonPressesWhileEnabledAndMayEndItself) {
  const auto window = std::make_shared<UIWindow>();
  auto button = std::make_shared<UIButton>();
  window->addSubview(button);
  int presses = 0;
  button->setPressHandler([&] { ++presses; });
  button->press();
  EXPECT_TRUE(button->becomeFirstResponder());
  button->setEnabled(false);
  button->press();
  EXPECT_EQ(presses, 1);
  EXPECT_FALSE(button->isFirstResponder()) << "nobody can press what is disabled";
  EXPECT_TRUE(button->accessibilityTraits() & UIAccessibilityTraitNotEnabled);

  button->setEnabled(true);
  button->setPressHandler([&] {
    button->removeFromSuperview();
    button->setPressHandler({});
    button.reset();
    ++presses;
  });
  UIButton& pressed = *button;
  pressed.press();
  EXPECT_EQ(presses, 2);
}

TEST_F(UIControlsTest, AccessibilityFallsBackOnWhatIsShown) {
  const auto label = std::make_shared<UILabel>();
  const auto button = std::make_shared<UIButton>();
  label->setText("Project");
  button->setTitle("Save");
  EXPECT_EQ(label->accessibilityLabel(), "Project");
  EXPECT_EQ(button->accessibilityLabel(), "Save");
  label->setAccessibilityLabel("Chosen project");
  EXPECT_EQ(label->accessibilityLabel(), "Chosen project");
  EXPECT_TRUE(label->accessibilityTraits() & UIAccessibilityTraitStaticText);
  EXPECT_TRUE(label->isAccessibilityElement());
}

class TextListener : public UITextViewDelegate, public UISearchBarDelegate {
 public:
  void textViewDidChange(const std::shared_ptr<UITextView>& view) override {
    heard.push_back("text " + view->text());
  }
  void searchBarTextDidBeginEditing(UISearchBar&) override { heard.push_back("begin"); }
  void searchBarTextDidChange(UISearchBar& bar) override {
    heard.push_back("search " + bar.text());
  }
  void searchBarCancelButtonClicked(UISearchBar&) override { heard.push_back("cancel"); }
  std::vector<std::string> heard;
};

TEST_F(UIControlsTest, OnlyAPersonsTypingIsTold) {
  const auto window = std::make_shared<UIWindow>();
  const auto listener = std::make_shared<TextListener>();
  const auto text = std::make_shared<UITextView>();
  const auto search = std::make_shared<UISearchBar>();
  window->addSubview(search);
  text->setDelegate(listener);
  search->setDelegate(listener);

  text->setText("set");
  search->setText("set");
  text->userDidChangeText("typed");
  text->userDidChangeText("typed");
  search->becomeFirstResponder();
  search->becomeFirstResponder();
  search->userDidChangeText("typed");
  search->userDidCancel();
  EXPECT_THAT(listener->heard,
              testing::ElementsAre("text typed", "begin", "search typed", "cancel"));
}

TEST_F(UIControlsTest, TextViewIsAsHighAsItsLines) {
  const auto text = std::make_shared<UITextView>();
  text->setFont(UIFont::systemFontOfSize(10));
  for (const auto& [contents, height] : std::vector<std::pair<const char*, CGFloat>>{
           {"", 28}, {"one", 28}, {"one\n", 40}, {"one\ntwo", 40}, {"wrap this", 40}}) {
    text->setText(contents);
    EXPECT_EQ(text->sizeThatFits({30, CGFLOAT_MAX}).height, height) << contents;
  }
}

TEST_F(UIControlsTest, TemplateImageFollowsTheTintOfItsView) {
  headless::setRecordsPeers(true);
  const auto pixels = std::make_shared<const CGImage>(CGImage{4, 2, std::vector<std::uint32_t>(8)});
  const auto image = std::make_shared<UIImage>(pixels, 2);
  const auto tinted = image->imageWithRenderingMode(UIImageRenderingMode::AlwaysTemplate);
  EXPECT_EQ(tinted->pixels(), pixels) << "not copied";
  EXPECT_EQ(tinted->size(), (CGSize{2, 1}));
  EXPECT_EQ(image->renderingMode(), UIImageRenderingMode::Automatic);

  const auto window = std::make_shared<UIWindow>();
  const auto view = std::make_shared<UIImageView>(tinted);
  EXPECT_EQ(view->frame().size, tinted->size());
  window->addSubview(view);
  window->makeKeyAndVisible();
  headless::takePeerRecords();
  window->setTintColor(UIColor::greenColor());
  EXPECT_THAT(headless::takePeerRecords(), testing::Contains("UIImageView changed"));
}

}  // namespace
}  // namespace tasklane
