#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/base/FileDescriptor.h"
#include "foundation/base/NSError.h"

namespace tasklane {

/// What a person shares from a browser, as the extension tells it in one or several messages. Each
/// is an object of strings:
///
///   {"type": "picture", "bytes": "…"}      a piece of the picture, in base64; as many as it takes
///   {"type": "share", "title": "…", "url": "…", "canonical": "…", "selection": "…"}      the last
///   {"type": "hello"}                      asks whether anybody is there
///
/// Whatever a share does not have is left out. Addresses are kept as text: nothing that a message
/// names is looked up or read. One thread.
class PageShare {
 public:
  enum class Message { Picture, Share, Hello };

  static constexpr std::size_t kLargestPicture = 256 << 20;

  /// Takes a message in; what it was. Of kind Corrupt when it is none of the above.
  Result<Message> take(std::string_view message);

  /// The picture's bytes in an open file without a name; none when there is no picture.
  const FileDescriptor& picture() const { return picture_; }

  /// The request for `tasklane share --request`, with the picture under this name.
  std::string request(const std::string& pictureFile) const;

 private:
  Result<Message> append(std::string_view base64);

  std::optional<std::string> title_, url_, canonical_, selection_;
  FileDescriptor picture_;
  std::size_t pictureSize_ = 0;
};

}  // namespace tasklane
