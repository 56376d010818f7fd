#include "delivery/ItemTree.h"

#include <utility>

namespace tasklane {

namespace {

void passFlagOn(const TLXExternalItem& parent) {
  if (!parent.children()) return;
  for (const auto& child : *parent.children()) {
    child->setParentFlagged(parent.isEffectivelyFlagged());
    passFlagOn(*child);
  }
}

}  // namespace

void ItemTree::add(std::shared_ptr<TLXExternalItem> item, const std::string& id,
                   const std::string& parentID) {
  if (!id.empty()) indexOfID_.emplace(id, items_.size());
  items_.push_back(std::move(item));
  parents_.push_back(parentID);
}

std::size_t ItemTree::parentOf(std::size_t index) const {
  const auto parent = parents_[index].empty() ? indexOfID_.end() : indexOfID_.find(parents_[index]);
  return parent == indexOfID_.end() ? kNone : parent->second;
}

/// Whether the way up from it ends.
bool ItemTree::hasPlace(std::size_t index) const {
  for (std::size_t steps = 0; steps < kDeepest; ++steps) {
    index = parentOf(index);
    if (index == kNone) return true;
  }
  return false;
}

TLXExternalItem::Items ItemTree::topLevel() const {
  TLXExternalItem::Items top;
  std::unordered_map<std::size_t, TLXExternalItem::Items> children;
  for (std::size_t i = 0; i < items_.size(); ++i) {
    const std::size_t parent = parentOf(i);
    const bool isInside = parent != kNone && hasPlace(i);
    (isInside ? children[parent] : top).push_back(items_[i]);
  }
  for (auto& [parent, below] : children) items_[parent]->setChildren(std::move(below));
  for (const auto& item : top) passFlagOn(*item);
  return top;
}

}  // namespace tasklane
