#pragma once

#include <memory>

#include "uikit/drawing/UIImage.h"

namespace tasklane::detail {

/// The small template images at the end of a row and in the place of a picture, drawn for the main
/// screen's scale and kept. Main thread.
std::shared_ptr<UIImage> chevronImage(bool leftToRight);
std::shared_ptr<UIImage> checkmarkImage();
/// The size to show one of them at: it grows with the text, which its pixels are made for.
CGSize shownSize(const UIImage& accessory);
std::shared_ptr<UIImage> ellipsisImage();
std::shared_ptr<UIImage> exclamationImage();

}  // namespace tasklane::detail
