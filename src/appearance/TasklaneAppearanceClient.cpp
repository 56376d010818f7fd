#include "appearance/TasklaneAppearanceClient.h"

#include <typeindex>
#include <typeinfo>
#include <unordered_map>

#include "appearance/UIViewController+TasklaneAppearanceClient.h"

namespace tasklane {

namespace {

using Clients = TasklaneAppearanceClient::Clients;

enum class Kind { Other, Client, View, Controller, NavigationController, Popover };

Kind platformKindOf(const NSObject& object) {
  if (dynamic_cast<const UIView*>(&object)) return Kind::View;
  if (dynamic_cast<const UINavigationController*>(&object)) return Kind::NavigationController;
  if (dynamic_cast<const UIViewController*>(&object)) return Kind::Controller;
  if (dynamic_cast<const UIPopoverPresentationController*>(&object)) return Kind::Popover;
  return Kind::Other;
}

/// Asked for every object of every walk: the casts are made once for each class, and neighbours in
/// a tree are often of one class.
Kind kindOf(const NSObject& object) {
  static std::unordered_map<std::type_index, Kind> kinds;
  static const std::type_info* lastType = nullptr;
  static Kind lastKind = Kind::Other;
  if (lastType && *lastType == typeid(object)) return lastKind;
  const auto [entry, isNew] = kinds.try_emplace(typeid(object));
  if (isNew)
    entry->second = dynamic_cast<const TasklaneAppearanceClient*>(&object) ? Kind::Client
                                                                           : platformKindOf(object);
  lastType = &typeid(object);
  lastKind = entry->second;
  return lastKind;
}

void appendPlatformChildren(NSObject& object, Kind kind, Clients& children) {
  if (kind == Kind::View) {
    const auto& subviews = static_cast<UIView&>(object).subviews();
    children.insert(children.end(), subviews.begin(), subviews.end());
  } else if (kind == Kind::Controller || kind == Kind::NavigationController) {
    auto& controller = static_cast<UIViewController&>(object);
    const auto& childControllers = controller.childViewControllers();
    children.insert(children.end(), childControllers.begin(), childControllers.end());
    const auto& presented = controller.presentedViewController();
    if (presented && presented->presentingViewController().get() == &controller)
      children.push_back(presented);
  }
}

void appendChildren(NSObject& object, Clients& children) {
  const Kind kind = kindOf(object);
  if (kind != Kind::Client) return appendPlatformChildren(object, kind, children);
  const auto own = dynamic_cast<TasklaneAppearanceClient&>(object).tasklaneAppearanceChildClients();
  children.insert(children.end(), own.begin(), own.end());
}

void platformDidChange(NSObject& object, Kind kind,
                       const std::shared_ptr<TasklaneAppearance>& appearance) {
  switch (kind) {
    case Kind::Controller:
      tasklaneAppearanceUpdateScrollViewIndicatorStyle(static_cast<UIViewController&>(object));
      break;
    case Kind::NavigationController:
      tasklaneAppearanceUpdateScrollViewIndicatorStyle(static_cast<UIViewController&>(object));
      tasklaneAppearanceUpdateBarStyleForCurrentNavigationStack(
          static_cast<UINavigationController&>(object));
      break;
    case Kind::Popover:
      tasklaneAppearanceDidChangeForPopover(static_cast<UIPopoverPresentationController&>(object),
                                            appearance);
      break;
    case Kind::Other:
    case Kind::Client:
    case Kind::View:
      break;
  }
}

}  // namespace

Clients TasklaneAppearanceClient::tasklaneAppearanceChildClients() {
  Clients children;
  auto& object = dynamic_cast<NSObject&>(*this);
  appendPlatformChildren(object, platformKindOf(object), children);
  return children;
}

void TasklaneAppearanceClient::tasklaneAppearanceDidChange(
    const std::shared_ptr<TasklaneAppearance>& appearance) {
  auto& object = dynamic_cast<NSObject&>(*this);
  platformDidChange(object, platformKindOf(object), appearance);
}

std::shared_ptr<TasklaneAppearance> customTasklaneAppearance(UIViewController& controller) {
  auto* vendor = dynamic_cast<TasklaneCustomAppearanceVendor*>(&controller);
  return vendor ? vendor->customTasklaneAppearance() : nullptr;
}

void tasklaneAppearanceDidChangeWithNotification(const std::shared_ptr<NSObject>& client,
                                                 const NSNotification& notification) {
  notifyChildrenThatAppearanceDidChange(
      client, std::dynamic_pointer_cast<TasklaneAppearance>(notification.object));
}

void notifyChildrenThatAppearanceDidChange(const std::shared_ptr<NSObject>& client,
                                           const std::shared_ptr<TasklaneAppearance>& appearance) {
  Clients waiting{client};
  while (!waiting.empty()) {
    const auto next = std::move(waiting.back());
    waiting.pop_back();
    if (!next) continue;
    tasklaneAppearanceDidChange(*next, appearance);
    appendChildren(*next, waiting);
  }
}

Clients tasklaneAppearanceChildClients(NSObject& client) {
  Clients children;
  appendChildren(client, children);
  return children;
}

void tasklaneAppearanceDidChange(NSObject& client,
                                 const std::shared_ptr<TasklaneAppearance>& appearance) {
  const Kind kind = kindOf(client);
  if (kind == Kind::Client)
    dynamic_cast<TasklaneAppearanceClient&>(client).tasklaneAppearanceDidChange(appearance);
  else
    platformDidChange(client, kind, appearance);
}

}  // namespace tasklane
