#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "foundation/extension/UTType.h"
#include "share-sheet/ShareSheetTesting.h"

namespace tasklane {
namespace {

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

std::string samplePhoto() {
  return NSFileManager::defaultManager()
      .contentsAtPath(TASKLANE_RESOURCES "/sample/photo.jpg")
      .value();
}

class IntakeTest : public ::testing::Test, public ShareSheetTesting {
 protected:
  std::string photo(const std::string& contents) {
    const auto path = (folder() / ("photo" + std::to_string(++photos_) + ".jpg")).string();
    std::ofstream(path, std::ios::binary) << contents;
    return path;
  }
  static std::shared_ptr<NSItemProvider> page(const char* url, const char* selection) {
    PropertyListDictionary results;
    if (url) results.set("url", url);
    if (selection) results.set("selection", selection);
    return NSItemProvider::make(
        PropertyList(PropertyListDictionary{
            {NSExtensionJavaScriptPreprocessingResultsKey, PropertyList(std::move(results))}}),
        kUTTypePropertyList);
  }
  static std::shared_ptr<NSItemProvider> address(const char* url) {
    return NSItemProvider::make(*NSURL::URLWithString(url), kUTTypeURL);
  }
  std::shared_ptr<NSItemProvider> file(const std::string& path) {
    return NSItemProvider::makeWithContentsOfURL(NSURL::fileURLWithPath(path));
  }
  std::shared_ptr<ShareViewController> share(
      std::vector<std::shared_ptr<NSItemProvider>> attachments, const std::string& text = {}) {
    auto shared = item("Title", text);
    shared->attachments = std::move(attachments);
    auto sheet = begin({shared});
    EXPECT_TRUE(waitForLoads());
    return sheet;
  }
  static std::vector<std::string> filesInFolder() {
    std::vector<std::string> names;
    for (const auto& entry :
         std::filesystem::directory_iterator(TLXExternalAction::sharedAttachmentPath())) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }

 private:
  int photos_ = 0;
};

TEST_F(IntakeTest, AddressesAndPagesGoStraightBehindTheNote) {
  struct Case {
    std::shared_ptr<NSItemProvider> provider;
    std::string note;
  };
  const Case cases[] = {
      {address("https://example.org/a?b=c"), "Nhttps://example.org/a?b=c"},
      {page("https://example.org/", "chosen"), "Nhttps://example.org/\n\nchosen"},
      {page("https://example.org/%40", "%@"), "Nhttps://example.org/%40\n\n%@"},
      {page("https://example.org/", ""), "Nhttps://example.org/"},
      {page("https://example.org/", nullptr), "Nhttps://example.org/"},
      {page(nullptr, "chosen"), "N"},
      {NSItemProvider::make(PropertyList("no dictionary"), kUTTypePropertyList), "N"},
      {NSItemProvider::make(std::string("only text"), kUTTypeText), "N"},
  };
  for (const auto& c : cases) {
    const auto sheet = share({c.provider}, "N");
    EXPECT_EQ(sheet->noteText(), c.note);
    EXPECT_TRUE(sheet->attachmentFiles().empty());
  }
}

TEST_F(IntakeTest, APhotoBecomesTheFirstFreeNumber) {
  const std::string attachments = TLXExternalAction::sharedAttachmentPath();
  std::ofstream(attachments + "/1.jpg") << "another's";
  std::ofstream(attachments + "/3.jpg") << "another's";
  const auto sheet = share({file(photo(samplePhoto())), file(photo(samplePhoto()))});
  EXPECT_THAT(sheet->attachmentFiles(), ElementsAre("2.jpg", "4.jpg"));
  EXPECT_EQ(sheet->noteText(), "") << "a photo's own address is no note";
  EXPECT_TRUE(sheet->attachmentFailures().empty());
  for (const auto& name : sheet->attachmentFiles()) {
    std::ifstream written(attachments + "/" + name, std::ios::binary);
    EXPECT_EQ(written.get(), 0xFF);
    EXPECT_EQ(written.get(), 0xD8);
  }

  sheet->didSelectCancel();
  EXPECT_THAT(filesInFolder(), UnorderedElementsAre("1.jpg", "3.jpg"));
}

TEST_F(IntakeTest, AWebAddressWinsOverTheImageOfTheSameProvider) {
  const auto both = NSItemProvider::make(*NSURL::URLWithString("https://example.org/"), kUTTypeURL);
  both->registerItemForTypeIdentifier(
      kUTTypeImage, [path = photo(samplePhoto())]() -> Result<NSItemProviderItem> {
        return NSItemProviderItem(EncodedImage::imageWithContentsOfFile(path).value());
      });
  const auto sheet = share({both});
  EXPECT_EQ(sheet->noteText(), "https://example.org/");
  EXPECT_TRUE(sheet->attachmentFiles().empty());
}

TEST_F(IntakeTest, AnAddressThatCannotBeHadIsAFailure) {
  const struct {
    const char* type;
    NSError::Kind kind;
    std::size_t failures;
  } cases[] = {{kUTTypeURL, NSError::Kind::Io, 1},
               {kUTTypePropertyList, NSError::Kind::Io, 1},
               {kUTTypeURL, NSError::Kind::Unsupported, 0}};
  for (const auto& [type, kind, failures] : cases) {
    const auto broken = std::make_shared<NSItemProvider>();
    broken->registerItemForTypeIdentifier(type, [kind = kind]() -> Result<NSItemProviderItem> {
      return NSError{kind, "no memory"};
    });
    EXPECT_EQ(share({broken})->attachmentFailures().size(), failures);
  }
}

TEST_F(IntakeTest, APictureThatIsNoneLeavesANameWithoutAFile) {
  const auto broken = std::make_shared<NSItemProvider>();
  broken->registerItemForTypeIdentifier(
      kUTTypeImage, [path = photo(samplePhoto().substr(0, 20000))]() -> Result<NSItemProviderItem> {
        return NSItemProviderItem(EncodedImage::imageWithContentsOfFile(path).value());
      });
  const auto sheet = share({broken, file("/nonexistent/photo.jpg")});
  EXPECT_THAT(sheet->attachmentFiles(), ElementsAre("1.jpg"));
  EXPECT_EQ(sheet->attachmentFailures().size(), 2u);
  EXPECT_TRUE(filesInFolder().empty());

  // The name is free for somebody else, whose file a Cancel here must leave alone.
  std::ofstream(TLXExternalAction::sharedAttachmentPath() + "/1.jpg") << "another's";
  sheet->didSelectCancel();
  EXPECT_THAT(filesInFolder(), ElementsAre("1.jpg"));
}

TEST_F(IntakeTest, ATextFileIsNumberedByItsTypesExtension) {
  const auto sheet = begin();
  sheet->_addTextFileAttachmentFromProvider(
      NSItemProvider::make(std::string("grüße"), "public.html"), "public.html");
  ASSERT_TRUE(waitForLoads());
  sheet->_addTextFileAttachmentFromProvider(NSItemProvider::make(std::string("x"), "private.type"),
                                            "private.type");
  ASSERT_TRUE(waitForLoads());
  EXPECT_THAT(sheet->attachmentFiles(), ElementsAre("Attachment-1.html", "Attachment-1."));
  EXPECT_EQ(NSFileManager::defaultManager()
                .contentsAtPath(TLXExternalAction::sharedAttachmentPath() + "/Attachment-1.html")
                .value(),
            "grüße");
}

}  // namespace
}  // namespace tasklane
