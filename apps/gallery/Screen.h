#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "uikit/views/UIViewController.h"

namespace tasklane::gallery {

/// One picture of the gallery: a screen of the product in its window.
struct Screen {
  std::string name;
  CGSize size;
  std::function<std::shared_ptr<UIViewController>()> make;
  /// Brings the screen into the state to be drawn, once it is in its window; may be missing.
  std::function<void(UIViewController& controller)> arrange;
};

std::vector<Screen> tableScreens();
std::vector<Screen> controlScreens();
std::vector<Screen> paletteScreens();
/// Pickers and the share sheet; publishes a catalogue for them.
std::vector<Screen> productScreens();

/// The text in the language of the pictures: English or, from right to left, Hebrew.
std::string say(const char* english, const char* hebrew);

/// A view that puts views under each other, each across its whole width.
class Column : public UIView {
 public:
  explicit Column(CGFloat margin = 16) : margin_(margin) {}
  /// A height of 0 is the view's own at the column's width.
  void add(const std::shared_ptr<UIView>& view, CGFloat height = 0, CGFloat gapAbove = 8);
  void layoutSubviews() override;

 private:
  struct Item {
    std::shared_ptr<UIView> view;
    CGFloat height, gapAbove;
  };
  std::vector<Item> items_;
  CGFloat margin_;
};

/// Views beside each other in reading order, each in its own width and all in the middle of the
/// height.
class Row : public UIView {
 public:
  explicit Row(CGFloat gap = 12) : gap_(gap) {}
  void add(const std::shared_ptr<UIView>& view) { addSubview(view); }
  void layoutSubviews() override;

 private:
  CGFloat gap_;
};

/// A controller whose view is a column in the palette's background.
std::shared_ptr<UIViewController> controllerWithColumn(
    const std::function<void(Column& column)>& fill);

/// A label in the current palette's text colour, or in its colour for lesser texts.
std::shared_ptr<UIView> caption(const std::string& text);

}  // namespace tasklane::gallery
