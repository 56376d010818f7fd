#include "foundation/extension/NSItemProvider.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <new>
#include <stdexcept>
#include <thread>

#include "foundation/base/ScratchFolderTesting.h"
#include "foundation/events/NSOperationQueue.h"
#include "foundation/extension/UTType.h"
#include "foundation/images/TestPictures.h"

namespace tasklane {
namespace {

/// A gate that threads wait at, and a count of those that came.
class Gate {
 public:
  void pass() {
    std::unique_lock lock(mutex_);
    ++waiting_;
    most_ = std::max(most_, waiting_);
    changed_.notify_all();
    changed_.wait_for(lock, std::chrono::seconds(20), [this] { return open_; });
    --waiting_;
  }
  bool waitForWaiting(int count) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(20), [&] { return waiting_ >= count; });
  }
  void open() {
    const std::lock_guard lock(mutex_);
    open_ = true;
    changed_.notify_all();
  }
  int most() {
    const std::lock_guard lock(mutex_);
    return most_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int waiting_ = 0;
  int most_ = 0;
  bool open_ = false;
};

template <class Condition>
bool eventually(Condition condition) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > limit) return false;
    NSOperationQueue::mainQueue().runPending();
    std::this_thread::yield();
  }
  return true;
}

bool waitUntilNothingIsOutstanding() {
  return eventually([] { return NSItemProvider::outstandingLoads() == 0; });
}

struct Loaded {
  NSItemProviderItem item;
  std::optional<NSError> error;
  int calls = 0;
  std::thread::id thread;
};

Loaded load(const std::shared_ptr<NSItemProvider>& provider, const std::string& type) {
  auto loaded = std::make_shared<Loaded>();
  provider->loadItemForTypeIdentifier(
      type, [loaded](const NSItemProviderItem& item, const std::optional<NSError>& error) {
        *loaded = {item, error, loaded->calls + 1, std::this_thread::get_id()};
      });
  EXPECT_TRUE(waitUntilNothingIsOutstanding());
  return *loaded;
}

TEST(NSItemProvider, LoadsTheFirstTypeThatConforms) {
  auto provider = NSItemProvider::make(std::string("<b>text</b>"), "public.html");
  provider->registerItemForTypeIdentifier(
      "public.plain-text", []() -> Result<NSItemProviderItem> { return {std::string("text")}; });
  provider->registerItemForTypeIdentifier(
      "public.url", []() -> Result<NSItemProviderItem> { throw std::runtime_error("broken"); });
  provider->registerItemForTypeIdentifier("public.png", []() -> Result<NSItemProviderItem> {
    return NSError{NSError::Kind::Corrupt, "no picture"};
  });
  struct Case {
    const char* type;
    bool offered;
    const char* text;
    const char* error;
  };
  const Case cases[] = {{kUTTypeText, true, "<b>text</b>", nullptr},
                        {"public.plain-text", true, "text", nullptr},
                        {kUTTypeURL, true, nullptr, "broken"},
                        {kUTTypeImage, true, nullptr, "no picture"},
                        {kUTTypePropertyList, false, nullptr, kUTTypePropertyList}};
  for (const Case& each : cases) {
    SCOPED_TRACE(each.type);
    EXPECT_EQ(each.offered, provider->hasItemConformingToTypeIdentifier(each.type));
    const Loaded loaded = load(provider, each.type);
    EXPECT_EQ(1, loaded.calls);
    EXPECT_NE(std::this_thread::get_id(), loaded.thread);
    if (each.text != nullptr) {
      EXPECT_EQ(NSItemProviderItem(std::string(each.text)), loaded.item);
      EXPECT_FALSE(loaded.error);
    } else {
      EXPECT_TRUE(std::holds_alternative<std::monostate>(loaded.item));
      ASSERT_TRUE(loaded.error);
      EXPECT_THAT(loaded.error->description, ::testing::HasSubstr(each.error));
    }
  }
}

TEST(NSItemProvider, AFewLoadsAtOnceEachHandledOnceAndCountedUntilItsHandlerHasReturned) {
  constexpr int kLoads = 12;
  Gate loading, handling;
  std::atomic<int> handled = 0;
  std::weak_ptr<NSItemProvider> weak;
  {
    auto provider = std::make_shared<NSItemProvider>();
    weak = provider;
    provider->registerItemForTypeIdentifier("public.png", [&]() -> Result<NSItemProviderItem> {
      loading.pass();
      return {std::string("done")};
    });
    for (int i = 0; i < kLoads; ++i)
      provider->loadItemForTypeIdentifier("public.png", [&](const auto&, const auto&) {
        ++handled;
        handling.pass();
      });
  }
  EXPECT_EQ(kLoads, NSItemProvider::outstandingLoads());
  ASSERT_TRUE(loading.waitForWaiting(2));
  EXPECT_FALSE(weak.expired());
  // What is no picture does not wait for them.
  std::atomic<bool> addressIsThere = false;
  NSItemProvider::make(*NSURL::URLWithString("https://example.org/"), kUTTypeURL)
      ->loadItemForTypeIdentifier(kUTTypeURL,
                                  [&](const auto&, const auto&) { addressIsThere = true; });
  EXPECT_TRUE(eventually([&] { return addressIsThere.load(); }));
  loading.open();
  ASSERT_TRUE(handling.waitForWaiting(2));
  EXPECT_TRUE(eventually([] { return NSItemProvider::outstandingLoads() == kLoads; }));
  handling.open();
  ASSERT_TRUE(waitUntilNothingIsOutstanding());
  EXPECT_EQ(kLoads, handled);
  EXPECT_EQ(2, loading.most());
  EXPECT_TRUE(weak.expired());
}

TEST(NSItemProvider, TheEndOfTheLastLoadWakesTheMainQueue) {
  NSOperationQueue::mainQueue().runPending();
  auto provider = NSItemProvider::make(std::string("text"), "public.text");
  provider->loadItemForTypeIdentifier("public.text", [](const auto&, const auto&) {});
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while ((NSItemProvider::outstandingLoads() > 0 || NSOperationQueue::mainQueue().empty()) &&
         std::chrono::steady_clock::now() < limit)
    std::this_thread::yield();
  EXPECT_EQ(0, NSItemProvider::outstandingLoads());
  EXPECT_FALSE(NSOperationQueue::mainQueue().empty());
  NSOperationQueue::mainQueue().runPending();
}

TEST(NSItemProvider, PicturesWaitForTheMainThreadToTakeThoseBefore) {
  constexpr int kLoads = 60;
  NSOperationQueue::mainQueue().runPending();
  std::atomic<int> begun = 0;
  int taken = 0, most = 0;
  auto provider = std::make_shared<NSItemProvider>();
  provider->registerItemForTypeIdentifier("public.png", [&]() -> Result<NSItemProviderItem> {
    ++begun;
    return {std::string("a picture")};
  });
  for (int i = 0; i < kLoads; ++i)
    provider->loadItemForTypeIdentifier(kUTTypeImage, [&](const auto&, const auto&) {
      NSOperationQueue::mainQueue().addOperationWithBlock([&] {
        most = std::max(most, begun - taken);
        ++taken;
      });
    });
  // The main thread is slow: it comes only when no load can begin any more.
  ASSERT_TRUE(eventually([&] { return taken > 0; }));
  ASSERT_TRUE(eventually([&] { return taken == kLoads; }));
  EXPECT_LE(most, 12);
  EXPECT_TRUE(waitUntilNothingIsOutstanding());
}

TEST(NSItemProvider, AHandlerThatFailsCostsItsAttachmentOnly) {
  auto provider = NSItemProvider::make(std::string("text"), "public.text");
  testing::internal::CaptureStderr();
  std::vector<std::string> told;
  provider->loadItemForTypeIdentifier("public.text", [&](const auto&, const auto& error) {
    told.push_back(error && error->kind == NSError::Kind::Io ? error->description : "");
    throw std::bad_alloc();
  });
  EXPECT_TRUE(waitUntilNothingIsOutstanding());
  EXPECT_THAT(told, testing::ElementsAre("", "there is not enough memory"));
  EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("could not be taken"));
  EXPECT_EQ(NSItemProviderItem(std::string("text")), load(provider, "public.text").item);
}

TEST(NSItemProvider, AFileIsAnAddressAndAnImageWhenItsContentsAreOne) {
  const ScratchFolder scratch;
  const std::filesystem::path& folder = scratch.path();
  std::ofstream(folder / "photo.png") << pictures::jpeg({});
  std::ofstream(folder / "text.jpg") << "text";
  struct Case {
    const char* name;
    bool isImage;
    bool loads;
  };
  const Case cases[] = {{"photo.png", true, true},
                        {"text.jpg", false, false},
                        {"missing.jpg", true, false},
                        {"missing.txt", false, false}};
  for (const Case& each : cases) {
    SCOPED_TRACE(each.name);
    const NSURL url = NSURL::fileURLWithPath(folder / each.name);
    auto provider = NSItemProvider::makeWithContentsOfURL(url);
    EXPECT_TRUE(provider->hasItemConformingToTypeIdentifier(kUTTypeFileURL));
    EXPECT_EQ(each.isImage, provider->hasItemConformingToTypeIdentifier("public.jpeg"));
    EXPECT_EQ(NSItemProviderItem(url), load(provider, kUTTypeURL).item);
    const Loaded image = load(provider, kUTTypeImage);
    EXPECT_EQ(each.loads, std::holds_alternative<std::shared_ptr<const EncodedImage>>(image.item));
    EXPECT_EQ(each.loads, !image.error);
  }
}

TEST(NSItemProvider, AProcessMayEndWhileLoadsAreUnderWay) {
  // The threads of the tests before do not come along into a forked process.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        auto provider = std::make_shared<NSItemProvider>();
        provider->registerItemForTypeIdentifier(
            "public.text", []() -> Result<NSItemProviderItem> { return {std::string(100, 'x')}; });
        for (int i = 0; i < 2000; ++i)
          provider->loadItemForTypeIdentifier("public.text", [](const auto&, const auto&) {});
        std::exit(3);
      },
      ::testing::ExitedWithCode(3), "");
}

}  // namespace
}  // namespace tasklane
