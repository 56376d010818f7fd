#pragma once

#include <memory>
#include <string>

namespace tasklane {

/// Root of every object with identity: views, controllers, presenters, records. Such objects are
/// held by std::shared_ptr and made with std::make_shared or a static make…; never on the stack.
class NSObject : public std::enable_shared_from_this<NSObject> {
 public:
  NSObject() = default;
  NSObject(const NSObject&) = delete;
  NSObject& operator=(const NSObject&) = delete;
  virtual ~NSObject() = default;

  /// The name of the object's own (most derived) class without its namespaces, for example
  /// "TLXDarwinNotifier". Inside a constructor it is the name of the class under construction.
  std::string className() const;

  /// Equality of value, for objects that stand for one; identity unless a class says more.
  virtual bool isEqual(const NSObject* other) const { return this == other; }

  /// One line for a person who reads a log: "<ClassName: 0x…>" unless a class says more.
  virtual std::string description() const;
};

/// The object itself as the class asked for, or nothing when it is not of that class.
template <class T>
std::shared_ptr<T> sharedFrom(T* object) {
  return object ? std::dynamic_pointer_cast<T>(object->shared_from_this()) : nullptr;
}

}  // namespace tasklane
