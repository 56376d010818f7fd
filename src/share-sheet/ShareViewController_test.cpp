#include "share-sheet/ShareViewController.h"

#include <gtest/gtest.h>

#include <fstream>

#include "share-sheet/ShareSheetTesting.h"
#include "uikit/navigation/UINavigationBar.h"

namespace tasklane {
namespace {

class ShareViewControllerTest : public ::testing::Test, public ShareSheetTesting {
 protected:
  std::string attachment(const std::string& name) const {
    return TLXExternalAction::sharedAttachmentPath() + "/" + name;
  }
  void makeAttachment(const std::string& name) const { std::ofstream(attachment(name)) << "photo"; }
};

TEST_F(ShareViewControllerTest, TakesTitlesAndTextsIn) {
  struct Case {
    std::string what;
    std::vector<std::shared_ptr<NSExtensionItem>> items;
    std::string initialText, noteText;
  };
  const Case cases[] = {
      {"title and two lines", {item("T", "L1\nL2")}, "T", "L1\nL2"},
      {"two lines alone", {item("", "L1\nL2")}, "L1\n", "L2"},
      {"a line ended the other way", {item("", "L1\r\nL2")}, "L1\r\n", "L2"},
      {"one line alone", {item("", "X")}, "X", ""},
      {"two titles", {item("T1"), item("T2")}, "T1\nT2", ""},
      {"two lines of two items", {item("", "X"), item("", "Y")}, "XY", ""},
      {"notes of two items", {item("T1", "a"), item("T2", "b")}, "T1\nT2", "a\nb"},
      {"nothing", {}, "", ""},
  };
  for (const auto& c : cases) {
    const auto sheet = begin(c.items);
    EXPECT_EQ(sheet->initialText(), c.initialText) << c.what;
    EXPECT_EQ(sheet->noteText(), c.noteText) << c.what;
  }
}

TEST_F(ShareViewControllerTest, ShowsItselfAsTasklaneWithSave) {
  const auto sheet = begin({item("Buy milk")});
  sheet->loadViewIfNeeded();
  EXPECT_EQ(sheet->title(), "Tasklane");
  ASSERT_TRUE(sheet->postItem());
  EXPECT_EQ(sheet->postItem()->title(), "Save");
  EXPECT_EQ(sheet->contentText(), "Buy milk");
  EXPECT_TRUE(sheet->isContentValid());
}

TEST_F(ShareViewControllerTest, FindsTheFirstBarDepthFirst) {
  const auto root = std::make_shared<UIView>();
  EXPECT_EQ(ShareViewController::_findNavigationBarInView(*root), nullptr);
  const auto branch = std::make_shared<UIView>();
  const auto deep = std::make_shared<UINavigationBar>();
  const auto shallow = std::make_shared<UINavigationBar>();
  branch->addSubview(deep);
  root->addSubview(branch);
  root->addSubview(shallow);
  EXPECT_EQ(ShareViewController::_findNavigationBarInView(*root), deep);
  EXPECT_EQ(ShareViewController::_findNavigationBarInView(*shallow), nullptr);
}

TEST_F(ShareViewControllerTest, PostsWhatTheCatalogueStillKnows) {
  publish({"Home", "Work"}, {"Phone"});
  struct Case {
    std::optional<std::string> project, context;
    std::string projectID, contextID;
  };
  const Case cases[] = {{"Work", "Phone", "p1", "c0"},
                        {"Gone", std::nullopt, "(absent)", "(absent)"},
                        {"", "phone", "(absent)", "(absent)"}};
  for (const auto& c : cases) {
    const auto sheet = begin({item("Title")});
    sheet->loadViewIfNeeded();
    sheet->projectConfigItem()->setValue(c.project);
    sheet->contextConfigItem()->setValue(c.context);
    sheet->didSelectPost();
    const auto info = queuedInfo();
    EXPECT_EQ(textIn(info, "title"), "Title");
    EXPECT_EQ(textIn(info, "project"), c.projectID);
    EXPECT_EQ(textIn(info, "projectName"), c.projectID == "(absent)" ? "(absent)" : *c.project);
    EXPECT_EQ(textIn(info, "context"), c.contextID);
    EXPECT_EQ(textIn(info, "notes"), "(absent)");
    EXPECT_EQ(info.valueForKey("attachments"), nullptr);
    EXPECT_EQ(textIn(info, "uuid").size(), 36u);
    EXPECT_EQ(context->state(), NSExtensionContext::State::Completed);
  }
}

TEST_F(ShareViewControllerTest, PostsAnEmptyTitleTheNoteAndTheFiles) {
  const auto sheet = begin();
  sheet->loadViewIfNeeded();
  sheet->setNoteText("note");
  sheet->setAttachmentFiles({"1.jpg", "2.jpg"});
  sheet->didSelectPost();
  const auto info = queuedInfo();
  EXPECT_EQ(textIn(info, "title"), "");
  EXPECT_EQ(textIn(info, "notes"), "note");
  EXPECT_EQ(*info.valueForKey("attachments"), PropertyList(PropertyList::Array{"1.jpg", "2.jpg"}));
}

TEST_F(ShareViewControllerTest, CancelRemovesItsFilesAndNoOther) {
  const auto sheet = begin();
  for (const auto* name : {"1.jpg", "2.jpg", "3.jpg"}) makeAttachment(name);
  sheet->setAttachmentFiles({"1.jpg", "gone.jpg", "3.jpg"});
  sheet->didSelectCancel();
  EXPECT_FALSE(std::filesystem::exists(attachment("1.jpg")));
  EXPECT_TRUE(std::filesystem::exists(attachment("2.jpg")));
  EXPECT_FALSE(std::filesystem::exists(attachment("3.jpg")));
  EXPECT_TRUE(sheet->attachmentFiles().empty());
  EXPECT_EQ(context->state(), NSExtensionContext::State::Cancelled);
  EXPECT_TRUE(TLXExternalAction::currentActions().empty());
}

TEST_F(ShareViewControllerTest, TheNoteEditorKeepsTheNoteAndMarksItsRow) {
  const auto sheet = begin({item("Title")});
  sheet->loadViewIfNeeded();
  EXPECT_EQ(sheet->notesConfigItem()->value(), "");
  const auto editor = sheet->noteController();
  editor->noteTextView()->userDidChangeText("first");
  EXPECT_EQ(sheet->noteText(), "first");
  EXPECT_EQ(sheet->notesConfigItem()->value(), "...");
  EXPECT_EQ(sheet->noteController(), editor);
  EXPECT_EQ(editor->noteTextView()->text(), "first");
  editor->noteTextView()->userDidChangeText("");
  EXPECT_EQ(sheet->notesConfigItem()->value(), "");

  sheet->textView()->userDidChangeText("Another title");
  EXPECT_EQ(sheet->noteText(), "") << "the title's text area is not the note's";
  EXPECT_EQ(sheet->contentText(), "Another title");
}

}  // namespace
}  // namespace tasklane
