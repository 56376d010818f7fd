#pragma once

#include <memory>
#include <vector>

#include "appearance/TasklaneAppearance.h"
#include "foundation/events/NSNotificationCenter.h"

namespace tasklane {

/// What hears of a change of the appearance: every object does, by the free functions below. A
/// class that reacts in its own way, or has other children, derives from this interface, which
/// answers for it first; to call the interface's own operation is to get the platform class's
/// behaviour. Main thread.
class TasklaneAppearanceClient {
 public:
  using Clients = std::vector<std::shared_ptr<NSObject>>;

  virtual ~TasklaneAppearanceClient() = default;
  /// The direct children, in order.
  virtual Clients tasklaneAppearanceChildClients();
  /// This one object's reaction.
  virtual void tasklaneAppearanceDidChange(const std::shared_ptr<TasklaneAppearance>& appearance);
};

/// A controller that is styled by an appearance of its own, and not by the current palette, while
/// it answers one.
class TasklaneCustomAppearanceVendor {
 public:
  virtual ~TasklaneCustomAppearanceVendor() = default;
  virtual std::shared_ptr<TasklaneAppearance> customTasklaneAppearance() = 0;
};

/// What a controller vends; null for one that is no vendor.
std::shared_ptr<TasklaneAppearance> customTasklaneAppearance(UIViewController& controller);

/// For a KAAppearanceValuesDidChangeNotification: has the client and all below it follow the
/// notification's object.
void tasklaneAppearanceDidChangeWithNotification(const std::shared_ptr<NSObject>& client,
                                                 const NSNotification& notification);

/// Tells the client and all below it, every client before its children and siblings from the last
/// to the first. A client that is reached twice is told twice.
void notifyChildrenThatAppearanceDidChange(const std::shared_ptr<NSObject>& client,
                                           const std::shared_ptr<TasklaneAppearance>& appearance);

/// A view's subviews; a controller's child controllers and, behind them, the one that it presents
/// itself (never its view); nothing for any other object.
TasklaneAppearanceClient::Clients tasklaneAppearanceChildClients(NSObject& client);

/// A controller updates its scroll indicators, a navigation controller also its bar, a popover its
/// background; any other object does nothing.
void tasklaneAppearanceDidChange(NSObject& client,
                                 const std::shared_ptr<TasklaneAppearance>& appearance);

}  // namespace tasklane
