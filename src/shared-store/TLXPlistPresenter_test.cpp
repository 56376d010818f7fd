#include "shared-store/TLXPlistPresenter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <future>
#include <mutex>
#include <thread>

#include "foundation/events/NSNotificationCenter.h"
#include "foundation/files/CoordinationLock.h"
#include "foundation/files/NSFileCoordinator.h"
#include "shared-store/SharedStoreTesting.h"

namespace tasklane {
namespace {

using namespace tasklane::testing;
using Entries = PropertyListDictionary;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;

PropertyListObject object(Entries entries) {
  return std::make_shared<const PropertyList>(std::move(entries));
}

/// A presenter of a file of its own, and how often it has announced a change.
class TLXPlistPresenterTest : public ::testing::Test {
 protected:
  TLXPlistPresenterTest() { std::filesystem::create_directories(folder_); }

  std::shared_ptr<TLXPlistPresenter> makePresenter() const {
    return TLXPlistPresenter::makeWithURL(NSURL::fileURLWithPath(path_));
  }

  NSNotificationCenter::Token count(const std::shared_ptr<TLXPlistPresenter>& presenter,
                                    int& announcements) {
    return NSNotificationCenter::defaultCenter().addObserver(
        TLXPlistPresenterDidChangeNotification, presenter,
        [&announcements](const NSNotification&) { ++announcements; });
  }

  std::vector<std::string> visibleNames() const {
    auto names = namesIn(folder_);
    std::erase_if(names, [](const std::string& name) { return name.starts_with('.'); });
    return names;
  }

  const std::string folder_ =
      scratchFolder() + "/" + ::testing::UnitTest::GetInstance()->current_test_info()->name();
  const std::string path_ = folder_ + "/file.plist";
};

TEST_F(TLXPlistPresenterTest, WritesWhatDiffersAndTellsEveryPresenterOncePerPost) {
  const auto writer = makePresenter();
  const auto reader = makePresenter();
  int writerHeard = 0;
  int readerHeard = 0;
  const auto tokens = std::pair(count(writer, writerHeard), count(reader, readerHeard));
  EXPECT_EQ(writer->plist(), nullptr);

  const auto value = object({{"title", "Grüße, 世界 👩‍🚀"}, {"n", 1.5}});
  writer->writePlist(value);
  EXPECT_EQ(writer->plist(), value) << "the very object";
  EXPECT_EQ(reader->plist(), nullptr) << "no notification has been delivered yet";
  EXPECT_EQ(plistAt(path_), *value);
  ASSERT_TRUE(waitUntil([&] { return writerHeard == 1 && readerHeard == 1; }));
  EXPECT_EQ(*reader->plist(), *value);
  EXPECT_NE(writer->plist(), value) << "it has read its own write again";

  const auto before = FileVersion::ofItemAtPath(path_);
  writer->writePlist(object({{"n", 1.5}, {"title", "Grüße, 世界 👩‍🚀"}}));
  EXPECT_TRUE(before.value().isStillAtPath(path_));
  writer->writePlist(object({{"n", 2}}));
  ASSERT_TRUE(waitUntil([&] { return writerHeard == 2 && readerHeard == 2; }));
}

TEST_F(TLXPlistPresenterTest, OnePostReadsForAllThatWait) {
  const auto presenter = makePresenter();
  int heard = 0;
  const auto token = count(presenter, heard);
  presenter->writePlist(object({{"title", "x"}}));
  const auto notifier =
      TLXDarwinNotifier::makeWithIdentifier(presenter->url().absoluteString(), {});
  const auto text = [&] { return presenter->plist()->valueForKey("title")->string(); };
  ASSERT_TRUE(waitUntil([&] { return heard == 1; }));
  const auto contentsRead = presenter->plist();
  const auto* const textRead = text();
  for (int i = 0; i < 500; ++i) notifier->postNotification();
  ASSERT_TRUE(waitUntil([&] { return heard == 501; }));
  EXPECT_NE(presenter->plist(), contentsRead) << "an announcement comes with contents of its own";
  EXPECT_EQ(text(), textRead) << "which nobody has read anew";
}

TEST_F(TLXPlistPresenterTest, APostThatComesBeforeTheWritingIsOverBringsWhatIsWritten) {
  const auto presenter = makePresenter();
  int heard = 0;
  const auto token = count(presenter, heard);
  presenter->writePlist(object({{"n", 1}}));
  ASSERT_TRUE(waitUntil([&] { return heard == 1; }));

  std::promise<void> readerIsAtIt;
  std::once_flag once;
  const auto goOn = [&] { std::call_once(once, [&] { readerIsAtIt.set_value(); }); };
  CoordinationLock::setWaitingHook(goOn);
  std::thread writer([&] {
    (void)NSFileCoordinator().coordinateWritingItemAtURL(
        presenter->url(), NSFileCoordinatorWritingOptions::None, [&](const NSURL& staged) {
          overwriteWithPlist(staged.path(), *object({{"n", 2}}));
          TLXDarwinNotifier::makeWithIdentifier(presenter->url().absoluteString(), {})
              ->postNotification();
          readerIsAtIt.get_future().wait();
        });
  });
  EXPECT_TRUE(waitUntil([&] { return heard == 2; }));
  goOn();
  writer.join();
  CoordinationLock::setWaitingHook({});
  EXPECT_EQ(*presenter->plist(), *object({{"n", 2}}));
}

TEST_F(TLXPlistPresenterTest, FollowsTheFileOrKeepsWhatItHad) {
  const auto value = object({{"a", 1}});
  const auto presenter = makePresenter();
  int heard = 0;
  const auto token = count(presenter, heard);
  presenter->writePlist(value);
  ASSERT_TRUE(waitUntil([&] { return heard == 1; }));

  struct Case {
    const char* what;
    std::function<void()> change;
    const char* console;
    bool contentsKept;
    int announcements;
  };
  const std::vector<Case> cases{
      {"garbage", [&] { overwrite(path_, "<plist><dict><key>a"); },
       "Error decoding plist from file://", true, 0},
      {"an unreadable thing",
       [&] {
         std::filesystem::remove(path_);
         std::filesystem::create_directory(path_);
       },
       "Error reading plist from file://", true, 0},
      {"no file", [&] { std::filesystem::remove(path_); }, "", false, 1},
      {"still no file", [] {}, "", false, 1},
      {"the same as before", [&] { overwriteWithPlist(path_, *value); }, "", true, 1}};
  for (const auto& each : cases) {
    SCOPED_TRACE(each.what);
    heard = 0;
    each.change();
    CaptureStderr();
    presenter->refreshPlist();
    EXPECT_THAT(GetCapturedStderr(), HasSubstr(each.console));
    EXPECT_EQ(presenter->plist() != nullptr, each.contentsKept);
    deliverEverything();
    EXPECT_EQ(heard, each.announcements);
  }
}

TEST_F(TLXPlistPresenterTest, RemovesOnlyWhatItKnows) {
  overwrite(path_, "garbage");
  const auto presenter = makePresenter();
  presenter->removePlist();
  EXPECT_EQ(contents(path_), "garbage");

  overwriteWithPlist(path_, Entries{{"a", 1}});
  presenter->refreshPlist();
  presenter->removePlist();
  EXPECT_THAT(visibleNames(), IsEmpty());
  EXPECT_EQ(presenter->plist(), nullptr);
}

TEST_F(TLXPlistPresenterTest, SetsADamagedFileAsideBeforeReplacingIt) {
  overwrite(path_ + ".damaged-1", "an older one");
  overwrite(path_, "garbage");
  const auto presenter = makePresenter();
  CaptureStderr();
  presenter->writePlist(object({{"a", 1}}));
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("file.plist.damaged-2"));
  EXPECT_EQ(contents(path_ + ".damaged-1"), "an older one");
  EXPECT_EQ(contents(path_ + ".damaged-2"), "garbage");
  EXPECT_EQ(plistAt(path_), *presenter->plist());

  // Damaged behind its back.
  overwrite(path_, "more garbage");
  presenter->performCoordinatedChange([&] { presenter->writePlist(object({{"a", 2}})); });
  EXPECT_EQ(contents(path_ + ".damaged-3"), "more garbage");
  EXPECT_EQ(plistAt(path_), PropertyList(Entries{{"a", 2}}));
  EXPECT_TRUE(presenter->lastChange().ok());

  // What could be read is replaced without a copy.
  presenter->writePlist(object({{"a", 3}}));
  overwriteWithPlist(path_, Entries{{"b", 1}});
  presenter->writePlist(object({{"a", 4}}));
  EXPECT_THAT(visibleNames(), ElementsAre("file.plist", "file.plist.damaged-1",
                                          "file.plist.damaged-2", "file.plist.damaged-3"));
}

/// Adds a key to what the file holds; whether the presenter says that it is there.
bool addKey(TLXPlistPresenter& presenter, const std::string& key) {
  presenter.performCoordinatedChange([&] {
    auto entries = presenter.plist() ? *presenter.plist()->dictionary() : Entries{};
    entries.set(key, true);
    presenter.writePlist(std::make_shared<const PropertyList>(std::move(entries)));
  });
  return presenter.lastChange().ok();
}

TEST_F(TLXPlistPresenterTest, ChangesWhatOthersLeftEvenUnannounced) {
  const auto presenter = makePresenter();
  const auto other = makePresenter();
  EXPECT_TRUE(addKey(*presenter, "a"));
  EXPECT_TRUE(addKey(*other, "b"));
  EXPECT_TRUE(addKey(*presenter, "c"));
  // A program that knows nothing of announcements, in place.
  overwriteWithPlist(path_, Entries{{"outside", true}});
  EXPECT_TRUE(addKey(*presenter, "d"));
  // And one that takes the file away.
  EXPECT_EQ(plistAt(path_), PropertyList(Entries{{"d", true}, {"outside", true}}));
  std::filesystem::remove(path_);
  EXPECT_TRUE(addKey(*other, "e"));
  EXPECT_EQ(plistAt(path_), PropertyList(Entries{{"e", true}}));
}

TEST_F(TLXPlistPresenterTest, LeavesAloneWhatItCannotRead) {
  const auto presenter = makePresenter();
  ASSERT_TRUE(addKey(*presenter, "a"));
  const auto held = presenter->plist();
  std::filesystem::remove(path_);
  std::filesystem::create_directories(path_ + "/inside");
  CaptureStderr();
  EXPECT_FALSE(addKey(*presenter, "b"));
  EXPECT_EQ(presenter->plist(), held);
  presenter->writePlist(object({{"c", true}}));
  EXPECT_FALSE(presenter->lastChange().ok());
  EXPECT_THAT(GetCapturedStderr(),
              AllOf(HasSubstr("Error reading plist from "), HasSubstr("Nothing was changed in "),
                    HasSubstr("Error writing plist data to ")));
  EXPECT_TRUE(std::filesystem::exists(path_ + "/inside"));
  EXPECT_THAT(visibleNames(), ElementsAre("file.plist"));

  std::filesystem::remove_all(path_);
  overwriteWithPlist(path_, Entries{{"d", true}});
  EXPECT_TRUE(addKey(*presenter, "e")) << "one failure is not the next one's";
  EXPECT_EQ(plistAt(path_), PropertyList(Entries{{"d", true}, {"e", true}}));
}

/// Limits a resource of this process while it lives.
class ResourceLimit {
 public:
  ResourceLimit(__rlimit_resource resource, rlim_t value) : resource_(resource) {
    ::getrlimit(resource_, &former_);
    const rlimit limit{value, former_.rlim_max};
    ::setrlimit(resource_, &limit);
  }
  ~ResourceLimit() { ::setrlimit(resource_, &former_); }

 private:
  __rlimit_resource resource_;
  rlimit former_{};
};

TEST_F(TLXPlistPresenterTest, LeavesTheOldContentsWhenTheDiskIsFull) {
  const auto presenter = makePresenter();
  const auto other = makePresenter();
  presenter->writePlist(object({{"old", true}}));

  const auto large = object({{"large", std::string(100'000, 'x')}});
  std::signal(SIGXFSZ, SIG_IGN);
  CaptureStderr();
  {
    const ResourceLimit full(RLIMIT_FSIZE, 32 * 1024);
    presenter->writePlist(large);
  }
  EXPECT_THAT(GetCapturedStderr(),
              HasSubstr("Error writing plist data to " + presenter->url().absoluteString() + ": "));
  EXPECT_EQ(presenter->plist(), large);
  EXPECT_FALSE(presenter->lastChange().ok());
  EXPECT_EQ(plistAt(path_), PropertyList(Entries{{"old", true}}));
  EXPECT_THAT(visibleNames(), ElementsAre("file.plist")) << "no part of a file stays";

  // The next change starts from what others have written, not from what never reached the disk.
  other->performCoordinatedChange([&] { other->writePlist(object({{"other", true}})); });
  EXPECT_TRUE(addKey(*presenter, "new"));
  EXPECT_EQ(plistAt(path_), PropertyList(Entries{{"new", true}, {"other", true}}));
}

TEST_F(TLXPlistPresenterTest, NeedsAnAddress) {
  CaptureStderr();
  EXPECT_EQ(TLXPlistPresenter::makeWithURL(std::nullopt), nullptr);
  EXPECT_THAT(GetCapturedStderr(),
              AllOf(HasSubstr("********* TLXPlistPresenter initialized with nil URL.\n"),
                    HasSubstr("Generally this means that "
                              "-containerURLForSecurityApplicationGroupIdentifier: returned nil, "
                              "which means the device thinks we shouldn't have access to the "
                              "shared container.\n")));
}

TEST_F(TLXPlistPresenterTest, LogsWhatItDoesWhenAsked) {
  OtherProcess process({"log"}, {{"TASKLANE_LOG", "TLXPlistPresenterLogger=1"}});
  std::string expected;
  const auto line = [&](const char* operation, const std::string& message) {
    expected += std::string("In ") + operation +
                " PLIST<<TLXPlistPresenter: 0xADDRESS> logged.plist>: " + message + "\n";
  };
  line("initWithURL:", "created");
  line("_readPlistWithNotification:", "Reading plist");
  line("_readPlistWithNotification:", "plist removed");
  const std::string url = NSURL::fileURLWithPath(sharedPath("logged.plist")).absoluteString();
  line("writePlist:", "Writing plist at " + url);
  line("writePlist:", "Writing plist at " + url);
  line("writePlist:", "  -- value is the same; skipping write");
  line("initWithURL:", "Darwin notification");
  line("_readPlistWithNotification:", "Reading plist");
  line("_readPlistWithNotification:", "got plist");
  line("removePlist", "Removing plist");
  std::string logged = process.errorOutput();
  for (auto at = logged.find("0x"); at != std::string::npos; at = logged.find("0x", at + 9))
    logged.replace(at, logged.find('>', at) - at, "0xADDRESS");
  EXPECT_THAT(logged, HasSubstr(expected));
}

TEST_F(TLXPlistPresenterTest, EndsTheProcessOverAValueThatNoFileCanHold) {
  OtherProcess process({"fail-encoding"});
  EXPECT_THAT(process.errorOutput(),
              AllOf(HasSubstr("Error encoding plist "), HasSubstr("data != nil"),
                    HasSubstr("iOS/SharingExtensions/TLXPlistPresenter"), HasSubstr("184"),
                    HasSubstr("TLXPlistPresenter.cpp:")));
  EXPECT_NE(process.wait(), 0);
}

}  // namespace
}  // namespace tasklane
