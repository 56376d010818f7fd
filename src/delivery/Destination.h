#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/base/NSError.h"
#include "foundation/property-lists/PropertyList.h"
#include "shared-store/TLXExternalAction.h"
#include "shared-store/TLXExternalItem.h"

namespace tasklane {

/// A project or a context of a person's list: the identifier that the list knows it by, the name
/// that people see, and where it sits.
struct ListContainer {
  std::string id;
  std::string title;
  std::optional<std::string> path;
};

/// One action out of the queue, as a destination carries it out.
struct DeliveryAction {
  TLXExternalActionType type = TLXExternalActionType::Unknown;
  /// Of the new task, or of the published item that the action is about, letter for letter.
  std::string uuid;

  // Of a new task.
  std::string title;
  std::string notes;
  std::optional<ListContainer> project;
  std::optional<ListContainer> context;
  /// Whole paths of the files to go with it; all of them are there.
  std::vector<std::string> attachments;
  /// The names of those that are not, by somebody else's doing.
  std::vector<std::string> missingAttachments;
  /// When it was asked for: the creation date of a new task, the completion date of a completed
  /// one.
  NSDate moment;

  /// The published item as it was when the person acted on it; none for a new task, and for actions
  /// that were queued with the uuid alone.
  std::shared_ptr<const TLXExternalItem> item;
};

/// How one action ended.
struct DeliveryOutcome {
  enum class Kind {
    Delivered,  ///< it is in the list, durably; also when it was there already
    Refused,    ///< and will be every time: a person has to look
    Later       ///< the list could not be reached, or not be written, for now
  };
  Kind kind = Kind::Later;
  /// Where the task lies now, for a receipt ("/home/a/todo.txt, line 12", an address); else one
  /// plain sentence why not.
  std::string text;
  /// Delivered, and the list was so already.
  bool isRepetition = false;
};

/// What a person's list holds, to be published.
struct ListContents {
  std::vector<ListContainer> projects;
  std::vector<ListContainer> contexts;
  /// Open tasks and those completed of late, in the list's order, children inside their parents.
  /// Each has a uuid: the one it was delivered with, or one that the list or its text gives it.
  TLXExternalItem::Items items;
  /// Equal stamps mean that nothing has changed since.
  std::string stamp;
};

/// When to look at a list again by oneself: when the descriptor is readable, which it is until
/// watch() is asked again, and at the latest after the pause.
struct ListWatch {
  /// The pause for a list that is not there for the moment.
  static constexpr std::chrono::seconds kUntilItIsBack{5};

  int fileDescriptor = -1;  ///< owned by the destination; -1 for none
  std::optional<std::chrono::seconds> pause;
};

/// One kind of list that people keep their tasks in. It knows nothing of the queue, of
/// notifications, or of other destinations.
///
/// Whatever it changes in the person's list is no more than what an action concerns; everything
/// else stays as it is, byte for byte where the list is a file. One thread.
class Destination {
 public:
  virtual ~Destination() = default;

  /// For a person: "the file /home/a/todo.txt", "the calendar server at https://…".
  virtual std::string description() const = 0;

  /// The lists that a new task can go to, as `connect` shows them; also proves that the list can be
  /// reached and used; a list that can be begun with nothing is begun.
  virtual Result<std::vector<ListContainer>> lists() = 0;

  /// What the settings have to say besides, by name, after lists(): a choice that was left to this
  /// and must not become another one by itself later.
  virtual std::map<std::string, std::string> choices() const { return {}; }

  /// Whether a program that has read the list may write it back later without what was delivered
  /// meanwhile, so that new tasks have to be looked after (see Deliverer).
  virtual bool canBeWrittenBack() const { return true; }

  /// Carries actions out, in their order, and answers how each ended, in the same order. What is
  /// Delivered is on the disk or the server for good. An action whose uuid the list has already
  /// carried out changes nothing and is Delivered again: any call may be the repetition of one that
  /// was cut off, or a look whether another program has overwritten it. The files of such an action
  /// may be gone when the list has them. An error of one does not hold up the others. The function
  /// is told now and then how many are done.
  using Progress = std::function<void(std::size_t done)>;
  virtual std::vector<DeliveryOutcome> carryOut(const std::vector<DeliveryAction>& actions,
                                                const Progress& progress) = 0;

  /// What would be lost or altered if the action were carried out here, one plain sentence each.
  virtual std::vector<std::string> losses(const DeliveryAction& action) const = 0;

  /// The stamp that contents() would have, without reading the list; none when only reading tells.
  virtual Result<std::optional<std::string>> stamp() = 0;
  virtual Result<ListContents> contents() = 0;

  virtual ListWatch watch() = 0;

  /// Which of new tasks that were delivered here the list has no trace of any more, neither open
  /// nor completed nor archived, by their uuids. For lists that other programs can overwrite
  /// without knowing of a task; elsewhere a task that is gone was removed by a person.
  virtual Result<std::vector<std::string>> missing(const std::vector<DeliveryAction>&) {
    return std::vector<std::string>();
  }

  /// Takes a delivered new task out of the list again, if it lies there unchanged: Delivered. Where
  /// it has been changed since, or is gone: Refused, saying so.
  virtual DeliveryOutcome takeBack(const DeliveryAction& action) = 0;
};

}  // namespace tasklane
