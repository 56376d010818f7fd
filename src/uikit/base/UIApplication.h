#pragma once

namespace tasklane {

/// Posted (by the backend, any sender) when the program is about to become inactive.
inline constexpr const char* UIApplicationWillResignActiveNotification =
    "UIApplicationWillResignActiveNotification";

}  // namespace tasklane
