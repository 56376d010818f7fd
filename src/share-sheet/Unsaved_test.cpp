#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <future>
#include <thread>

#include "foundation/extension/UTType.h"
#include "foundation/files/CoordinationLock.h"
#include "share-sheet/ShareSheetTesting.h"
#include "uikit/controls/UIButton.h"
#include "view-utilities/UIView+TasklaneExtensions.h"

namespace tasklane {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr const char* kPhoto = TASKLANE_RESOURCES "/sample/photo.jpg";

/// What becomes of an entry that could not be saved, and of what has not been loaded yet.
class UnsavedTest : public ::testing::Test, public ShareSheetTesting {
 protected:
  /// A folder in the place of the queue's file: nothing can be saved, by nobody.
  void breakQueue() {
    mendQueue();
    std::filesystem::create_directories(queueFile() / "folder");
  }
  void mendQueue() { std::filesystem::remove_all(queueFile()); }
  static std::filesystem::path queueFile() { return TLXExternalAction::sharedActionsURL()->path(); }

  std::shared_ptr<ShareViewController> open(std::vector<std::shared_ptr<NSExtensionItem>> items) {
    auto sheet = begin(std::move(items));
    sheet->loadViewIfNeeded();
    sheet->sheetWillOpen();
    return sheet;
  }
  static std::shared_ptr<NSExtensionItem> withPhoto(const std::string& title,
                                                    const std::shared_future<void>& when = {}) {
    auto shared = item(title);
    auto provider = std::make_shared<NSItemProvider>();
    provider->registerItemForTypeIdentifier(kUTTypeImage, [when]() -> Result<NSItemProviderItem> {
      if (when.valid()) when.wait();
      return NSItemProviderItem(EncodedImage::imageWithContentsOfFile(kPhoto).value());
    });
    shared->attachments.push_back(provider);
    return shared;
  }
  static std::string notice(ShareViewController& sheet) {
    const auto views = subviewsOfClass<SLComposeNoticeView>(sheet.view());
    if (views.size() != 1 || views[0]->isHidden()) return "";
    return std::static_pointer_cast<UILabel>(views[0]->subviews()[0])->text().value_or("");
  }
  static void press(ShareViewController& sheet, const std::string& title) {
    for (const auto& button : subviewsOfClass<UIButton>(sheet.view()))
      if (button->title() == title) return button->press();
    FAIL() << "there is no button " << title;
  }
  static std::vector<std::string> places(ShareViewController& sheet) {
    const auto views = subviewsOfClass<SLComposeThumbnailsView>(sheet.view());
    std::vector<std::string> texts;
    for (const auto& place : views.at(0)->subviews())
      texts.push_back(place->accessibilityLabel().value_or("") + "; " +
                      place->accessibilityValue().value_or(""));
    return texts;
  }
  std::vector<std::string> names(const std::string& below) const {
    std::vector<std::string> found;
    if (!std::filesystem::exists(folder() / below)) return found;
    for (const auto& entry : std::filesystem::directory_iterator(folder() / below))
      found.push_back(entry.path().filename().string());
    return found;
  }
  static mode_t modeOf(const std::string& attachment) {
    struct stat state {};
    ::stat((TLXExternalAction::sharedAttachmentPath() + "/" + attachment).c_str(), &state);
    return state.st_mode & 07777;
  }
  const std::string drafts = "state/tasklane/drafts";
  const std::string attachments = "group.com.kestrelworks.Tasklane/attachments";
};

TEST_F(UnsavedTest, AnEntryThatCannotBeSavedIsOfferedAgainWithAllThatItHad) {
  static int saved = 0;
  ShareViewController::setSavedHandler([] { ++saved; });
  publish({"Home", "Gone"}, {"Phone"});
  auto sheet = open({withPhoto("Buy milk")});
  ASSERT_TRUE(waitForLoads());
  sheet->setNoteText("two litres");
  sheet->projectConfigItem()->setValue("Home");
  sheet->contextConfigItem()->setValue("Phone");
  breakQueue();
  sheet->post();
  EXPECT_EQ(context->state(), NSExtensionContext::State::Running);
  EXPECT_THAT(notice(*sheet), HasSubstr("could not be saved"));
  EXPECT_EQ(saved, 0);
  EXPECT_EQ(sheet->contentText(), "Buy milk");
  sheet->textView()->setText("Buy much milk");
  sheet->cancel();
  EXPECT_EQ(context->state(), NSExtensionContext::State::Cancelled);
  EXPECT_TRUE(sheet->postError());
  EXPECT_THAT(names(attachments), IsEmpty());
  struct stat state {};
  EXPECT_EQ(::stat((folder() / drafts).c_str(), &state), 0);
  EXPECT_EQ(state.st_mode & 0777, 0700u);
  sheet.reset();

  // It is left where it is by who does not want it now, and by another that is open.
  auto other = open({item("Call Anna")});
  EXPECT_THAT(notice(*other), HasSubstr("Buy much milk"));
  EXPECT_EQ(notice(*open({})), "") << "one sheet at a time offers it";
  other->cancel();
  other.reset();
  mendQueue();

  sheet = open({item("Call Anna")});
  press(*sheet, "Restore");
  ASSERT_TRUE(waitForLoads());
  EXPECT_EQ(notice(*sheet), "");
  EXPECT_EQ(sheet->contentText(), "Buy much milk\nCall Anna");
  EXPECT_EQ(sheet->noteText(), "two litres");
  EXPECT_EQ(sheet->notesConfigItem()->value(), "...");
  EXPECT_THAT(places(*sheet), ElementsAre("Photo 1 of 1; "));
  sheet->post();
  EXPECT_EQ(context->state(), NSExtensionContext::State::Completed);
  EXPECT_EQ(saved, 1);
  EXPECT_EQ(textIn(queuedInfo(), "projectName"), "Home");
  EXPECT_EQ(textIn(queuedInfo(), "contextName"), "Phone");
  EXPECT_EQ(*queuedInfo().valueForKey("attachments"), PropertyList(PropertyList::Array{"1.jpg"}));
  EXPECT_THAT(names(attachments), ElementsAre("1.jpg"));
  EXPECT_EQ(modeOf("1.jpg"), 0600u);
  EXPECT_THAT(names(drafts), IsEmpty());
}

TEST_F(UnsavedTest, ASecondSaveSavesOnceAndADiscardedDraftIsGone) {
  const auto sheet = open({item("Buy milk")});
  breakQueue();
  sheet->post();
  sheet->post();
  EXPECT_THAT(names(drafts), Not(IsEmpty()));
  mendQueue();
  sheet->post();
  EXPECT_EQ(TLXExternalAction::currentActions().size(), 1u);
  EXPECT_THAT(names(drafts), IsEmpty());

  breakQueue();
  for (const char* title : {"One", "Two"}) {
    const auto failing = open({item(title)});
    failing->post();
    failing->abandon();
  }
  const auto next = open({});
  EXPECT_THAT(notice(*next), HasSubstr("Two"));
  press(*next, "Discard");
  EXPECT_THAT(notice(*next), HasSubstr("One"));
  press(*next, "Discard");
  EXPECT_EQ(notice(*next), "");
  EXPECT_THAT(names(drafts), IsEmpty());
}

TEST_F(UnsavedTest, WhatCanNeitherBeSavedNorKeptHoldsTheSheetOpen) {
  std::ofstream(folder() / "state") << "no folder";
  const auto sheet = open({item("Buy milk")});
  breakQueue();
  sheet->post();
  EXPECT_THAT(notice(*sheet), HasSubstr("neither saved nor kept"));
  std::filesystem::remove(folder() / "state");
  sheet->cancel();
  EXPECT_EQ(context->state(), NSExtensionContext::State::Cancelled);
  EXPECT_THAT(names(drafts), Not(IsEmpty()));
}

TEST_F(UnsavedTest, APhotoHasItsPlaceFromTheStartAndSaveWaitsForIt) {
  std::promise<void> release;
  const auto damaged = folder() / "damaged.jpg";
  std::filesystem::copy_file(kPhoto, damaged);
  std::filesystem::resize_file(damaged, 20000);
  const auto others = item("");
  for (const std::string& path : {std::string("/nonexistent/photo.jpg"), damaged.string()})
    others->attachments.push_back(
        NSItemProvider::makeWithContentsOfURL(NSURL::fileURLWithPath(path)));
  auto sheet = open({withPhoto("T", release.get_future().share()), others});
  EXPECT_THAT(places(*sheet), ElementsAre("Photo 1 of 3; Loading", "Photo 2 of 3; Loading",
                                          "Photo 3 of 3; Loading"));
  ASSERT_TRUE(NSRunLoop::mainRunLoop().runUntil(
      [&] { return sheet->attachmentFailures().size() == 2; }, std::chrono::seconds(20)));
  EXPECT_THAT(places(*sheet),
              ElementsAre("Photo 1 of 3; Loading", "Photo 2 of 3; Could not be taken",
                          "Photo 3 of 3; Could not be taken"));
  EXPECT_THAT(notice(*sheet), HasSubstr("2 photos could not be taken"));
  sheet->post();
  EXPECT_EQ(context->state(), NSExtensionContext::State::Running);
  EXPECT_THAT(notice(*sheet), HasSubstr("Waiting"));
  release.set_value();
  ASSERT_TRUE(NSRunLoop::mainRunLoop().runUntil(
      [&] { return context->state() == NSExtensionContext::State::Completed; },
      std::chrono::seconds(20)));
  EXPECT_EQ(*queuedInfo().valueForKey("attachments"), PropertyList(PropertyList::Array{"1.jpg"}));
}

TEST_F(UnsavedTest, ASheetThatIsDroppedTakesNothingAnyMore) {
  const auto mainThread = std::this_thread::get_id();
  for (const bool byAddress : {false, true}) {
    std::promise<void> release;
    const auto when = release.get_future().share();
    auto shared = withPhoto("T", when);
    if (byAddress) {
      shared->attachments[0]->registerItemForTypeIdentifier(
          kUTTypeURL, [when]() -> Result<NSItemProviderItem> {
            when.wait();
            return NSItemProviderItem(NSURL::fileURLWithPath(kPhoto));
          });
    }
    struct Sheet : ShareViewController {
      explicit Sheet(std::thread::id& ended) : ended_(ended) {}
      ~Sheet() override { ended_ = std::this_thread::get_id(); }
      std::thread::id& ended_;
    };
    std::thread::id ended;
    auto sheet = std::make_shared<Sheet>(ended);
    sheet->beginRequestWithExtensionContext(std::make_shared<NSExtensionContext>(
        std::vector<std::shared_ptr<NSExtensionItem>>{shared}));
    sheet.reset();
    EXPECT_EQ(ended, mainThread) << "no load keeps it";
    release.set_value();
    ASSERT_TRUE(waitForLoads());
    EXPECT_THAT(names(attachments), IsEmpty());
  }
}

TEST_F(UnsavedTest, ASheetThatIsHeldUpByALockSaysSo) {
  const auto sheet = open({item("T")});
  const auto lock = CoordinationLock::acquire(TLXContainers::sharedContainersURL()->path(),
                                              CoordinationLock::Mode::Exclusive);
  ASSERT_TRUE(lock);
  setenv("TASKLANE_LOCK_LIMIT", "2", 1);
  std::string told;
  CoordinationLock::setWaitingHook([&] {
    EXPECT_FALSE(sheet->lockIsAwaited());
    told = notice(*sheet);
  });
  TLXContainers::presenter()->refreshPlist();
  CoordinationLock::setWaitingHook({});
  unsetenv("TASKLANE_LOCK_LIMIT");
  EXPECT_THAT(told, HasSubstr("Waiting for another program"));
  EXPECT_TRUE(NSRunLoop::mainRunLoop().runUntil([&] { return notice(*sheet).empty(); },
                                                std::chrono::seconds(20)));
}

TEST_F(UnsavedTest, ARowSaysThatItsChoiceIsGone) {
  publish({"Home", "Work"}, {});
  const auto sheet = open({item("T")});
  sheet->projectConfigItem()->setValue("Work");
  const auto remarkBecomes = [&](std::optional<std::string> remark) {
    return NSRunLoop::mainRunLoop().runUntil(
        [&] { return sheet->projectConfigItem()->remark() == remark; }, std::chrono::seconds(20));
  };
  publish({"Home"}, {});
  EXPECT_TRUE(remarkBecomes("Work (no longer there)"));
  EXPECT_EQ(sheet->projectConfigItem()->value(), "Work");
  publish({"Work"}, {});
  EXPECT_TRUE(remarkBecomes(std::nullopt));
}

}  // namespace
}  // namespace tasklane
