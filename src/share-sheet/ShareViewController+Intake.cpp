#include <vector>

#include "foundation/base/NSLog.h"
#include "foundation/events/NSOperationQueue.h"
#include "foundation/extension/UTType.h"
#include "foundation/property-lists/PropertyListLookup.h"
#include "foundation/text/NSString+Folding.h"
#include "share-sheet/ExtensionStrings.h"
#include "share-sheet/ShareViewController.h"
#include "shared-store/TLXExternalAction.h"
#include "uikit/drawing/UIImage.h"

namespace tasklane {

namespace {

constexpr int kThumbnailSide = 192;

std::string imageName(std::size_t number) { return std::to_string(number) + ".jpg"; }

/// The text of a web page's results, or nothing without an address.
std::string webInfoText(const PropertyList& loaded) {
  const auto* results = loaded.valueForKey(NSExtensionJavaScriptPreprocessingResultsKey);
  const auto* url = stringAt(results, "url");
  if (!url) return {};
  const std::string selection = textAt(results, "selection");
  return selection.empty() ? *url : stringWithFormat("%@\n\n%@", {*url, selection});
}

}  // namespace

/// A photo out of a load, ready to be named; what the loading threads do with it.
struct ShareViewController::LoadedPhoto {
  std::optional<AttachmentFile> file;
  std::optional<EncodedImage::Pixels> thumbnail;
  std::optional<NSError> failure;

  /// Encoding is long, so it happens on the loading thread; the main thread only chooses the name.
  void take(const NSItemProviderItem& item, const std::optional<NSError>& error,
            const PhotoLoad& load) {
    const auto* image = std::get_if<std::shared_ptr<const EncodedImage>>(&item);
    if (!image || !*image) {
      failure = error.value_or(NSError{NSError::Kind::Unsupported, "it is no picture"});
      return;
    }
    file = load.draftFile.empty() ? AttachmentFile::ofImage(**image, load.folder)
                                  : AttachmentFile::ofFile(load.draftFile, load.folder);
    if (!load.wantsThumbnail || !file->isPrepared()) return;
    auto small = (*image)->thumbnail(kThumbnailSide);
    if (small) thumbnail = std::move(small).value();
  }
};

void ShareViewController::beginRequestWithExtensionContext(
    const std::shared_ptr<NSExtensionContext>& context) {
  SLComposeServiceViewController::beginRequestWithExtensionContext(context);
  attachmentFiles_.clear();
  photos_.clear();
  unwrittenFiles_.clear();
  attachmentFailures_.clear();
  noteText_.clear();
  initialText_.clear();

  if (context->awaitsInput()) {
    context->setInputHandler([load = beginLoad()](const auto& items) {
      --*load.outstanding;
      if (const auto sheet = std::dynamic_pointer_cast<ShareViewController>(load.sheet.lock()))
        sheet->takeLateItems(items);
    });
  }
  takeItems(context->inputItems());
}

void ShareViewController::takeItems(const NSExtensionContext::InputItems& items) {
  std::string& note = noteText_;
  for (const auto& item : items) {
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
  showPhotos();
}

void ShareViewController::takeLateItems(const NSExtensionContext::InputItems& items) {
  takeItems(items);
  if (isViewLoaded() && !initialText_.empty()) {
    // Behind what the person may have begun to type.
    const std::string typed = contentText();
    textView()->setText(typed.empty() ? initialText_ : typed + "\n" + initialText_);
    textViewDidChange(textView());
  }
  if (!configItems_.empty()) showNoteMark(*notesConfigItem());
  contentDidLoad();
}

void ShareViewController::addProvider(const std::shared_ptr<NSItemProvider>& provider) {
  if (provider->hasItemConformingToTypeIdentifier(kUTTypePropertyList)) {
    _addWebInfoFromProvider(provider);
  } else if (provider->hasItemConformingToTypeIdentifier(kUTTypeURL)) {
    // Should the address be that of a file, then it is the picture that is shared.
    const bool mayBePhoto = provider->hasItemConformingToTypeIdentifier(kUTTypeImage);
    const auto photo = mayBePhoto ? announcePhoto() : PhotoLoad{};
    addURL(provider, photo.place, [photo](const std::shared_ptr<NSItemProvider>& fallback) {
      if (photo.place && !photo.sheet.expired()) loadPhoto(fallback, kUTTypeImage, photo);
    });
  } else if (provider->hasItemConformingToTypeIdentifier(kUTTypeImage)) {
    loadPhoto(provider, kUTTypeImage, announcePhoto());
  }
  // A provider that offers only text adds nothing: its text came as the item's own.
}

// Loads. A sheet that is dropped meanwhile is not kept alive by them: it is looked for on the main
// thread alone, so that it never ends on another.

void ShareViewController::Load::finish(
    std::function<void(ShareViewController& sheet)> apply) const {
  NSOperationQueue::mainQueue().addOperationWithBlock([load = *this, apply = std::move(apply)] {
    --*load.outstanding;
    const auto found = std::dynamic_pointer_cast<ShareViewController>(load.sheet.lock());
    if (!found) return;
    if (apply) apply(*found);
    found->contentDidLoad();
  });
}

void ShareViewController::Load::finishWithoutAddress(const std::optional<NSError>& error) const {
  if (!error || error->kind != NSError::Kind::Io) return finish();
  finish([reason = error->description](auto& found) {
    found.attachmentFailures_.push_back(
        {NSError::Kind::Io, "An address could not be taken: " + reason});
    if (found.isViewLoaded()) NSLog(found.attachmentFailures_.back().description);
  });
}

ShareViewController::Load ShareViewController::beginLoad() {
  ++*outstandingLoads_;
  return {shared_from_this(), outstandingLoads_};
}

void ShareViewController::_addWebInfoFromProvider(const std::shared_ptr<NSItemProvider>& provider) {
  provider->loadItemForTypeIdentifier(
      kUTTypePropertyList,
      [load = beginLoad()](const NSItemProviderItem& item, const std::optional<NSError>& error) {
        const auto* loaded = std::get_if<PropertyList>(&item);
        if (!loaded) return load.finishWithoutAddress(error);
        load.finish([plist = *loaded](auto& sheet) { sheet.noteText_ += webInfoText(plist); });
      });
}

void ShareViewController::_addURLFromProvider(const std::shared_ptr<NSItemProvider>& provider,
                                              const FallbackHandler& fallbackHandler) {
  addURL(provider, nullptr, fallbackHandler);
}

void ShareViewController::addURL(const std::shared_ptr<NSItemProvider>& provider,
                                 const std::shared_ptr<SLComposeThumbnail>& place,
                                 const FallbackHandler& fallbackHandler) {
  provider->loadItemForTypeIdentifier(
      kUTTypeURL, [load = beginLoad(), provider, place, fallbackHandler](
                      const NSItemProviderItem& item, const std::optional<NSError>& error) {
        const auto* url = std::get_if<NSURL>(&item);
        if (!url || url->isFileURL()) {
          fallbackHandler(provider);
          return place ? load.finish() : load.finishWithoutAddress(error);
        }
        load.finish([place, address = url->absoluteString()](auto& sheet) {
          // Straight after what is there: a note is one text, and its author sets its line breaks.
          sheet.noteText_ += address;
          if (std::erase(sheet.photos_, place) > 0) sheet.showPhotos();
        });
      });
}

ShareViewController::PhotoLoad ShareViewController::announcePhoto() {
  PhotoLoad photo;
  photo.sheet = shared_from_this();
  photo.outstanding = outstandingLoads_;
  photo.place = photos_.emplace_back(std::make_shared<SLComposeThumbnail>());
  photo.folder = TLXExternalAction::sharedAttachmentPath();
  photo.wantsThumbnail = showsThumbnails_;
  return photo;
}

void ShareViewController::_addImageAttachmentFromProvider(
    const std::shared_ptr<NSItemProvider>& provider, const std::string& withType) {
  loadPhoto(provider, withType, announcePhoto());
  showPhotos();
}

void ShareViewController::loadPhoto(const std::shared_ptr<NSItemProvider>& provider,
                                    const std::string& type, const PhotoLoad& load) {
  ++*load.outstanding;
  provider->loadItemForTypeIdentifier(
      type, [load](const NSItemProviderItem& item, const std::optional<NSError>& error) {
        const auto photo = std::make_shared<LoadedPhoto>();
        if (!load.sheet.expired()) photo->take(item, error, load);
        load.finish([place = load.place, photo](auto& sheet) { sheet.takePhoto(*place, *photo); });
      });
}

void ShareViewController::takePhoto(SLComposeThumbnail& place, LoadedPhoto& photo) {
  using State = SLComposeThumbnail::State;
  // An address that is loaded once more, because memory ran out, brings its photo twice.
  if (place.state != State::Loading) return;
  if (photo.file && !attach(imageName, *photo.file)) photo.failure = photo.file->failure();
  place.state = !photo.failure ? State::Ready : State::Failed;
  if (photo.thumbnail && !photo.failure) {
    const auto& pixels = *photo.thumbnail;
    place.image = std::make_shared<UIImage>(
        std::make_shared<const CGImage>(CGImage{pixels.width, pixels.height, pixels.argb}), 1);
  }
  if (photo.failure) {
    attachmentFailures_.push_back(
        {photo.failure->kind, "A photo could not be taken: " + photo.failure->description});
    // Whoever looks at the sheet sees it; the terminal behind it has the reason.
    if (isViewLoaded() && view()->window()) NSLog(attachmentFailures_.back().description);
    updateNotice();
  }
  showPhotos();
}

void ShareViewController::_addTextFileAttachmentFromProvider(
    const std::shared_ptr<NSItemProvider>& provider, const std::string& withType) {
  const std::string folder = TLXExternalAction::sharedAttachmentPath();
  const std::string extension =
      UTTypeCopyPreferredTagWithClass(withType, kUTTagClassFilenameExtension).value_or("");
  provider->loadItemForTypeIdentifier(
      withType, [load = beginLoad(), folder, extension](const NSItemProviderItem& item,
                                                        const std::optional<NSError>&) {
        const auto* text = std::get_if<std::string>(&item);
        if (!text) return load.finish();
        const auto file = std::make_shared<AttachmentFile>(AttachmentFile::ofText(*text, folder));
        load.finish([file, extension](auto& sheet) {
          const auto name = [&extension](std::size_t number) {
            return "Attachment-" + std::to_string(number) + "." + extension;
          };
          if (!sheet.attach(name, *file)) sheet.attachmentFailures_.push_back(file->failure());
        });
      });
}

void ShareViewController::showPhotos() {
  if (!showsThumbnails_) return;
  std::vector<SLComposeThumbnail> places;
  for (std::size_t i = 0; i < photos_.size(); ++i) {
    auto& place = places.emplace_back(*photos_[i]);
    if (i >= SLComposeThumbnailsView::kMost) continue;
    place.accessibilityLabel = stringWithFormat(
        extensionString("Photo %@ of %@"), {std::to_string(i + 1), std::to_string(photos_.size())});
    if (place.state == SLComposeThumbnail::State::Loading)
      place.accessibilityValue = extensionString("Loading");
    if (place.state == SLComposeThumbnail::State::Failed)
      place.accessibilityValue = extensionString("Could not be taken");
  }
  setThumbnails(places);
}

bool ShareViewController::attach(const AttachmentFile::Namer& name, AttachmentFile& file) {
  if (!hold_) hold_.emplace(TLXExternalAction::sharedAttachmentPath());
  const std::string taken = file.takeName(name, *hold_);
  attachmentFiles_.push_back(taken);
  // The name may have been that of an earlier photo that could not be written.
  if (file.written()) {
    unwrittenFiles_.erase(taken);
  } else {
    unwrittenFiles_.insert(taken);
  }
  return file.written();
}

}  // namespace tasklane
