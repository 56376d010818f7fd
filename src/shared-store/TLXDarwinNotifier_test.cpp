#include "shared-store/TLXDarwinNotifier.h"

#include <gtest/gtest.h>

#include "shared-store/SharedStoreTesting.h"

namespace tasklane {
namespace {

using ::tasklane::testing::scratchURL;

class OtherNotifier : public TLXDarwinNotifier {};

/// Counts what a listener under a name hears when notifiers post.
class Listener {
 public:
  explicit Listener(const std::string& identifier)
      : notifier(TLXDarwinNotifier::makeWithIdentifier(identifier, [this] { ++heard_; })) {}

  int heard() {
    if (notifier)
      CFNotificationCenterGetDarwinNotifyCenter().deliverPending(notifier->notificationName());
    return heard_;
  }

  std::shared_ptr<TLXDarwinNotifier> notifier;

 private:
  int heard_ = 0;
};

TEST(TLXDarwinNotifier, MeetsThoseOfItsClassAndIdentifierOnly) {
  const std::string identifier = scratchURL("Notified.plist").absoluteString();
  Listener listener(identifier);
  EXPECT_EQ(listener.notifier->notificationName(),
            "com.kestrelworks.Tasklane|TLXDarwinNotifier|" + identifier);

  TLXDarwinNotifier::makeWithIdentifier(identifier, nullptr)->postNotification();
  EXPECT_EQ(listener.heard(), 1);
  listener.notifier->postNotification();
  EXPECT_EQ(listener.heard(), 2) << "a notifier hears its own post";

  TLXDarwinNotifier::makeWithIdentifier(scratchURL("notified.plist").absoluteString(), nullptr)
      ->postNotification();
  TLXDarwinNotifier::makeWithIdentifier<OtherNotifier>(identifier, nullptr)->postNotification();
  EXPECT_EQ(listener.heard(), 2);
}

TEST(TLXDarwinNotifier, IsSilentOnceItIsGone) {
  Listener listener(scratchURL("gone").absoluteString());
  const auto poster =
      TLXDarwinNotifier::makeWithIdentifier(scratchURL("gone").absoluteString(), nullptr);
  poster->postNotification();
  const std::string name = listener.notifier->notificationName();
  listener.notifier.reset();
  CFNotificationCenterGetDarwinNotifyCenter().deliverPending(name);
  EXPECT_EQ(listener.heard(), 0);
}

TEST(TLXDarwinNotifier, MayBeLetGoOfByItsListener) {
  std::shared_ptr<TLXDarwinNotifier> notifier;
  int heard = 0;
  notifier = TLXDarwinNotifier::makeWithIdentifier(scratchURL("fleeting").absoluteString(), [&] {
    ++heard;
    notifier.reset();
  });
  const std::string name = notifier->notificationName();
  notifier->postNotification();
  CFNotificationCenterGetDarwinNotifyCenter().deliverPending(name);
  EXPECT_EQ(heard, 1);
  EXPECT_EQ(notifier, nullptr);
}

TEST(TLXDarwinNotifierDeathTest, RefusesToServeNobody) {
  EXPECT_DEATH(_notificationCallback(CFNotificationCenterGetDarwinNotifyCenter(), nullptr, "",
                                     nullptr, nullptr),
               "notifier != nil.*iOS/SharingExtensions/TLXDarwinNotifier.*29.*"
               "TLXDarwinNotifier\\.cpp:[0-9]+");
}

}  // namespace
}  // namespace tasklane
