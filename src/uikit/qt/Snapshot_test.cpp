#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <cmath>
#include <cstdint>

#include "uikit/base/Backend.h"
#include "uikit/base/UIScreen.h"
#include "uikit/controls/UIImageView.h"
#include "uikit/qt/Fixture.h"

namespace tasklane::qt {
namespace {

constexpr UIColor kRed{1, 0, 0, 1};
constexpr UIColor kBlue{0, 0, 1, 1};

class Snapshot : public ::testing::Test {
 protected:
  QImage drawn(CGFloat scale) {
    const std::string path = folder.filePath("picture.png").toStdString();
    const auto outcome = backend::snapshotWindow(*window, path, scale);
    EXPECT_TRUE(outcome.ok()) << outcome.error().description;
    return QImage(QString::fromStdString(path)).convertToFormat(QImage::Format_ARGB32);
  }
  std::shared_ptr<UIView> addView(CGRect frame, UIColor color) {
    auto view = std::make_shared<UIView>(frame);
    view->setBackgroundColor(color);
    screen->view()->addSubview(view);
    return view;
  }

  QTemporaryDir folder;
  std::shared_ptr<UIViewController> screen = std::make_shared<UIViewController>();
  std::shared_ptr<UIWindow> window = [this] {
    auto made = std::make_shared<UIWindow>(CGRect{0, 0, 101, 60});
    made->setRootViewController(screen);
    return made;
  }();
};

TEST_F(Snapshot, HasExactPixelsAtEveryScaleAndLeavesNoWindowBehind) {
  const auto parent = addView({10, 10, 40, 40}, kRed);
  const auto child = std::make_shared<UIView>(CGRect{10.5, 10, 8, 8});
  child->setBackgroundColor(kBlue);
  parent->addSubview(child);
  for (const double scale : {1.0, 1.25, 1.5, 2.0}) {
    const QImage image = drawn(scale);
    EXPECT_EQ(image.size(), QSize(int(std::ceil(101 * scale)), int(std::ceil(60 * scale))));
    const auto at = [&](double x, double y) {
      return image.pixelColor(int(x * scale), int(y * scale));
    };
    EXPECT_EQ(at(5, 5), QColor(Qt::white)) << scale;
    EXPECT_EQ(at(12, 12), QColor(Qt::red)) << scale;
    EXPECT_EQ(at(49, 49), QColor(Qt::red)) << scale;
    EXPECT_EQ(at(25, 25), QColor(Qt::blue)) << scale;
    EXPECT_EQ(at(52, 30), QColor(Qt::white)) << scale;
    EXPECT_FALSE(window->isVisible());
    EXPECT_EQ(parent->peer(), nullptr);
  }
}

TEST_F(Snapshot, AHairlineIsOneWholePixelRowAtEveryScale) {
  class Lined : public UIView {
   public:
    std::shared_ptr<UIView> hairline = std::make_shared<UIView>();
    void layoutSubviews() override {
      const double hair = 1 / UIScreen::mainScreen().scale();
      hairline->setFrame({0, 30 - hair, 101, hair});
    }
  };
  const auto lined = std::make_shared<Lined>();
  lined->setFrame({0, 0, 101, 60});
  lined->hairline->setBackgroundColor(UIColor::blackColor());
  lined->addSubview(lined->hairline);
  screen->view()->addSubview(lined);
  for (const double scale : {1.0, 1.5, 2.0}) {
    lined->setNeedsLayout();
    const QImage image = drawn(scale);
    int black = 0, grey = 0;
    for (int y = 0; y < image.height(); ++y) {
      const QColor color = image.pixelColor(50, y);
      black += color == QColor(Qt::black);
      grey += color != QColor(Qt::black) && color != QColor(Qt::white);
    }
    EXPECT_EQ(black, 1) << scale;
    EXPECT_EQ(grey, 0) << scale;
  }
}

TEST_F(Snapshot, ATemplateImageTakesTheInheritedTintAndAlphaMultiplies) {
  auto pixels = std::make_shared<CGImage>();
  *pixels = {2, 2, std::vector<std::uint32_t>(4, 0xFF00FF00)};
  const auto image = std::make_shared<UIImage>(pixels, 1.0, UIImageRenderingMode::AlwaysTemplate);
  const auto imageView = std::make_shared<UIImageView>(image);
  imageView->setFrame({0, 0, 20, 20});
  screen->view()->addSubview(imageView);
  const auto original = std::make_shared<UIImageView>(
      image->imageWithRenderingMode(UIImageRenderingMode::AlwaysOriginal));
  original->setFrame({20, 0, 20, 20});
  screen->view()->addSubview(original);
  const auto half = addView({40, 0, 20, 20}, UIColor::blackColor());
  half->setAlpha(0.5);
  screen->view()->setTintColor(kRed);
  const QImage drawnImage = drawn(1);
  EXPECT_EQ(drawnImage.pixelColor(10, 10), QColor(Qt::red));
  EXPECT_EQ(drawnImage.pixelColor(30, 10), QColor(0, 255, 0));
  EXPECT_NEAR(drawnImage.pixelColor(50, 10).red(), 128, 2);
}

TEST_F(Snapshot, TextFollowsItsOwnDirectionAndIsCutWithinItsFrame) {
  const auto inkOf = [&](const std::string& text) {
    const auto label = std::make_shared<UILabel>(CGRect{10, 10, 80, 24});
    label->setText(text);
    screen->view()->addSubview(label);
    const QImage image = drawn(1);
    label->removeFromSuperview();
    int left = image.width(), right = -1;
    for (int y = 0; y < image.height(); ++y)
      for (int x = 0; x < image.width(); ++x)
        if (image.pixelColor(x, y).lightness() < 200)
          left = std::min(left, x), right = std::max(right, x);
    return std::pair(left, right);
  };
  EXPECT_LT(inkOf("ab").first, 16);
  EXPECT_GT(inkOf("\u05d0\u05d1").second, 84);
  const auto cut = inkOf("a text that is far too long for its place");
  EXPECT_GE(cut.first, 9);
  EXPECT_LE(cut.second, 91);
  EXPECT_GT(cut.second, 70);
}

TEST_F(Snapshot, AFolderThatIsNotThereIsAnErrorWithThePath) {
  const auto outcome = backend::snapshotWindow(*window, "/nowhere/picture.png", 1);
  ASSERT_FALSE(outcome.ok());
  EXPECT_NE(outcome.error().description.find("/nowhere/picture.png"), std::string::npos);
}

}  // namespace
}  // namespace tasklane::qt
