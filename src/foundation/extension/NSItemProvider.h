#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "foundation/base/NSError.h"
#include "foundation/base/NSObject.h"
#include "foundation/files/NSURL.h"
#include "foundation/images/EncodedImage.h"
#include "foundation/property-lists/PropertyList.h"

namespace tasklane {

/// The key under which a web page's results lie in the dictionary loaded for kUTTypePropertyList.
inline constexpr const char* NSExtensionJavaScriptPreprocessingResultsKey =
    "NSExtensionJavaScriptPreprocessingResultsKey";

/// What a provider yields: nothing, an address, a property list, an image that keeps its encoded
/// bytes, or a text (UTF-8).
using NSItemProviderItem = std::variant<std::monostate, NSURL, PropertyList,
                                        std::shared_ptr<const EncodedImage>, std::string>;

/// One attachment of a share: content that can be loaded as one or several types.
///
/// Loads run on background threads of the platform and complete there. At most two pictures load at
/// once, and none begins while several wait for the main thread to take them, so that many photos
/// fill neither memory nor the table of descriptors; whatever is no picture does not wait for them.
/// A provider is immutable once it is handed out.
class NSItemProvider : public NSObject {
 public:
  using CompletionHandler =
      std::function<void(const NSItemProviderItem& item, const std::optional<NSError>& error)>;
  using Loader = std::function<Result<NSItemProviderItem>()>;

  NSItemProvider() = default;
  /// A provider of one item that is there already.
  static std::shared_ptr<NSItemProvider> make(const NSItemProviderItem& item,
                                              const std::string& typeIdentifier);
  /// A provider of a file: a file address (kUTTypeFileURL) and, when the file's type is an image,
  /// loadable as that image.
  static std::shared_ptr<NSItemProvider> makeWithContentsOfURL(const NSURL& url);

  /// Adds a type, with how to load it. The order of adding is the order of preference.
  void registerItemForTypeIdentifier(const std::string& typeIdentifier, Loader loader);

  /// Whether any registered type is, or is a kind of, the given one.
  bool hasItemConformingToTypeIdentifier(const std::string& typeIdentifier) const;

  /// Loads the first registered type that conforms. The handler is called exactly once, on a
  /// background thread, also with nothing and an error. The provider lives until then. A handler
  /// that throws, as when memory runs out, is called once more, with nothing and an error of kind
  /// Io; what it throws then is logged.
  void loadItemForTypeIdentifier(const std::string& typeIdentifier,
                                 CompletionHandler completionHandler);

  /// Loads that have been started in this process and whose handler has not yet returned. A program
  /// that waits for all of them runs the run loop until this is 0 and the main queue is empty,
  /// asked in this order.
  static int outstandingLoads();

 private:
  std::vector<std::pair<std::string, Loader>> loaders_;
};

}  // namespace tasklane
