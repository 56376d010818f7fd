#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/base/NSError.h"
#include "foundation/extension/NSExtensionContext.h"
#include "foundation/property-lists/PropertyList.h"

namespace tasklane {

/// What is shared, before it is loaded: what a person has asked for on the command line, or a JSON
/// document such as
///
///   {"items": [{"title": "…", "text": "…", "attachments": [
///     {"type": "public.url", "url": "https://…"},
///     {"type": "public.image", "file": "photo.jpg"},
///     {"type": "public.plain-text", "text": "…"},
///     {"type": "public.property-list", "results": {"url": "…", "selection": "…"}},
///     {"types": [{"type": "public.url", "url": "…"}, {"type": "public.image", "file": "…"}]}]}]}
///
/// or {"items": [], "clipboard": "copied"} for what was copied, "selected" for what is marked, and
/// with "cleanLinks": true without what tells who has followed a link (LinkCleaning.h).
/// Everything in an item may be left out. A file may also be given as a file address. An attachment
/// under "types" is one that can be loaded as any of them. A value; main thread.
struct ShareRequest {
  /// One type as which an attachment can be loaded, and from what: exactly one of the four.
  struct Representation {
    std::string type;
    std::optional<std::string> url;
    std::optional<std::string> file;  ///< an absolute path
    std::optional<std::string> text;
    std::optional<PropertyList> results;  ///< what a page's script found out, by key
  };
  using Attachment = std::vector<Representation>;
  struct Item {
    std::optional<std::string> title;
    std::optional<std::string> text;
    std::vector<Attachment> attachments;
  };

  enum class Clipboard { Copied, Selected };

  std::vector<Item> items;
  /// Where the items are to be taken from once there is a display; there are none before.
  std::optional<Clipboard> clipboard;
  bool cleanLinks = false;

  /// Reads a document. Relative file names are taken from the given folder. An error names the
  /// place, as "/items/0/attachments/2/url": of kind Corrupt for what is wrong with the document.
  static Result<ShareRequest> requestFromJSON(std::string_view text, const std::string& folder);
  /// The document, for another process; text that is no UTF-8 arrives with U+FFFD in it.
  std::string JSON() const;

  /// The items as an extension gets them. Files are looked at, not loaded: an error of kind
  /// FileNotFound for one that is not there or cannot be read, Corrupt for one that is not what its
  /// type says, naming the place as above.
  Result<std::vector<std::shared_ptr<NSExtensionItem>>> inputItems() const;

  /// A sentence for each attachment of which an item will hold nothing: pictures, web addresses and
  /// pages are taken, no other files and no texts. Looks at the files.
  std::vector<std::string> warnings() const;
};

}  // namespace tasklane
