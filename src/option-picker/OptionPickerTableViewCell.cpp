#include "option-picker/OptionPickerTableViewCell.h"

namespace tasklane {

namespace {
constexpr CGFloat kIconColumnWidth = 25;
constexpr CGFloat kIconToText = 15;
}  // namespace

const std::string& OptionPickerTableViewCell::reuseIdentifier() {
  static const std::string identifier = "OptionPickerTableViewCellReuseIdenfitier";
  return identifier;
}

OptionPickerTableViewCell::OptionPickerTableViewCell(UITableViewCellStyle,
                                                     const std::string& reuseIdentifier)
    : TasklaneAppearanceTableViewCell(UITableViewCellStyle::Subtitle, reuseIdentifier) {
  textLabel()->setFont(UIFont::preferredFontForTextStyle(UIFontTextStyleBody));
}

void OptionPickerTableViewCell::layoutSubviews() {
  TasklaneAppearanceTableViewCell::layoutSubviews();
  const bool mirrored =
      effectiveUserInterfaceLayoutDirection() == UIUserInterfaceLayoutDirection::RightToLeft;
  if (imageView()->image()) placeInIconColumn(mirrored);

  // The line under the row begins where its title does.
  const CGRect title = textLabel()->convertRectToView(textLabel()->bounds(), this);
  const CGFloat leading = mirrored ? bounds().size.width - title.maxX() : title.minX();
  if (title.size.width > 0) setSeparatorInset({0, leading, 0, 0});
}

/// Right to left the column stands at the other side, and the labels end where they would begin.
void OptionPickerTableViewCell::placeInIconColumn(bool mirrored) {
  CGRect icon = imageView()->frame();
  if (mirrored) icon.origin.x = icon.maxX() - kIconColumnWidth;
  icon.size.width = kIconColumnWidth;
  imageView()->setFrame(icon);
  imageView()->setContentMode(UIViewContentMode::Center);

  // The labels are moved, not narrowed: their widths are the standard layout's.
  const auto place = [&](const std::shared_ptr<UILabel>& label) {
    CGRect frame = label->frame();
    frame.origin.x =
        mirrored ? icon.minX() - kIconToText - frame.size.width : icon.maxX() + kIconToText;
    label->setFrame(frame);
  };
  place(textLabel());
  place(detailTextLabel());
}

}  // namespace tasklane
