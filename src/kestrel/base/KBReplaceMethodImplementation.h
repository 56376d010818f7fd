#pragma once

#include <functional>
#include <type_traits>
#include <utility>

namespace tasklane {

/// Puts a body in place of an operation of a platform class and answers the one that was there, for
/// the new body to call. The selector is the platform's own exchange for that operation, for
/// example &UIViewController::exchangeViewWillAppear.
template <class Body>
[[nodiscard]] Body KBReplaceMethodImplementationWithSelector(
    Body (*selector)(Body), std::type_identity_t<Body> replacement) {
  return selector(std::move(replacement));
}

}  // namespace tasklane
