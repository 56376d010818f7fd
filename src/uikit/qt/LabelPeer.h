#pragma once

#include "uikit/controls/UILabel.h"
#include "uikit/qt/ViewPeer.h"

namespace tasklane::qt {

/// A label. Not a QLabel, which neither cuts a text of several lines nor lets it run in its own
/// direction.
class LabelPeer : public ViewPeer {
 public:
  explicit LabelPeer(UILabel& label);
};

}  // namespace tasklane::qt
