#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/base/NSError.h"
#include "foundation/images/EncodedImage.h"

namespace tasklane {

/// What another program offers, copied or dropped: each kind that it has. A value.
struct UIPasteboardContents {
  struct Link {
    std::string address;  ///< not that of a file
    std::string title;    ///< empty where there is none
  };

  std::string text;
  std::string sourceAddress;  ///< the web page that the text or picture was copied from, or empty
  std::vector<Link> links;
  std::vector<std::string> files;  ///< absolute paths
  bool hasPicture = false;
  std::shared_ptr<const EncodedImage> picture;  ///< null where it was not asked for, or is none
  std::optional<NSError> pictureFault;          ///< why it is none
  /// The program that has it asks that nobody keeps it, as for a password.
  bool isSecret = false;

  bool empty() const { return text.empty() && links.empty() && files.empty() && !hasPicture; }
};

/// What was copied, and what is marked with the pointer at present.
enum class UIPasteboard { General, Selection };

namespace backend {

/// Answers what it holds, once that can be known: at once where the desktop tells everybody, which
/// is before this returns; else when a window of this process has the keyboard. Main thread.
void readPasteboard(UIPasteboard pasteboard,
                    std::function<void(const UIPasteboardContents&)> handler);
/// The same for a process that has no window to show. None when the desktop has not told by the
/// limit. The backend has been started before.
std::optional<UIPasteboardContents> waitForPasteboard(UIPasteboard pasteboard);

}  // namespace backend
}  // namespace tasklane
