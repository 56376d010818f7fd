#include "kestrel/views/UIView+KestrelUI.h"

#include <vector>

namespace tasklane {

void applyToViewTree(const std::shared_ptr<UIView>& view,
                     const std::function<KUIViewVisit(const std::shared_ptr<UIView>&)>& visitor) {
  std::vector<std::shared_ptr<UIView>> next;
  if (view) next.push_back(view);
  while (!next.empty()) {
    const auto visited = std::move(next.back());
    next.pop_back();
    const auto answer = visitor(visited);
    if (answer == KUIViewVisit::Stop) return;
    if (answer == KUIViewVisit::EnterSubviews)
      next.insert(next.end(), visited->subviews().rbegin(), visited->subviews().rend());
  }
}

}  // namespace tasklane
