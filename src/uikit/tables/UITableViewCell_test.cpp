#include "uikit/tables/UITableViewCell.h"

#include <gmock/gmock.h>

#include "uikit/headless/Headless.h"

namespace tasklane {
namespace {

using Style = UITableViewCellStyle;
using Accessory = UITableViewCellAccessoryType;

class UITableViewCellTest : public testing::Test {
 protected:
  UITableViewCellTest() { headless::reset(); }
  ~UITableViewCellTest() override { headless::reset(); }

  static std::shared_ptr<UITableViewCell> make(Style style, const std::string& title,
                                               const std::string& detail, CGFloat width = 320) {
    const auto cell = std::make_shared<UITableViewCell>(style, "x");
    cell->textLabel()->setText(title);
    if (cell->detailTextLabel()) cell->detailTextLabel()->setText(detail);
    cell->setFrame({0, 0, width, 60});
    return cell;
  }
  static void layOut(UITableViewCell& cell) {
    cell.setFrame({{}, cell.systemLayoutSizeFittingSize({cell.bounds().size.width, 0})});
    cell.setNeedsLayout();
    cell.layoutIfNeeded();
  }
  static std::shared_ptr<UIImage> image(int side) {
    auto pixels = std::make_shared<CGImage>();
    pixels->width = pixels->height = side;
    pixels->argb.assign(static_cast<std::size_t>(side * side), 0xFF000000);
    return std::make_shared<UIImage>(pixels, 1);
  }
};

TEST_F(UITableViewCellTest, PartsNeitherOverlapNorLeaveTheRow) {
  const std::string longText(500, 'w');
  struct Case {
    const char* what;
    std::string title, detail;
  };
  for (const auto style : {Style::Default, Style::Value1, Style::Value2, Style::Subtitle}) {
    for (const auto accessory :
         {Accessory::None, Accessory::Checkmark, Accessory::DisclosureIndicator}) {
      for (const bool withImage : {false, true}) {
        for (const Case& c :
             {Case{"short", "Title", "Detail"}, Case{"none", "", ""},
              Case{"long title", longText, "Detail"}, Case{"long detail", "Title", longText},
              Case{"both long", longText, longText}}) {
          SCOPED_TRACE(std::string(c.what) + " style " + std::to_string(static_cast<int>(style)) +
                       " accessory " + std::to_string(static_cast<int>(accessory)) +
                       (withImage ? " image" : ""));
          const auto cell = make(style, c.title, c.detail);
          cell->setAccessoryType(accessory);
          if (withImage) cell->imageView()->setImage(image(20));
          layOut(*cell);
          EXPECT_GE(cell->bounds().size.height, 44);
          const CGRect content = cell->contentView()->frame();
          const CGRect title = cell->textLabel()->frame();
          EXPECT_GE(title.minX(), withImage ? 50 : 15);
          EXPECT_LE(title.maxX(), content.maxX());
          if (accessory != Accessory::None) {
            const CGRect mark = cell->subviews().back()->frame();
            EXPECT_EQ(mark.maxX(), 320 - 15);
            EXPECT_LE(content.maxX(), mark.minX() - 10);
            EXPECT_NEAR(mark.midY(), cell->bounds().midY(), 1);
          } else {
            EXPECT_LE(title.maxX(), 320 - 15);
          }
          if (style == Style::Default || c.detail.empty()) continue;
          const CGRect detail = cell->detailTextLabel()->frame();
          EXPECT_LE(detail.maxX(), content.maxX());
          EXPECT_TRUE(detail.minX() >= title.maxX() || detail.minY() >= title.maxY());
          EXPECT_GE(title.minY(), 0);
          EXPECT_LE(detail.maxY(), cell->bounds().maxY());
        }
      }
    }
  }
}

TEST_F(UITableViewCellTest, MirrorsWhereTheInterfaceReadsFromRightToLeft) {
  for (const auto style : {Style::Default, Style::Value1, Style::Value2, Style::Subtitle}) {
    SCOPED_TRACE(static_cast<int>(style));
    const auto frames = [&](UIUserInterfaceLayoutDirection direction) {
      headless::setLayoutDirection(direction);
      const auto cell = make(style, "Title", "Detail");
      cell->setAccessoryType(Accessory::DisclosureIndicator);
      cell->imageView()->setImage(image(20));
      layOut(*cell);
      std::vector<CGRect> found;
      for (const UIView* part : {static_cast<const UIView*>(cell->textLabel().get()),
                                 static_cast<const UIView*>(cell->imageView().get()),
                                 static_cast<const UIView*>(cell->subviews().back().get())}) {
        found.push_back(part->convertRectToView(part->bounds(), cell.get()));
      }
      return found;
    };
    const auto left = frames(UIUserInterfaceLayoutDirection::LeftToRight);
    const auto right = frames(UIUserInterfaceLayoutDirection::RightToLeft);
    for (std::size_t i = 0; i < left.size(); ++i) {
      EXPECT_EQ(right[i].minX(), 320 - left[i].maxX()) << i;
      EXPECT_EQ(right[i].size, left[i].size) << i;
    }
  }
}

TEST_F(UITableViewCellTest, GrowsWithItsTextsAndTheTextSize) {
  const auto height = [](const std::shared_ptr<UITableViewCell>& cell) {
    layOut(*cell);
    return cell->bounds().size.height;
  };
  EXPECT_EQ(height(make(Style::Default, "Title", "")), 44);
  EXPECT_EQ(height(make(Style::Subtitle, "Title", "")), 44);
  EXPECT_GT(height(make(Style::Subtitle, "Title", "Detail")), 44);
  const auto wraps = make(Style::Default, std::string(300, 'x'), "");
  wraps->textLabel()->setNumberOfLines(0);
  EXPECT_GT(height(wraps), 150);
  EXPECT_EQ(wraps->contentView()->systemLayoutSizeFittingSize(UILayoutFittingCompressedSize).height,
            wraps->bounds().size.height);
  const auto widthOfMark = [](UITableViewCellAccessoryType type) {
    const auto cell = make(Style::Default, "Title", "");
    cell->setAccessoryType(type);
    layOut(*cell);
    return cell->bounds().size.width - cell->contentView()->frame().maxX();
  };
  const CGFloat usual = widthOfMark(UITableViewCellAccessoryType::Checkmark);
  headless::setTextSizeFactor(2);
  EXPECT_GT(height(make(Style::Default, "Title", "")), 55);
  EXPECT_EQ(widthOfMark(UITableViewCellAccessoryType::Checkmark), usual + 15);
}

TEST_F(UITableViewCellTest, AChangedTextIsPlacedAgainAtOnce) {
  const auto cell = make(Style::Value1, "Title", "x");
  layOut(*cell);
  const CGFloat before = cell->detailTextLabel()->frame().size.width;
  cell->detailTextLabel()->setText("A longer value");
  cell->layoutIfNeeded();
  EXPECT_GT(cell->detailTextLabel()->frame().size.width, before);
  EXPECT_EQ(cell->detailTextLabel()->frame().maxX(), 320 - 15);
}

TEST_F(UITableViewCellTest, ASubclassMayMoveWhatTheBaseHasPlaced) {
  class Indented : public UITableViewCell {
   public:
    using UITableViewCell::UITableViewCell;
    void layoutSubviews() override {
      UITableViewCell::layoutSubviews();
      CGRect frame = textLabel()->frame();
      frame.origin.x = 55;
      textLabel()->setFrame(frame);
    }
  };
  const auto cell = std::make_shared<Indented>(Style::Subtitle, "x");
  cell->setFrame({0, 0, 320, 44});
  cell->textLabel()->setText("Title");
  cell->layoutIfNeeded();
  cell->layoutIfNeeded();
  EXPECT_EQ(cell->textLabel()->frame().minX(), 55);
}

TEST_F(UITableViewCellTest, ItsAccessoryViewStandsInForTheMark) {
  const auto cell = make(Style::Subtitle, "Title", "Path");
  cell->setAccessoryType(UITableViewCellAccessoryType::Checkmark);
  const auto parts = cell->subviews().size();
  const auto first = std::make_shared<UIView>(CGRect{0, 0, 20, 20});
  const auto second = std::make_shared<UIView>(CGRect{0, 0, 30, 20});
  for (const auto& view : {first, second}) {
    cell->setAccessoryView(view);
    EXPECT_EQ(view->superview(), cell);
    EXPECT_EQ(cell->subviews().size(), parts) << "one at a time";
  }
  cell->setAccessoryView(nullptr);
  EXPECT_EQ(second->superview(), nullptr);
  EXPECT_EQ(cell->subviews().size(), parts) << "the mark is back";
}

TEST_F(UITableViewCellTest, AScreenReaderHearsTitleAndValue) {
  const auto value = make(Style::Value1, "Project", "Home");
  EXPECT_EQ(value->accessibilityLabel(), "Project");
  EXPECT_EQ(value->accessibilityValue(), "Home");
  EXPECT_EQ(make(Style::Subtitle, "Title", "Path")->accessibilityValue(), std::nullopt);
  value->setAccessibilityLabel("Set");
  value->setAccessibilityValue("Selected");
  EXPECT_EQ(value->accessibilityLabel(), "Set");
  EXPECT_EQ(value->accessibilityValue(), "Selected");
}

}  // namespace
}  // namespace tasklane
