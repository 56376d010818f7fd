#include "uikit/navigation/UINavigationBar.h"

#include <gmock/gmock.h>

#include "uikit/controls/UIButton.h"
#include "uikit/controls/UILabel.h"
#include "uikit/headless/Headless.h"

namespace tasklane {
namespace {

class UINavigationBarTest : public testing::Test {
 protected:
  UINavigationBarTest() { headless::reset(); }
  ~UINavigationBarTest() override { headless::reset(); }

  std::shared_ptr<UIBarButtonItem> button(const std::string& title) {
    return std::make_shared<UIBarButtonItem>(title, UIBarButtonItemStyle::Plain, bar,
                                             [this](auto& item) { pressed += item.title(); });
  }
  /// The bar's visible buttons and title from left to right, as "text" at its frame.
  std::vector<std::pair<std::string, CGRect>> parts() {
    bar->layoutIfNeeded();
    std::vector<std::pair<std::string, CGRect>> found;
    for (const auto& view : bar->subviews()) {
      if (view->isHidden()) continue;
      if (const auto b = std::dynamic_pointer_cast<UIButton>(view)) {
        found.emplace_back((b->pointsBack() ? "<" : "") + b->title(), b->frame());
      } else if (const auto l = std::dynamic_pointer_cast<UILabel>(view)) {
        found.emplace_back(l->text().value_or(""), l->frame());
      }
    }
    std::sort(found.begin(), found.end(),
              [](auto& a, auto& b) { return a.second.minX() < b.second.minX(); });
    return found;
  }
  std::string texts() {
    std::string all;
    for (const auto& [text, frame] : parts()) all += (all.empty() ? "" : "|") + text;
    return all;
  }
  void press(std::size_t i) {
    for (const auto& view : bar->subviews()) {
      const auto b = std::dynamic_pointer_cast<UIButton>(view);
      if (b && b->frame() == parts()[i].second) return b->press();
    }
  }

  std::shared_ptr<UINavigationBar> bar = std::make_shared<UINavigationBar>(CGRect{0, 0, 320, 44});
  std::shared_ptr<UINavigationItem> root = std::make_shared<UINavigationItem>("Root");
  std::shared_ptr<UINavigationItem> top = std::make_shared<UINavigationItem>("Top");
  std::string pressed;
};

TEST_F(UINavigationBarTest, ShowsTheTopItemAndTheWayBack) {
  bar->setBackHandler([this] { pressed += "back"; });
  bar->setItems({root});
  EXPECT_EQ(texts(), "Root");
  for (const auto& view : bar->subviews()) {
    const auto title = std::dynamic_pointer_cast<UILabel>(view);
    if (!title) continue;
    EXPECT_EQ(title->font(), UIFont::preferredFontForTextStyle(UIFontTextStyle::Headline));
  }
  bar->setItems({root, top});
  EXPECT_EQ(texts(), "<Root|Top");
  const auto back = std::dynamic_pointer_cast<UIButton>(bar->subviews()[1]);
  EXPECT_EQ(back->accessibilityLabel(), "Back, Root");
  press(0);
  EXPECT_EQ(pressed, "back");
  top->setRightBarButtonItem(button("None"));
  EXPECT_EQ(texts(), "<Root|Top|None");
  press(2);
  EXPECT_EQ(pressed, "backNone");
  top->rightBarButtonItem()->setTitle("Save");
  top->setTitle("Other");
  EXPECT_EQ(texts(), "<Root|Other|Save");
  top->rightBarButtonItem()->setEnabled(false);
  press(2);
  EXPECT_EQ(pressed, "backNone");
  top->setLeftBarButtonItem(button("Cancel"));
  EXPECT_EQ(texts(), "Cancel|Other|Save");
  headless::setLayoutDirection(UIUserInterfaceLayoutDirection::RightToLeft);
  bar->setNeedsLayout();
  EXPECT_EQ(texts(), "Save|Other|Cancel");
  root->setTitle(std::string(60, 'x'));
  top->setLeftBarButtonItem(nullptr);
  EXPECT_EQ(texts(), "Save|Other|<Back") << "a title too long for the button";
}

TEST_F(UINavigationBarTest, TheTitleIsInTheMiddleAndNeverOverlapsTheButtons) {
  const std::vector<std::string> texts{"", "Ok", "A longer button", std::string(80, 'w')};
  for (const auto& title :
       {std::string("T"), std::string("A rather long title"), std::string(200, 'w')}) {
    for (const auto& left : texts) {
      for (const auto& right : texts) {
        SCOPED_TRACE(left.substr(0, 10) + "/" + title.substr(0, 10) + "/" + right.substr(0, 10));
        top->setTitle(title);
        top->setLeftBarButtonItem(left.empty() ? nullptr : button(left));
        top->setRightBarButtonItem(right.empty() ? nullptr : button(right));
        bar->setItems({top});
        const auto found = parts();
        CGFloat end = 0;
        for (const auto& [text, frame] : found) {
          EXPECT_GE(frame.minX(), end) << text;
          EXPECT_GE(frame.size.width, 0) << text;
          end = frame.maxX();
        }
        EXPECT_LE(end, 320);
        if (title == "T" && left.size() < 20 && right.size() < 20) {
          const CGRect middle = found[left.empty() ? 0 : 1].second;
          EXPECT_NEAR(middle.midX(), 160, 1);
          EXPECT_NEAR(middle.midY(), bar->bounds().midY(), 1);
        }
      }
    }
  }
}

TEST_F(UINavigationBarTest, NothingShinesThroughIt) {
  for (const auto style : {UIBarStyle::Default, UIBarStyle::Black}) {
    bar->setBarStyle(style);
    EXPECT_EQ(bar->backgroundColor()->alpha, 1);
    for (const auto& view : bar->subviews()) {
      const auto& color = view->backgroundColor();
      EXPECT_EQ(color ? color->alpha : 1, 1);
    }
  }
}

TEST_F(UINavigationBarTest, ATitleViewStandsInTheTitlesPlace) {
  bar->setItems({root, top});
  const auto view = std::make_shared<UILabel>();
  view->setText("View");
  top->setTitleView(view);
  EXPECT_EQ(texts(), "<Root|View");
  top->setTitleView(nullptr);
  EXPECT_EQ(view->superview(), nullptr);
  EXPECT_EQ(texts(), "<Root|Top");
}

TEST_F(UINavigationBarTest, LargeTextsGetSmallerBeforeOneIsCut) {
  headless::setTextSizeFactor(2);
  bar = std::make_shared<UINavigationBar>(CGRect{0, 0, 360, 60});
  top->setTitle("Tasklane");
  top->setLeftBarButtonItem(button("Abbrechen"));
  top->setRightBarButtonItem(button("Speichern"));
  bar->setItems({top});
  for (int i = 0; i < 2; ++i) {
    parts();
    for (const auto& view : bar->subviews()) {
      EXPECT_GE(view->frame().size.width, view->sizeThatFits({1000, 60}).width);
    }
    top->rightBarButtonItem()->setTitle("OK");
  }
  EXPECT_EQ(parts()[0].second.minX(), 15);
  EXPECT_EQ(parts()[2].second.maxX(), 345);
}

}  // namespace
}  // namespace tasklane
