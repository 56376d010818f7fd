#include "delivery/caldav/CalendarDelivery.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "delivery/TaskTexts.h"
#include "delivery/caldav/CalendarAttachments.h"

namespace tasklane {

namespace {

using Kind = DeliveryOutcome::Kind;

/// How often a task that somebody else changes at the same time is read anew.
constexpr int kMostAttempts = 5;
/// After so many failures of the network or the server in turn the rest waits.
constexpr int kMostFailures = 8;

WebDAVRequest storing(const std::string& address, const std::string& text,
                      const std::string& condition) {
  return {"PUT", address, {"Content-Type: text/calendar; charset=utf-8", condition}, text};
}

bool isNew(const DeliveryAction& action) { return action.type == TLXExternalActionType::New; }

std::string listOfTask(const std::string& address) {
  return address.substr(0, address.rfind('/') + 1);
}

}  // namespace

struct CalendarDelivery::NewTask {
  std::size_t index = 0;
  CalendarTarget target;
  std::string address;
  std::string text = {};
  bool filesStayHere = false;
  bool isToBeStored = true;
  bool isToBeCompared = false;
};

/// What the actions of one task make of it.
struct CalendarDelivery::Change {
  std::vector<std::size_t> indices;
  std::string address;
  std::string etag = {};
  std::string text = {};
  std::vector<DeliveryOutcome> outcomes = {};  // once it is stored
  std::vector<CalendarChange::Next> nextOccurrences = {};
  bool isChanged = false;
  bool isEnded = false;
};

CalendarDelivery::CalendarDelivery(CalendarAccount& account, WebDAVClient& client,
                                   const std::vector<DeliveryAction>& actions,
                                   const Progress& progress)
    : account_(account),
      client_(client),
      actions_(actions),
      progress_(progress),
      outcomes_(actions.size()) {}

void CalendarDelivery::end(std::size_t index, DeliveryOutcome outcome) {
  if (!outcomes_[index]) progress_(++done_);
  outcomes_[index] = std::move(outcome);
}

bool CalendarDelivery::hasChanges() const {
  return std::any_of(actions_.begin(), actions_.end(),
                     [](const auto& action) { return !isNew(action); });
}

std::vector<DeliveryOutcome> CalendarDelivery::outcomes(const std::string& reason) {
  std::vector<DeliveryOutcome> all;
  for (auto& outcome : outcomes_)
    all.push_back(outcome ? std::move(*outcome)
                          : DeliveryOutcome{Kind::Later, problem_.empty() ? reason : problem_});
  return all;
}

DeliveryOutcome CalendarDelivery::failure(const WebDAVResponse& response) {
  const std::string status = " (status " + std::to_string(response.status) + ")";
  const auto forAll = [this](std::string sentence) {
    problem_ = std::move(sentence);
    return DeliveryOutcome{Kind::Later, problem_};
  };
  switch (response.status) {
    case 401:
      return forAll(errorOfResponse(response).description);
    case 403:
      return {Kind::Refused, "the server does not allow it at " + response.address + status};
    case 404:
    case 409:
    case 410:
      return {Kind::Later, "the list " + listOfTask(response.address) +
                               " is not on the server any more; `tasklane connect` shows those "
                               "that are"};
    case 413:
      return {Kind::Refused, "the task is larger than the server takes" + status};
    case 429:
    case 503:
      retryAfter_ = response.retryAfter;
      return forAll("the server is busy and asks to be tried again later" + status);
    case 507:
      return forAll("the server has no room for more" + status);
    default:
      break;
  }
  const bool isRefusal = response.status >= 400 && response.status < 500 &&
                         response.status != 408 && response.status != 423;
  if (isRefusal) return {Kind::Refused, "the server does not take the task" + status};
  const std::string sentence = errorOfResponse(response).description;
  if (++failuresInTurn_ >= kMostFailures) return forAll(sentence);
  return {Kind::Later, sentence};
}

void CalendarDelivery::storeNewTasks(
    const std::function<CalendarTarget(const DeliveryAction&)>& targetOf) {
  const auto known = account_.addressesOfTasks();
  std::vector<NewTask> tasks;
  for (std::size_t i = 0; i < actions_.size(); ++i) {
    if (!isNew(actions_[i])) continue;
    if (const auto there = known.find(actions_[i].uuid); there != known.end()) {
      end(i, {Kind::Delivered, there->second, true});
    } else if (!isPlainIdentifier(actions_[i].uuid)) {
      end(i, {Kind::Refused,
              "its identifier \"" + actions_[i].uuid + "\" cannot be a name on a calendar server"});
    } else {
      NewTask task{i, targetOf(actions_[i]), {}};
      task.address = task.target.list.address + actions_[i].uuid + ".ics";
      tasks.push_back(std::move(task));
    }
  }
  store(tasks);
  compareWithOurs(tasks);
  // Without a word the server had a smaller limit.
  std::erase_if(tasks, [](const auto& task) { return !task.filesStayHere; });
  store(tasks);
  compareWithOurs(tasks);
}

void CalendarDelivery::store(std::vector<NewTask>& tasks) {
  if (isStopped()) return;
  std::vector<NewTask*> ready;
  for (auto& task : tasks)
    if (task.isToBeStored) ready.push_back(&task);
  const auto request = [&](std::size_t i) {
    NewTask& task = *ready[i];
    const auto& action = actions_[task.index];
    const auto room = task.filesStayHere ? 0 : roomForFiles(task.target.list, action);
    const auto files = calendarAttachments(action, room);
    if (!files) {
      end(task.index, {Kind::Later, files.error().description});
      return WebDAVRequest{};
    }
    task.text = calendarOfNewTask(action, files.value(), task.target.category);
    return storing(task.address, task.text, "If-None-Match: *");
  };
  client_.sendAll(ready.size(), request, [&](std::size_t i, const WebDAVResponse& response) {
    ready[i]->isToBeStored = false;
    const auto next = answerOfStoring(*ready[i], response);
    ready[i]->text.clear();
    return next;
  });
}

CalendarDelivery::Next CalendarDelivery::answerOfStoring(NewTask& task,
                                                         const WebDAVResponse& response) {
  const auto& action = actions_[task.index];
  if (outcomes_[task.index]) return next();  // its files could not be read
  if (response.isSuccess()) {
    failuresInTurn_ = 0;
    account_.noteTask(task.address, response.etag, task.text);
    end(task.index, {Kind::Delivered, task.address});
  } else if (response.status == 412) {
    task.isToBeCompared = true;
  } else if (client_.namesCondition(response, "no-uid-conflict")) {
    end(task.index, {Kind::Delivered, "under another name in " + task.target.list.address, true});
  } else if (response.status == 413 && !action.attachments.empty() && !task.filesStayHere) {
    task.filesStayHere = task.isToBeStored = true;
  } else {
    end(task.index, failure(response));
  }
  return next();
}

/// What is there under a new task's name was put there by a delivery that was cut off, or is
/// somebody else's.
void CalendarDelivery::compareWithOurs(std::vector<NewTask>& tasks) {
  if (isStopped()) return;
  std::vector<NewTask*> ready;
  for (auto& task : tasks)
    if (std::exchange(task.isToBeCompared, false)) ready.push_back(&task);
  client_.sendAll(
      ready.size(),
      [&](std::size_t i) {
        return WebDAVRequest{"GET", ready[i]->address, {}, {}};
      },
      [&](std::size_t i, const WebDAVResponse& response) {
        const NewTask& task = *ready[i];
        if (response.status == 404) {
          end(task.index, {Kind::Later, "it was taken out of the list a moment ago"});
        } else if (!response.isSuccess()) {
          end(task.index, failure(response));
        } else if (uidOfCalendar(response.body) == actions_[task.index].uuid) {
          account_.noteTask(task.address, response.etag, response.body);
          end(task.index, {Kind::Delivered, task.address, true});
        } else {
          end(task.index, {Kind::Refused, "something else is at " + task.address});
        }
        return next();
      });
}

void CalendarDelivery::changeTasks(const CalendarValues& values) {
  const auto known = account_.addressesOfTasks();
  std::vector<Change> changes;
  std::unordered_map<std::string, std::size_t> changeOfTask;
  for (std::size_t i = 0; i < actions_.size(); ++i) {
    const auto& uuid = actions_[i].uuid;
    if (isNew(actions_[i])) continue;
    const auto address = known.find(uuid);
    if (address == known.end()) {
      end(i, {Kind::Refused, "the task is not in the server's lists any more"});
      continue;
    }
    const auto [place, isFirst] = changeOfTask.emplace(uuid, changes.size());
    if (isFirst) changes.push_back({{}, address->second});
    changes[place->second].indices.push_back(i);
  }
  for (int attempt = 0; attempt < kMostAttempts && !isStopped() && !changes.empty(); ++attempt) {
    read(changes);
    for (auto& change : changes)
      if (!change.isEnded && !change.text.empty()) apply(change, values);
    storeNextOccurrences(changes);
    storeChanged(changes);
    std::erase_if(changes, [](const auto& change) { return change.isEnded; });
  }
  if (isStopped()) return;
  for (auto& change : changes)
    end(change, {Kind::Later, "another program keeps changing the task " + change.address});
}

void CalendarDelivery::end(Change& change, const DeliveryOutcome& outcome) {
  for (const std::size_t index : change.indices) end(index, outcome);
  change.isEnded = true;
}

void CalendarDelivery::read(std::vector<Change>& changes) {
  client_.sendAll(
      changes.size(),
      [&](std::size_t i) {
        return WebDAVRequest{"GET", changes[i].address, {}, {}};
      },
      [&](std::size_t i, const WebDAVResponse& response) {
        Change& change = changes[i];
        if (response.isSuccess()) {
          change.text = response.body;
          change.etag = response.etag;
        } else if (response.status == 404 || response.status == 410) {
          account_.noteWithoutTask(change.address);
          end(change, {Kind::Refused, "the task is not in the server's lists any more"});
        } else {
          end(change, failure(response));
        }
        return next();
      });
}

void CalendarDelivery::apply(Change& change, const CalendarValues& values) {
  change.outcomes.clear();
  change.nextOccurrences.clear();
  change.isChanged = false;
  for (const std::size_t index : change.indices) {
    auto changed = changedCalendar(change.text, actions_[index], values);
    if (!changed)
      return end(change, {Kind::Refused, changed.error().description + " in " + change.address});
    change.text = std::move(changed.value().text);
    change.isChanged |= !changed.value().isRepetition;
    change.outcomes.push_back({Kind::Delivered, change.address, changed.value().isRepetition});
    if (changed.value().next) change.nextOccurrences.push_back(std::move(*changed.value().next));
  }
  if (!change.isChanged) endAsApplied(change);
}

void CalendarDelivery::endAsApplied(Change& change) {
  for (std::size_t k = 0; k < change.indices.size(); ++k)
    end(change.indices[k], std::move(change.outcomes[k]));
  change.isEnded = true;
}

/// Before the tasks themselves, so that none is lost in between.
void CalendarDelivery::storeNextOccurrences(std::vector<Change>& changes) {
  if (isStopped()) return;
  std::vector<std::pair<Change*, const CalendarChange::Next*>> all;
  for (auto& change : changes)
    if (!change.isEnded)
      for (const auto& occurrence : change.nextOccurrences) all.emplace_back(&change, &occurrence);
  client_.sendAll(
      all.size(),
      [&](std::size_t i) {
        const auto& [change, occurrence] = all[i];
        return storing(listOfTask(change->address) + occurrence->uid + ".ics", occurrence->text,
                       "If-None-Match: *");
      },
      [&](std::size_t i, const WebDAVResponse& response) {
        Change& change = *all[i].first;
        const bool isThere = response.isSuccess() || response.status == 412 ||
                             client_.namesCondition(response, "no-uid-conflict");
        if (!isThere && !change.isEnded) end(change, failure(response));
        return next();
      });
}

void CalendarDelivery::storeChanged(std::vector<Change>& changes) {
  if (isStopped()) return;
  std::vector<Change*> ready;
  for (auto& change : changes)
    if (!change.isEnded && !change.text.empty()) ready.push_back(&change);
  client_.sendAll(
      ready.size(),
      [&](std::size_t i) {
        const Change& change = *ready[i];
        return storing(change.address, change.text,
                       "If-Match: " + (change.etag.empty() ? "*" : change.etag));
      },
      [&](std::size_t i, const WebDAVResponse& response) {
        Change& change = *ready[i];
        if (response.status == 412) return next();  // read again
        if (response.isSuccess()) {
          failuresInTurn_ = 0;
          account_.noteTask(change.address, response.etag, change.text);
          endAsApplied(change);
        } else {
          end(change, failure(response));
        }
        return next();
      });
}

}  // namespace tasklane
