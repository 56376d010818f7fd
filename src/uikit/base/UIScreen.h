#pragma once

#include <optional>

#include "uikit/base/CGGeometry.h"

namespace tasklane {

/// The main screen: its size in points and its pixels per point.
class UIScreen {
 public:
  static UIScreen& mainScreen();
  CGRect bounds() const;
  CGFloat scale() const;
  /// Answers a size of the caller's choosing until called with none. For tests.
  void overrideBounds(const CGRect* bounds);

 private:
  std::optional<CGRect> bounds_;
};

enum class UIUserInterfaceIdiom { Unspecified = -1, Phone = 0, Pad = 1 };

/// The device. The desktop is neither a phone nor a pad and has no idiom of its own: it answers
/// Unspecified, which makes lists scroll and narrow insets apply, unless set otherwise.
class UIDevice {
 public:
  static UIDevice& currentDevice();
  UIUserInterfaceIdiom userInterfaceIdiom() const { return idiom_; }
  /// Whether the question above has an answer at all.
  bool respondsToUserInterfaceIdiom() const { return idiom_ != UIUserInterfaceIdiom::Unspecified; }
  void setUserInterfaceIdiom(UIUserInterfaceIdiom idiom) { idiom_ = idiom; }

 private:
  UIUserInterfaceIdiom idiom_ = UIUserInterfaceIdiom::Unspecified;
};

}  // namespace tasklane
