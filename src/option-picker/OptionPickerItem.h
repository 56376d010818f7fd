#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/NSObject.h"
#include "foundation/TargetAction.h"
#include "uikit/UIImage.h"

namespace tasklane {

class OptionPickerController;
class OptionPickerGroup;
class OptionPickerItem;
class OptionPickerItems;

/// An ordered, immutable list of choices. "The very same list" is identity of this pointer.
using OptionPickerItemList = std::shared_ptr<const OptionPickerItems>;

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

  /// The picker that shows this item now, or none; the owning group says so.
  std::shared_ptr<OptionPickerController> optionPicker() const;

  /// Grows whenever any item's title changes, so that whoever keeps something made of titles (a
  /// search index) knows when it is stale.
  static std::uint64_t titleGeneration();

 private:
  friend class OptionPickerGroup;
  friend class OptionPickerItems;
  struct Membership;

  std::optional<std::string> title_, detailText_;
  std::shared_ptr<UIImage> image_;
  std::shared_ptr<NSObject> representedObject_;
  std::int64_t tag_ = 0;
  bool enabled_ = true;
  TargetAction<OptionPickerItem> targetAction_;
  std::shared_ptr<Membership> membership_;
  std::uint32_t indexInPool_ = 0;
};

/// The list itself: items in display order, or a part of another list in that list's order. A part
/// shares the whole's items and costs four bytes a row, so that a search over 100,000 rows makes
/// its result at once. A list may make its items only when they are asked for, so that one of
/// 10,000 opens as fast as one of 20.
class OptionPickerItems {
 public:
  using Maker = std::function<std::shared_ptr<OptionPickerItem>(std::size_t position)>;
  using TitleOf = std::function<std::optional<std::string_view>(std::size_t position)>;

  explicit OptionPickerItems(std::vector<std::shared_ptr<OptionPickerItem>> items = {});
  /// Items that are made at first use, each once. The titles can be asked for without making items;
  /// they must be those that the items are made with, and the text must stay where it is.
  OptionPickerItems(std::size_t count, Maker make, TitleOf titleOf);
  /// The items of a list at the given positions, ascending.
  static OptionPickerItemList part(const OptionPickerItemList& of,
                                   const std::vector<std::size_t>& positions);
  static OptionPickerItemList make(std::vector<std::shared_ptr<OptionPickerItem>> items);

  std::size_t size() const;
  bool empty() const { return size() == 0; }
  /// Beyond the end is a range error (std::out_of_range).
  const std::shared_ptr<OptionPickerItem>& at(std::size_t position) const;
  std::optional<std::string_view> titleAt(std::size_t position) const;

 private:
  friend class OptionPickerGroup;
  struct Pool;

  std::size_t indexInPool(std::size_t position) const {
    return part_ ? indices_.at(position) : position;
  }

  std::shared_ptr<Pool> pool_;
  std::vector<std::uint32_t> indices_;
  bool part_ = false;
};

}  // namespace tasklane
