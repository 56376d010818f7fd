#pragma once

#include "uikit/tables/UITableViewCell.h"

namespace tasklane {

/// The part of a cell that holds its texts and image. Compressed, it is as high as its row asks to
/// be; when one of its texts changes, the cell places them again.
class UITableViewCell::ContentView : public UIView {
 public:
  CGSize systemLayoutSizeFittingSize(CGSize targetSize) override;
  void layoutSubviews() override;
  /// For the cell, when it has placed what is in here.
  void finishPlacing();

 private:
  bool finishing_ = false;
};

}  // namespace tasklane
