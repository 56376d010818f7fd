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
  if (!imageView()->image()) return;

  // Right to left the column stands at the other side, and the labels end where they would begin.
  const bool mirrored =
      effectiveUserInterfaceLayoutDirection() == UIUserInterfaceLayoutDirection::RightToLeft;
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
