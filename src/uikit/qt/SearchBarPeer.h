#pragma once

#include <string>

#include "uikit/navigation/UISearchBar.h"
#include "uikit/qt/ViewPeer.h"

namespace tasklane::qt {

class SearchField;

/// A search field: a QLineEdit in a rounded box with a magnifier, and a button that clears it while
/// there is a text.
class SearchBarPeer : public ViewPeer {
 public:
  explicit SearchBarPeer(UISearchBar& searchBar);
  QWidget* focusTarget() const override;

 protected:
  void apply() override;

 private:
  friend class SearchBarWidget;
  void personDidEdit(const std::string& text);

  SearchField* field_;
  std::string shown_;  ///< the text that the view and the field last agreed on
  bool applying_ = false;
};

}  // namespace tasklane::qt
