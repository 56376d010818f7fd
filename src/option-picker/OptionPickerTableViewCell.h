#pragma once

#include <string>

#include "appearance/TasklaneAppearanceTableViewCell.h"

namespace tasklane {

/// A picker's row: a title with an optional detail line under it and an optional icon in a column
/// of fixed width in front, so that titles line up whatever the icons.
class OptionPickerTableViewCell : public TasklaneAppearanceTableViewCell {
 public:
  /// "OptionPickerTableViewCellReuseIdenfitier", letter for letter: rows are registered and
  /// dequeued under it.
  static const std::string& reuseIdentifier();

  /// Always in the subtitle style, whatever style is asked for.
  OptionPickerTableViewCell(UITableViewCellStyle style, const std::string& reuseIdentifier);

  void layoutSubviews() override;

 private:
  void placeInIconColumn(bool mirrored);
};

}  // namespace tasklane
