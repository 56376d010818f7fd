#include "share-sheet/ConfigurationItemHelper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "share-sheet/ShareSheetTesting.h"
#include "uikit/headless/Headless.h"
#include "uikit/views/UIWindow.h"

namespace tasklane {
namespace {

using ::testing::ElementsAre;

class ConfigurationItemHelperTest : public ::testing::Test, public ShareSheetTesting {
 protected:
  void show(const std::shared_ptr<ShareViewController>& sheet) {
    window_ = std::make_shared<UIWindow>(CGRect(0, 0, 400, 480));
    window_->setRootViewController(sheet);
    window_->makeKeyAndVisible();
    window_->layoutIfNeeded();
    sheet_ = sheet;
  }
  std::shared_ptr<UINavigationController> navigation() const {
    return std::dynamic_pointer_cast<UINavigationController>(
        std::shared_ptr<ShareViewController>(sheet_)->childViewControllers().at(0));
  }
  std::shared_ptr<SearchableOptionPickerController> picker() const {
    return std::dynamic_pointer_cast<SearchableOptionPickerController>(
        navigation()->topViewController());
  }
  std::size_t depth() const { return navigation()->viewControllers().size(); }
  void close() {
    window_->close();
    window_->setRootViewController(nullptr);
    window_.reset();
  }
  std::shared_ptr<UIWindow> window_;
  std::weak_ptr<ShareViewController> sheet_;
};

TEST_F(ConfigurationItemHelperTest, OffersTheCatalogueAsItIsAtEveryTap) {
  publish({"Home", "Work"}, {"Phone"});
  const auto sheet = begin({item("Title")});
  show(sheet);
  EXPECT_EQ(sheet->configurationItems(), sheet->configurationItems());

  sheet->projectConfigItem()->tapHandler()();
  ASSERT_TRUE(picker());
  EXPECT_EQ(picker()->items()->size(), 2u);
  EXPECT_EQ(picker()->items()->at(1)->title(), "Work");
  EXPECT_EQ(picker()->items()->at(1)->detailText(), "Folder p1");
  picker()->didSelectRowAtIndexPath(*picker()->tableView(), {0, 1});
  EXPECT_EQ(sheet->projectConfigItem()->value(), "Work");
  EXPECT_EQ(depth(), 1u) << "the choice goes back to the sheet";

  publish({"Home", "Work", "Garden"}, {"Phone"});
  sheet->projectConfigItem()->tapHandler()();
  EXPECT_EQ(picker()->items()->size(), 3u);
  EXPECT_EQ(picker()->selectedItemIndex(), NSNotFound) << "no checkmark on reopening";
  picker()->navigationItem()->rightBarButtonItem()->press();
  EXPECT_EQ(sheet->projectConfigItem()->value(), std::nullopt);
  EXPECT_EQ(depth(), 1u);

  sheet->contextConfigItem()->tapHandler()();
  EXPECT_EQ(picker()->items()->at(0)->title(), "Phone");
}

TEST_F(ConfigurationItemHelperTest, AnEmptyCatalogueStillHasNone) {
  const auto sheet = begin({item("Title")});
  show(sheet);
  sheet->projectConfigItem()->tapHandler()();
  EXPECT_TRUE(picker()->items()->empty());
  EXPECT_EQ(picker()->navigationItem()->rightBarButtonItem()->title(), "None");
  picker()->navigationItem()->rightBarButtonItem()->press();
  sheet->didSelectPost();
  EXPECT_EQ(queuedInfo().valueForKey("project"), nullptr);
}

TEST_F(ConfigurationItemHelperTest, TheNoteTakesTheKeyboardOnlyWhereItWasInUse) {
  for (const bool typing : {true, false}) {
    const auto sheet = begin({item("Title")});
    show(sheet);
    if (typing) {
      ASSERT_TRUE(sheet->textView()->becomeFirstResponder());
    } else {
      sheet->textView()->resignFirstResponder();
    }
    sheet->notesConfigItem()->tapHandler()();
    EXPECT_EQ(sheet->noteController()->shouldBeginEditingNoteOnViewWillAppear(), typing);
    navigation()->view()->layoutIfNeeded();
    const auto noteText = std::shared_ptr<UIResponder>(sheet->noteController()->noteTextView());
    EXPECT_EQ(window_->firstResponder(), typing ? noteText : nullptr);
    close();
  }
}

TEST_F(ConfigurationItemHelperTest, ClosingASheetFreesItsRowsHelpersAndPickers) {
  publish({"Home"}, {});
  std::weak_ptr<NSObject> weakSheet, weakPicker, weakRow, weakEditor;
  {
    const auto sheet = begin({item("Title")});
    show(sheet);
    sheet->projectConfigItem()->tapHandler()();
    weakPicker = picker();
    navigation()->popViewControllerAnimated(false);
    weakEditor = sheet->noteController();
    weakRow = sheet->projectConfigItem();
    weakSheet = sheet;
    close();
    context.reset();
  }
  EXPECT_TRUE(weakSheet.expired());
  EXPECT_TRUE(weakRow.expired());
  EXPECT_TRUE(weakPicker.expired());
  EXPECT_TRUE(weakEditor.expired());
}

TEST_F(ConfigurationItemHelperTest, SaysWhatASearchHasLeft) {
  publish({"Home", "Work", "Homework"}, {});
  const auto sheet = begin({item("Title")});
  show(sheet);
  sheet->projectConfigItem()->tapHandler()();
  const auto search = picker()->searchController();
  search->setActive(true);
  for (const auto* text : {"home", "work", "homew", "zzz"}) {
    search->searchBar()->userDidChangeText(text);
  }
  EXPECT_THAT(headless::announcements(),
              ElementsAre("2 projects", "2 projects", "1 project", "No projects"));
}

TEST_F(ConfigurationItemHelperTest, WithoutARowOrAPickerTheRestIsStillDone) {
  publish({"Home"}, {});
  const auto helper = std::make_shared<ConfigurationItemHelper>();
  const auto row = std::make_shared<SLComposeSheetConfigurationItem>();
  row->setValue("Old");
  helper->setConfigurationItem(row);
  helper->pickedItem();
  EXPECT_EQ(row->value(), std::nullopt) << "no picker, so nothing chosen";
  row->setValue("Old");
  helper->pickedNone();
  EXPECT_EQ(row->value(), std::nullopt);

  helper->setConfigurationItem(std::make_shared<SLComposeSheetConfigurationItem>());
  helper->setPickProjects(true);
  const auto stack = UINavigationController::make(std::make_shared<UIViewController>());
  for (const auto act :
       {&ConfigurationItemHelper::pickedItem, &ConfigurationItemHelper::pickedNone}) {
    stack->pushViewController(helper->pickerController(), false);
    helper->pickerController()->setSelectedItemIndex(0);
    (helper.get()->*act)();
    EXPECT_EQ(stack->viewControllers().size(), 1u);
  }
}

}  // namespace
}  // namespace tasklane
