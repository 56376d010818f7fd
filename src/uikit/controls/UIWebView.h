#pragma once

#include "uikit/views/UIView.h"

namespace tasklane {

/// A page of the web inside a program, in its older and its newer form. Only their place in the
/// class tree is needed here: what is inside them is styled by the page.
class UIWebView : public UIView {
 public:
  using UIView::UIView;
};

/// The newer form.
class WKWebView : public UIView {
 public:
  using UIView::UIView;
};

}  // namespace tasklane
