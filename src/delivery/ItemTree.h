#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "shared-store/TLXExternalItem.h"

namespace tasklane {

/// Items with the parents that they name, on their way into them. Main thread.
class ItemTree {
 public:
  /// An empty identifier is nobody's; of several items with one identifier the first has it.
  void add(std::shared_ptr<TLXExternalItem> item, const std::string& id,
           const std::string& parentID);

  /// In their order, each with its children, which know whether they are flagged through it. An
  /// item whose parent is not there stands by itself, and so does one that is inside itself or
  /// deeper than anybody nests tasks.
  TLXExternalItem::Items topLevel() const;

 private:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  static constexpr std::size_t kDeepest = 32;
  std::size_t parentOf(std::size_t index) const;
  bool hasPlace(std::size_t index) const;

  TLXExternalItem::Items items_;
  std::vector<std::string> parents_;
  std::unordered_map<std::string, std::size_t> indexOfID_;
};

}  // namespace tasklane
