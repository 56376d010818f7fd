#include <algorithm>
#include <map>
#include <set>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "delivery/ItemTree.h"
#include "delivery/vtodo/CalendarTasks.h"
#include "foundation/dates/NSCalendar.h"

namespace tasklane {

namespace {

/// The tasks that are published, those of all lists.
class Publication {
 public:
  void add(ListOfTasks& list) {
    std::vector<CalendarTask*> sorted;
    for (auto& task : list.tasks) sorted.push_back(&task);
    std::stable_sort(sorted.begin(), sorted.end(), [](const auto* one, const auto* other) {
      return std::tie(one->created, one->uid) < std::tie(other->created, other->uid);
    });
    for (auto* const task : sorted) {
      contexts_.insert(task->categories.begin(), task->categories.end());
      if (task->isCancelled || !isOfToday(*task) || !uids_.insert(task->uid).second) continue;
      task->item->setSubtitle(list.list.title);
      task->item->setInboxItem(list.isInbox);
      for (const auto& child : task->children) parents_.emplace(child, task->uid);
      if (!task->item->isCompleted()) open_.insert(task->uid);
      tasks_.push_back(std::move(*task));
    }
  }

  ListContents contents() const {
    ListContents contents;
    ItemTree tree;
    for (const auto& task : tasks_) {
      const auto named = parents_.find(task.uid);
      const bool isNamed = task.parent.empty() && named != parents_.end();
      const std::string& parent = isNamed ? named->second : task.parent;
      if (uids_.contains(parent)) task.item->setInboxItem(false);
      const bool isBlocked = std::any_of(task.blockers.begin(), task.blockers.end(),
                                         [&](const auto& uid) { return open_.contains(uid); });
      if (isBlocked) {
        task.item->setBlocked(true);
        task.item->setOnlyBlockedByDeferDate(false);
      }
      tree.add(task.item, task.uid, parent);
    }
    contents.items = tree.topLevel();
    for (const auto& context : contexts_)
      contents.contexts.push_back({context, context, std::nullopt});
    return contents;
  }

 private:
  static bool isOfToday(const CalendarTask& task) {
    if (!task.item->isCompleted()) return true;
    return task.completed &&
           NSCalendar::autoupdatingCurrentCalendar().isDateInToday(*task.completed);
  }

  std::vector<CalendarTask> tasks_;
  std::set<std::string> contexts_;
  std::unordered_set<std::string> uids_, open_;
  std::unordered_map<std::string, std::string> parents_;  // by the child, as its parent tells
};

}  // namespace

ListContents contentsOfLists(std::vector<ListOfTasks> lists) {
  Publication publication;
  std::vector<ListContainer> projects;
  for (auto& list : lists) {
    publication.add(list);
    projects.push_back(std::move(list.list));
  }
  ListContents contents = publication.contents();
  contents.projects = std::move(projects);
  return contents;
}

}  // namespace tasklane
