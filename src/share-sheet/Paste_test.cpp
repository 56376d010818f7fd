#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "share-sheet/ShareSheetTesting.h"
#include "uikit/base/UIPasteboard.h"

namespace tasklane {
namespace {

using ::testing::Contains;

class PasteTest : public ::testing::Test, public ShareSheetTesting {
 protected:
  static constexpr const char* kPhoto = TASKLANE_RESOURCES "/sample/photo.jpg";

  static void paste(ShareViewController& sheet, const UIPasteboardContents& contents) {
    ASSERT_TRUE(sheet.canPaste(contents));
    sheet.paste(contents);
  }
  static UIPasteboardContents links(std::vector<UIPasteboardContents::Link> links) {
    UIPasteboardContents contents;
    contents.text = "the links as a text";
    contents.links = std::move(links);
    return contents;
  }
};

TEST_F(PasteTest, TextsAndLinksStandInTheNoteLineByLineAndAreAnnounced) {
  const auto sheet = begin({item("", "")});
  sheet->loadViewIfNeeded();
  paste(*sheet, links({{"https://a.example/", "A link"}, {"https://b.example/", "Another"}}));
  UIPasteboardContents text;
  text.text = "two\nlitres\n";
  paste(*sheet, text);
  EXPECT_EQ(sheet->noteController()->noteTextView()->text(), sheet->noteText());
  text.text = "more";
  paste(*sheet, text);
  EXPECT_EQ(sheet->contentText(), "A link");
  EXPECT_EQ(sheet->noteText(), "https://a.example/\nhttps://b.example/\ntwo\nlitres\nmore");
  EXPECT_EQ(sheet->noteController()->noteTextView()->text(), sheet->noteText());
  EXPECT_EQ(sheet->notesConfigItem()->value(), "...");
  EXPECT_THAT(headless::announcements(), Contains("Added to the note").Times(4));
  EXPECT_FALSE(sheet->canPaste({}));
}

TEST_F(PasteTest, PicturesAreAttachedAndOfOtherFilesTheAddressIsTaken) {
  const auto sheet = begin();
  sheet->loadViewIfNeeded();
  UIPasteboardContents contents;
  contents.files = {kPhoto, "/nowhere/a b.pdf", kPhoto};
  paste(*sheet, contents);
  EXPECT_TRUE(sheet->isContentLoading());
  EXPECT_THAT(headless::announcements(), Contains("2 photos added"));
  UIPasteboardContents copied;
  copied.hasPicture = true;
  copied.picture = EncodedImage::imageWithContentsOfFile(kPhoto).value();
  paste(*sheet, copied);
  ASSERT_TRUE(waitForLoads());
  EXPECT_EQ(sheet->attachmentFiles().size(), 3U);
  EXPECT_TRUE(sheet->attachmentFailures().empty());
  EXPECT_EQ(sheet->noteText(), "file:///nowhere/a%20b.pdf");
  copied.picture = nullptr;
  paste(*sheet, copied);
  EXPECT_THAT(headless::announcements(), Contains("Could not be taken"));
  sheet->didSelectCancel();
}

TEST_F(PasteTest, InputThatComesLateStandsBehindWhatIsTypedAndSaveWaitsForIt) {
  context = NSExtensionContext::makeAwaitingInput();
  const auto sheet = std::make_shared<ShareViewController>();
  sheet->beginRequestWithExtensionContext(context);
  sheet->loadViewIfNeeded();
  EXPECT_EQ(sheet->configurationItems().front()->value(), "");
  sheet->textView()->userDidChangeText("typed");
  sheet->post();
  EXPECT_EQ(context->state(), NSExtensionContext::State::Running);
  context->giveInput({item("A page", "quoted")});
  EXPECT_EQ(context->state(), NSExtensionContext::State::Completed);
  EXPECT_EQ(textIn(queuedInfo(), "title"), "typed\nA page");
  EXPECT_EQ(textIn(queuedInfo(), "notes"), "quoted");
  EXPECT_EQ(sheet->notesConfigItem()->value(), "...");
}

}  // namespace
}  // namespace tasklane
