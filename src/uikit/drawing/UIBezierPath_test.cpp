#include "uikit/drawing/UIBezierPath.h"

#include <gtest/gtest.h>

#include "uikit/drawing/UIImage.h"
#include "uikit/headless/Headless.h"

namespace tasklane {
namespace {

class UIBezierPathTest : public testing::Test {
 protected:
  static std::shared_ptr<UIImage> draw(CGSize size, CGFloat scale, CGFloat width,
                                       const std::vector<CGPoint>& points, const UIColor& color) {
    UIGraphicsBeginImageContextWithOptions(size, false, scale);
    UIBezierPath path;
    path.setLineWidth(width);
    path.moveToPoint(points.front());
    for (std::size_t i = 1; i < points.size(); ++i) path.addLineToPoint(points[i]);
    path.stroke(color);
    auto image = UIGraphicsGetImageFromCurrentImageContext();
    UIGraphicsEndImageContext();
    return image;
  }
  static std::uint32_t pixel(const UIImage& image, int x, int y) {
    const auto& pixels = *image.pixels();
    return pixels.argb[static_cast<std::size_t>(y * pixels.width + x)];
  }
};

TEST_F(UIBezierPathTest, StrokeCoversWhatItShould) {
  struct Case {
    const char* name;
    std::vector<CGPoint> points;
    CGFloat width;
    int x, y;
    std::uint32_t expected;
  };
  const Case cases[] = {
      {"inside", {{1, 2}, {7, 2}}, 2, 3, 1, 0xFF00FF00},
      {"beside", {{1, 2}, {7, 2}}, 2, 3, 4, 0},
      {"square end", {{1, 2}, {7, 2}}, 2, 0, 1, 0},
      {"half covered edge", {{1, 2}, {7, 2}}, 1, 3, 1, 0x80008000},
      {"pointed corner", {{1, 6}, {6, 6}, {6, 1}}, 2, 6, 6, 0xFF00FF00},
      {"no corner inside", {{1, 6}, {6, 6}, {6, 1}}, 2, 3, 3, 0},
      {"a line back on itself has no tip", {{1, 2}, {5, 2}, {1, 2}}, 2, 5, 1, 0},
      {"a line of no length draws nothing", {{3, 3}, {3, 3}}, 2, 3, 3, 0},
  };
  for (const auto& c : cases) {
    const auto image = draw({8, 8}, 1, c.width, c.points, UIColor::greenColor());
    EXPECT_EQ(pixel(*image, c.x, c.y), c.expected) << c.name;
  }
}

TEST_F(UIBezierPathTest, ChevronIsSymmetricAtEveryScale) {
  for (const CGFloat scale : {1.0, 1.5, 2.0, 3.0}) {
    const auto image = draw({8, 13}, scale, 2, {{1, 1}, {7, 6.5}, {1, 12}}, UIColor::greenColor());
    EXPECT_NEAR(image->size().width, 8, 1 / scale);
    EXPECT_NEAR(image->size().height, 13, 1 / scale);
    const auto& pixels = *image->pixels();
    const bool symmetric = pixels.height == 13 * scale;
    std::size_t drawn = 0;
    for (int y = 0; y < pixels.height; ++y) {
      for (int x = 0; x < pixels.width; ++x) {
        drawn += pixel(*image, x, y) != 0;
        if (symmetric) {
          EXPECT_EQ(pixel(*image, x, y), pixel(*image, x, pixels.height - 1 - y));
        }
      }
    }
    EXPECT_GT(drawn, static_cast<std::size_t>(20 * scale * scale));
  }
}

TEST_F(UIBezierPathTest, ContextsNestAndMixColours) {
  EXPECT_EQ(UIGraphicsGetImageFromCurrentImageContext(), nullptr);
  UIBezierPath().stroke(UIColor::blackColor());
  headless::setScreen({100, 100}, 2);
  UIGraphicsBeginImageContextWithOptions({2, 2}, true, 0);
  UIGraphicsBeginImageContextWithOptions({1, 1}, false, 1);
  EXPECT_EQ(UIGraphicsGetImageFromCurrentImageContext()->pixels()->argb,
            std::vector<std::uint32_t>{0});
  UIGraphicsEndImageContext();
  UIBezierPath path;
  path.setLineWidth(4);
  path.moveToPoint({0, 1});
  path.addLineToPoint({2, 1});
  path.stroke(UIColor{1, 0, 0, 0.5});
  const auto image = UIGraphicsGetImageFromCurrentImageContext();
  UIGraphicsEndImageContext();
  EXPECT_EQ(image->scale(), 2);
  EXPECT_EQ(image->pixels()->width, 4);
  EXPECT_EQ(pixel(*image, 1, 1), 0xFF800000u);
  EXPECT_DEATH(UIGraphicsEndImageContext(), "begun");
  headless::reset();
}

}  // namespace
}  // namespace tasklane
