#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/base/NSObject.h"
#include "foundation/base/TargetAction.h"
#include "uikit/drawing/UIImage.h"

namespace tasklane {

class OptionPickerController;
class OptionPickerGroup;
class OptionPickerItem;

/// Choices in display order, immutable; "the very same list" is identity of this pointer.
using OptionPickerItemList = std::shared_ptr<const std::vector<std::shared_ptr<OptionPickerItem>>>;

/// One choice of a picker: a row. Main thread.
class OptionPickerItem : public NSObject {
 public:
  explicit OptionPickerItem(std::optional<std::string> title);

  /// One item per title, in their order, with the detail text and image of the same index where
  /// those lists are given. A given list that is shorter than the titles is a range error
  /// (std::out_of_range).
  static OptionPickerItemList optionPickerItemsWithTitles(
      const std::vector<std::string>& titles, const std::vector<std::string>* detailText = nullptr,
      const std::vector<std::shared_ptr<UIImage>>* images = nullptr);

  /// A new item with the same title, detail text, image, represented object, tag and enabled;
  /// without target, action and picker, which belong to the original alone.
  std::shared_ptr<OptionPickerItem> copy() const;

  /// The row's text, its accessibility label, and what a search matches.
  const std::optional<std::string>& title() const { return title_; }
  void setTitle(std::optional<std::string> title);
  const std::optional<std::string>& detailText() const { return detailText_; }
  void setDetailText(std::optional<std::string> detailText);
  /// Stored as a template image, whatever it was: rows draw it in their tint.
  const std::shared_ptr<UIImage>& image() const { return image_; }
  void setImage(const std::shared_ptr<UIImage>& image);
  /// The caller's value behind the choice; by it (isEqual) a selection survives a change of the
  /// list.
  const std::shared_ptr<NSObject>& representedObject() const { return representedObject_; }
  void setRepresentedObject(const std::shared_ptr<NSObject>& object) {
    representedObject_ = object;
  }
  std::int64_t tag() const { return tag_; }
  void setTag(std::int64_t tag) { tag_ = tag; }
  bool isEnabled() const { return enabled_; }
  void setEnabled(bool enabled) { enabled_ = enabled; }

  std::shared_ptr<NSObject> target() const { return targetAction_.target(); }
  void setTarget(const std::shared_ptr<NSObject>& target) { targetAction_.setTarget(target); }
  const Action<OptionPickerItem>& action() const { return targetAction_.action(); }
  void setAction(Action<OptionPickerItem> action) { targetAction_.setAction(std::move(action)); }
  void performAction() { targetAction_.perform(*this); }

  /// The picker that shows this item now, or none. The group that holds the item says so: of
  /// several groups with the same item the one whose items were set or replaced last.
  std::shared_ptr<OptionPickerController> optionPicker() const { return optionPicker_.lock(); }

  /// Grows whenever any item's title changes, so that whoever keeps something made of titles (a
  /// search index) knows when it is stale.
  static std::uint64_t titleGeneration();

 private:
  friend class OptionPickerGroup;

  std::optional<std::string> title_, detailText_;
  std::shared_ptr<UIImage> image_;
  std::shared_ptr<NSObject> representedObject_;
  std::int64_t tag_ = 0;
  bool enabled_ = true;
  TargetAction<OptionPickerItem> targetAction_;
  std::weak_ptr<OptionPickerController> optionPicker_;
};

}  // namespace tasklane
