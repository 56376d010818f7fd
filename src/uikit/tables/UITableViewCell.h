#pragma once

#include <memory>
#include <string>

#include "uikit/controls/UIImageView.h"
#include "uikit/controls/UILabel.h"
#include "uikit/views/UIView.h"

namespace tasklane {

enum class UITableViewCellStyle { Default = 0, Value1 = 1, Value2 = 2, Subtitle = 3 };
enum class UITableViewCellSelectionStyle { None = 0, Blue = 1, Gray = 2, Default = 3 };
/// The sign at a row's trailing edge.
enum class UITableViewCellAccessoryType {
  None = 0,
  DisclosureIndicator = 1,
  DetailDisclosureButton = 2,
  Checkmark = 3,
  DetailButton = 4
};

/// One row of a table: an image, a title and a detail text placed by style, and an accessory.
/// Value1 shows the detail at the trailing edge in the secondary colour, Value2 beside the title,
/// Subtitle beneath it. Everything is laid out by reading direction.
class UITableViewCell : public UIView {
 public:
  UITableViewCell(UITableViewCellStyle style, const std::string& reuseIdentifier);

  UITableViewCellStyle style() const { return style_; }
  const std::string& reuseIdentifier() const { return reuseIdentifier_; }
  /// Runs just before the table hands the cell out again; resets nothing of the content.
  virtual void prepareForReuse();

  const std::shared_ptr<UIView>& contentView() const { return contentView_; }
  const std::shared_ptr<UILabel>& textLabel() const { return textLabel_; }
  /// Null in the default style.
  const std::shared_ptr<UILabel>& detailTextLabel() const { return detailTextLabel_; }
  const std::shared_ptr<UIImageView>& imageView() const { return imageView_; }

  UITableViewCellAccessoryType accessoryType() const { return accessoryType_; }
  virtual void setAccessoryType(UITableViewCellAccessoryType type);
  /// Shown in place of the accessory type's own view.
  const std::shared_ptr<UIView>& accessoryView() const { return accessoryView_; }
  void setAccessoryView(const std::shared_ptr<UIView>& view);
  UITableViewCellSelectionStyle selectionStyle() const { return selectionStyle_; }
  void setSelectionStyle(UITableViewCellSelectionStyle style);
  /// Behind the content while the row is pressed or selected; none is a plain grey.
  const std::shared_ptr<UIView>& selectedBackgroundView() const { return selectedBackgroundView_; }
  void setSelectedBackgroundView(const std::shared_ptr<UIView>& view);
  bool isSelected() const { return selected_; }
  virtual void setSelected(bool selected, bool animated);
  bool isHighlighted() const { return highlighted_; }
  virtual void setHighlighted(bool highlighted, bool animated);
  /// Whether the keyboard is on this row; shown by a bar in the tint colour.
  bool isFocused() const { return focusView_ != nullptr; }
  void setFocused(bool focused);
  /// Where the hairline under the row begins (left and right by a left-to-right reading); until it
  /// is set, where the text begins.
  UIEdgeInsets separatorInset() const;
  void setSeparatorInset(UIEdgeInsets inset);

  void layoutSubviews() override;
  CGSize sizeThatFits(CGSize size) override;
  /// At least 44 points high; as high as the texts need at the target's width, where it has one,
  /// else at the present width.
  CGSize systemLayoutSizeFittingSize(CGSize targetSize) override;
  /// The label that was set, else the title; the value that was set, else the detail of a Value
  /// style.
  std::optional<std::string> accessibilityLabel() const override;
  std::optional<std::string> accessibilityValue() const override;

 private:
  friend class UITableView;
  class ContentView;
  struct TextSizes;
  void setSeparator(const std::optional<UIColor>& color);
  void placeSeparator();
  void updateBackground(bool animated);
  const std::shared_ptr<UIView>& accessory() const;
  bool isLeftToRight() const;
  CGFloat widthOfAccessory() const;
  CGFloat leadingOfTexts() const;
  TextSizes sizesOfTexts(CGFloat room) const;
  CGFloat heightForWidth(CGFloat width) const;
  void placeAccessory();
  void placeTexts();
  void place(UIView& view, CGFloat leading, CGFloat y, CGFloat width, CGFloat height);

  UITableViewCellStyle style_;
  std::string reuseIdentifier_;
  std::shared_ptr<UIView> contentView_, accessoryView_, standardAccessory_, selectedBackgroundView_;
  std::shared_ptr<UIView> shownBackground_, focusView_, separator_;
  std::shared_ptr<UILabel> textLabel_, detailTextLabel_;
  std::shared_ptr<UIImageView> imageView_;
  std::optional<UIEdgeInsets> separatorInset_;
  UITableViewCellAccessoryType accessoryType_ = UITableViewCellAccessoryType::None;
  UITableViewCellSelectionStyle selectionStyle_ = UITableViewCellSelectionStyle::Default;
  bool selected_ = false, highlighted_ = false;
};

/// The view above or below a section, with one label.
class UITableViewHeaderFooterView : public UIView {
 public:
  explicit UITableViewHeaderFooterView(const std::string& reuseIdentifier = {});
  const std::shared_ptr<UILabel>& textLabel() const { return textLabel_; }
  void layoutSubviews() override;
  CGSize sizeThatFits(CGSize size) override;

 private:
  std::string reuseIdentifier_;
  std::shared_ptr<UILabel> textLabel_;
};

/// A cell of a grid. Only its place in the class tree is needed here.
class UICollectionViewCell : public UIView {
 public:
  using UIView::UIView;
};

}  // namespace tasklane
