#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "foundation/base/NSError.h"
#include "foundation/images/EncodedImage.h"
#include "shared-store/AttachmentHold.h"

namespace tasklane {

/// A file on its way into the shared attachment folder. It is prepared, without a name, on the disk
/// of that folder and on whatever thread loaded its content; giving it the first free name is one
/// step that never replaces a file, also not one that another process makes at the same moment.
class AttachmentFile {
 public:
  /// The name for a number, from 1 upward.
  using Namer = std::function<std::string(std::size_t number)>;

  /// A photo re-encoded as JPEG of the highest quality.
  static AttachmentFile ofImage(const EncodedImage& image, const std::string& folder);
  static AttachmentFile ofText(const std::string& text, const std::string& folder);
  /// A copy of a file that was an attachment already.
  static AttachmentFile ofFile(const std::string& path, const std::string& folder);

  /// Whether the content is there, so that only a name is missing.
  bool isPrepared() const { return file_ != nullptr; }
  /// Takes the first number whose name is free in the folder and answers the name; the file is in
  /// the hold before it has it. Where the
  /// content could not be prepared or written the name is answered all the same, and written() is
  /// false.
  std::string takeName(const Namer& name, AttachmentHold& hold);
  bool written() const { return written_; }
  /// Why it could not be prepared or written.
  const NSError& failure() const { return failure_; }

 private:
  using Writer = std::function<Result<void>(UnnamedFile&)>;
  AttachmentFile(const std::string& folder, const Writer& write);

  std::string folder_;
  std::shared_ptr<UnnamedFile> file_;
  NSError failure_;
  bool written_ = false;
};

}  // namespace tasklane
