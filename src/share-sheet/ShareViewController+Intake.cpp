#include "foundation/NSLog.h"
#include "foundation/NSOperationQueue.h"
#include "foundation/NSString+Folding.h"
#include "foundation/UTType.h"
#include "share-sheet/ExtensionStrings.h"
#include "share-sheet/ShareViewController.h"
#include "shared-store/TLXExternalAction.h"
#include "uikit/UIImage.h"

namespace tasklane {

namespace {

constexpr int kThumbnailSide = 192;

void onMainQueue(std::function<void()> block) {
  NSOperationQueue::mainQueue().addOperationWithBlock(std::move(block));
}

std::string imageName(std::size_t number) { return std::to_string(number) + ".jpg"; }

/// The text of a web page's results, or nothing without an address.
std::string webInfoText(const PropertyList& loaded) {
  const auto* results = loaded.valueForKey(NSExtensionJavaScriptPreprocessingResultsKey);
  const auto* url = results ? results->valueForKey("url") : nullptr;
  if (!url || !url->string()) return {};
  const auto* selection = results->valueForKey("selection");
  if (selection && selection->string() && !selection->string()->empty()) {
    return stringWithFormat("%@\n\n%@", {*url->string(), *selection->string()});
  }
  return *url->string();
}

}  // namespace

void ShareViewController::beginRequestWithExtensionContext(
    const std::shared_ptr<NSExtensionContext>& context) {
  SLComposeServiceViewController::beginRequestWithExtensionContext(context);
  attachmentFiles_.clear();
  thumbnails_.clear();
  unwrittenFiles_.clear();
  allAttachmentsWritten_ = true;
  noteText_.clear();
  initialText_.clear();

  std::string note;
  for (const auto& item : context->inputItems()) {
    for (const auto& provider : item->attachments) addProvider(provider);

    const std::string title = item->attributedTitle.value_or("");
    const std::string content = item->attributedContentText.value_or("");
    if (!title.empty()) {
      if (!initialText_.empty()) initialText_ += "\n";
      initialText_ += title;
    }
    if (content.empty()) continue;
    if (!note.empty()) note += "\n";
    if (!title.empty()) {
      note += content;
    } else {
      const std::size_t firstLine = lineRangeForRange(content, 0, 1).second;
      initialText_ += content.substr(0, firstLine);
      note += content.substr(firstLine);
    }
  }
  noteText_ = note;
}

void ShareViewController::addProvider(const std::shared_ptr<NSItemProvider>& provider) {
  if (provider->hasItemConformingToTypeIdentifier(kUTTypePropertyList)) {
    _addWebInfoFromProvider(provider);
  } else if (provider->hasItemConformingToTypeIdentifier(kUTTypeURL)) {
    const auto weakSheet = std::weak_ptr<NSObject>(shared_from_this());
    _addURLFromProvider(provider, [weakSheet](const std::shared_ptr<NSItemProvider>& fallback) {
      const auto sheet = std::dynamic_pointer_cast<ShareViewController>(weakSheet.lock());
      if (sheet && fallback->hasItemConformingToTypeIdentifier(kUTTypeImage)) {
        sheet->_addImageAttachmentFromProvider(fallback, kUTTypeImage);
      }
    });
  } else if (provider->hasItemConformingToTypeIdentifier(kUTTypeImage)) {
    _addImageAttachmentFromProvider(provider, kUTTypeImage);
  }
  // A provider that offers only text adds nothing: its text came as the item's own.
}

void ShareViewController::_addWebInfoFromProvider(const std::shared_ptr<NSItemProvider>& provider) {
  const auto sheet = sharedFrom(this);
  provider->loadItemForTypeIdentifier(
      kUTTypePropertyList, [sheet](const NSItemProviderItem& item, const std::optional<NSError>&) {
        const auto* loaded = std::get_if<PropertyList>(&item);
        if (!loaded) return;
        onMainQueue([sheet, plist = *loaded] { sheet->noteText_ += webInfoText(plist); });
      });
}

void ShareViewController::_addURLFromProvider(const std::shared_ptr<NSItemProvider>& provider,
                                              FallbackHandler fallbackHandler) {
  const auto sheet = sharedFrom(this);
  provider->loadItemForTypeIdentifier(
      kUTTypeURL, [sheet, provider, fallbackHandler](const NSItemProviderItem& item,
                                                     const std::optional<NSError>&) {
        const auto* url = std::get_if<NSURL>(&item);
        if (!url || url->isFileURL()) {
          fallbackHandler(provider);
          return;
        }
        // Straight after what is there: a note is one text, and its author sets its line breaks.
        onMainQueue([sheet, address = url->absoluteString()] { sheet->noteText_ += address; });
      });
}

void ShareViewController::_addImageAttachmentFromProvider(
    const std::shared_ptr<NSItemProvider>& provider, const std::string& withType) {
  const auto sheet = sharedFrom(this);
  const std::string folder = TLXExternalAction::sharedAttachmentPath();
  provider->loadItemForTypeIdentifier(
      withType,
      [sheet, folder](const NSItemProviderItem& item, const std::optional<NSError>& error) {
        const auto* image = std::get_if<std::shared_ptr<const EncodedImage>>(&item);
        if (!image || !*image) {
          if (error) NSLog("A shared image could not be read: " + error->description);
          return;
        }
        // Encoding is long and reading the result back is not needed, so both happen here on the
        // loading thread; the main thread only chooses the name.
        auto file = std::make_shared<AttachmentFile>(AttachmentFile::ofImage(**image, folder));
        auto small = (*image)->thumbnail(kThumbnailSide);
        onMainQueue([sheet, file, small = std::move(small)] {
          sheet->attach(imageName, *file);
          if (!small) return;
          const auto& pixels = small.value();
          const auto bitmap =
              std::make_shared<const CGImage>(CGImage{pixels.width, pixels.height, pixels.argb});
          sheet->showThumbnail(std::make_shared<UIImage>(bitmap, 1));
        });
      });
}

void ShareViewController::_addTextFileAttachmentFromProvider(
    const std::shared_ptr<NSItemProvider>& provider, const std::string& withType) {
  const auto sheet = sharedFrom(this);
  const std::string folder = TLXExternalAction::sharedAttachmentPath();
  const std::string extension =
      UTTypeCopyPreferredTagWithClass(withType, kUTTagClassFilenameExtension).value_or("");
  provider->loadItemForTypeIdentifier(
      withType,
      [sheet, folder, extension](const NSItemProviderItem& item, const std::optional<NSError>&) {
        const auto* text = std::get_if<std::string>(&item);
        if (!text) return;
        auto file = std::make_shared<AttachmentFile>(AttachmentFile::ofText(*text, folder));
        onMainQueue([sheet, file, extension] {
          sheet->attach(
              [&extension](std::size_t number) {
                return "Attachment-" + std::to_string(number) + "." + extension;
              },
              *file);
        });
      });
}

void ShareViewController::showThumbnail(const std::shared_ptr<UIImage>& thumbnail) {
  thumbnails_.push_back(thumbnail);
  setThumbnails(thumbnails_, std::vector(thumbnails_.size(), extensionString("Photo")));
}

void ShareViewController::attach(const AttachmentFile::Namer& name, AttachmentFile& file) {
  const std::string taken = file.takeName(name);
  attachmentFiles_.push_back(taken);
  if (file.written()) {
    // The name may have been that of an earlier photo that could not be written.
    unwrittenFiles_.erase(taken);
  } else {
    unwrittenFiles_.insert(taken);
    allAttachmentsWritten_ = false;
  }
}

}  // namespace tasklane
