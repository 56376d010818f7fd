#include "common/ShareRequest.h"

#include <unistd.h>

#include <utility>

#include "foundation/extension/NSItemProvider.h"
#include "foundation/extension/UTType.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/files/NSURL.h"
#include "foundation/images/EncodedImage.h"

namespace tasklane {

namespace {

NSError wrongAt(const std::string& place, const std::string& what) {
  return {NSError::Kind::Corrupt, place + ": " + what};
}

NSItemProvider::Loader loaderOf(NSItemProviderItem item) {
  return [item = std::move(item)]() -> Result<NSItemProviderItem> { return item; };
}

/// None when the file can be read, else what is wrong with it.
std::optional<NSError> faultOfFile(const std::string& path, const std::string& place) {
  const auto fault = [&](const std::string& what) {
    return NSError{NSError::Kind::FileNotFound, place + ": " + what};
  };
  if (path.empty() || path.find('\0') != std::string::npos) return fault("this is no file name");
  auto& manager = NSFileManager::defaultManager();
  if (!manager.fileExistsAtPath(path)) return fault("there is no file " + path);
  if (manager.contentsOfDirectoryAtPath(path)) return fault(path + " is a folder, not a file");
  if (::access(path.c_str(), R_OK) != 0) return fault("the file " + path + " may not be read");
  return std::nullopt;
}

Result<NSItemProvider::Loader> loaderOfFile(const ShareRequest::Representation& representation,
                                            const std::string& place) {
  const std::string& path = *representation.file;
  if (auto fault = faultOfFile(path, place)) return *fault;
  if (UTTypeConformsTo(representation.type, kUTTypeImage)) {
    if (const auto image = EncodedImage::imageWithContentsOfFile(path); !image)
      return wrongAt(place, image.error().description);
    // Opened again when it is loaded: a share may have more pictures than a process has
    // descriptors.
    return NSItemProvider::Loader([path]() -> Result<NSItemProviderItem> {
      auto image = EncodedImage::imageWithContentsOfFile(path);
      if (!image) return image.error();
      return NSItemProviderItem(std::move(image).value());
    });
  }
  if (UTTypeConformsTo(representation.type, kUTTypeText))
    return NSItemProvider::Loader([path]() -> Result<NSItemProviderItem> {
      auto text = NSFileManager::defaultManager().contentsAtPath(path);
      if (!text) return text.error();
      return NSItemProviderItem(std::move(text).value());
    });
  return loaderOf(NSURL::fileURLWithPath(path));
}

Result<NSItemProvider::Loader> loaderOfRepresentation(
    const ShareRequest::Representation& representation, const std::string& place) {
  if (representation.file) return loaderOfFile(representation, place + "/file");
  if (representation.url) {
    const auto url = NSURL::URLWithString(*representation.url);
    if (!url)
      return wrongAt(place + "/url", "\"" + *representation.url +
                                         "\" is no absolute address, such as https://example.org/");
    return loaderOf(*url);
  }
  if (representation.text) return loaderOf(*representation.text);
  return loaderOf(PropertyList(PropertyListDictionary{
      {NSExtensionJavaScriptPreprocessingResultsKey, *representation.results}}));
}

Result<std::shared_ptr<NSItemProvider>> providerOfAttachment(
    const ShareRequest::Attachment& attachment, const std::string& place) {
  if (attachment.size() == 1 && attachment[0].file && attachment[0].type == kUTTypeFileURL) {
    if (auto fault = faultOfFile(*attachment[0].file, place + "/file")) return *fault;
    auto provider =
        NSItemProvider::makeWithContentsOfURL(NSURL::fileURLWithPath(*attachment[0].file));
    if (provider->hasItemConformingToTypeIdentifier(kUTTypeImage))
      if (const auto image = EncodedImage::imageWithContentsOfFile(*attachment[0].file); !image)
        return wrongAt(place + "/file", image.error().description);
    return provider;
  }
  auto provider = std::make_shared<NSItemProvider>();
  for (std::size_t i = 0; i < attachment.size(); ++i) {
    auto loader = loaderOfRepresentation(
        attachment[i], attachment.size() == 1 ? place : place + "/types/" + std::to_string(i));
    if (!loader) return loader.error();
    provider->registerItemForTypeIdentifier(attachment[i].type, std::move(loader).value());
  }
  return provider;
}

/// Whether anything of it gets into an item: as with the sheet, the first kind that fits decides.
bool isTaken(const ShareRequest::Attachment& attachment) {
  const ShareRequest::Representation* address = nullptr;
  bool isPicture = false;
  for (const auto& kind : attachment) {
    if (UTTypeConformsTo(kind.type, kUTTypePropertyList))
      return kind.results && kind.results->valueForKey("url");
    if (!address && UTTypeConformsTo(kind.type, kUTTypeURL)) address = &kind;
    isPicture |= UTTypeConformsTo(kind.type, kUTTypeImage);
  }
  if (isPicture || !address) return isPicture;
  if (address->url) {
    const auto url = NSURL::URLWithString(*address->url);
    return url && !url->isFileURL();
  }
  return address->file && attachment.size() == 1 && address->type == kUTTypeFileURL &&
         NSItemProvider::makeWithContentsOfURL(NSURL::fileURLWithPath(*address->file))
             ->hasItemConformingToTypeIdentifier(kUTTypeImage);
}

}  // namespace

Result<std::vector<std::shared_ptr<NSExtensionItem>>> ShareRequest::inputItems() const {
  std::vector<std::shared_ptr<NSExtensionItem>> result;
  for (std::size_t i = 0; i < items.size(); ++i) {
    auto item = std::make_shared<NSExtensionItem>();
    item->attributedTitle = items[i].title;
    item->attributedContentText = items[i].text;
    for (std::size_t j = 0; j < items[i].attachments.size(); ++j) {
      auto provider =
          providerOfAttachment(items[i].attachments[j],
                               "/items/" + std::to_string(i) + "/attachments/" + std::to_string(j));
      if (!provider) return provider.error();
      item->attachments.push_back(std::move(provider).value());
    }
    result.push_back(std::move(item));
  }
  return result;
}

std::vector<std::string> ShareRequest::warnings() const {
  std::vector<std::string> sentences;
  for (const auto& item : items)
    for (const auto& attachment : item.attachments) {
      if (isTaken(attachment)) continue;
      const auto& kind = attachment.front();
      const std::string what = kind.file  ? "the file " + *kind.file
                               : kind.url ? "the address " + *kind.url
                                          : "an attachment of the type " + kind.type;
      sentences.push_back("nothing is taken of " + what +
                          ": only pictures, web addresses and pages are");
    }
  return sentences;
}

}  // namespace tasklane
