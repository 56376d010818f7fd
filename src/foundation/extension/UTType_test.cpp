#include "foundation/extension/UTType.h"

#include <gtest/gtest.h>

namespace tasklane {
namespace {

TEST(UTType, ConformsUpTheTreeAndNotDown) {
  const struct {
    const char *type, *to;
    bool conforms;
  } cases[] = {
      {"public.jpeg", kUTTypeImage, true},
      {"public.heic", kUTTypeImage, true},
      {"public.heic", kUTTypeData, true},
      {kUTTypeImage, "public.jpeg", false},
      {kUTTypeFileURL, kUTTypeURL, true},
      {kUTTypeURL, kUTTypeFileURL, false},
      {"public.html", kUTTypeText, true},
      {"public.utf8-plain-text", kUTTypeText, true},
      {"public.xml-property-list", kUTTypePropertyList, true},
      {kUTTypePropertyList, kUTTypeText, false},
      {kUTTypeURL, kUTTypeText, false},
      {"org.example.unknown", "org.example.unknown", true},
      {"org.example.unknown", kUTTypeData, false},
  };
  for (const auto& c : cases) EXPECT_EQ(UTTypeConformsTo(c.type, c.to), c.conforms) << c.type;
}

TEST(UTType, KnowsExtensionsAndMIMETypes) {
  const struct {
    const char *type, *extension, *mime;
  } cases[] = {
      {"public.jpeg", "JPG", "image/jpeg"},
      {"public.png", "png", "image/png"},
      {"public.gif", "gif", "image/gif"},
      {"public.tiff", "tif", "image/tiff"},
      {"public.webp", "webp", "image/webp"},
      {"public.heic", "HEIC", "image/heic"},
      {"public.bmp", "bmp", "image/bmp"},
      {"public.plain-text", "txt", "text/plain"},
      {"public.html", "htm", "Text/HTML"},
      {"public.property-list", "plist", "application/x-plist"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(UTTypeCreatePreferredIdentifierForTag(kUTTagClassFilenameExtension, c.extension),
              c.type);
    EXPECT_EQ(UTTypeCreatePreferredIdentifierForTag(kUTTagClassMIMEType, c.mime), c.type);
  }
  EXPECT_FALSE(UTTypeCreatePreferredIdentifierForTag(kUTTagClassFilenameExtension, ""));
  EXPECT_FALSE(UTTypeCreatePreferredIdentifierForTag(kUTTagClassFilenameExtension, "jpeg jpg"));
  EXPECT_EQ(UTTypeCopyPreferredTagWithClass("public.jpeg", kUTTagClassFilenameExtension), "jpeg");
  EXPECT_FALSE(UTTypeCopyPreferredTagWithClass(kUTTypeImage, kUTTagClassFilenameExtension));
}

}  // namespace
}  // namespace tasklane
