#pragma once

#include "uikit/controls/UIButton.h"
#include "uikit/qt/ViewPeer.h"

namespace tasklane::qt {

/// A button: pressed by pointer, touch, Space or Return.
class ButtonPeer : public ViewPeer {
 public:
  explicit ButtonPeer(UIButton& button);
  QWidget* focusTarget() const override { return widget(); }

 protected:
  void apply() override;
};

}  // namespace tasklane::qt
