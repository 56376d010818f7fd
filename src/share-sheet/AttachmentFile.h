#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "foundation/EncodedImage.h"
#include "foundation/NSError.h"

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

  /// Takes the first number whose name is free in the folder and answers the name. Where the
  /// content could not be prepared or written the name is answered all the same, written() is
  /// false, and the console has said why.
  std::string takeName(const Namer& name);
  bool written() const { return written_; }

 private:
  explicit AttachmentFile(std::string folder) : folder_(std::move(folder)) {}

  std::string folder_;
  std::shared_ptr<UnnamedFile> file_;
  std::string failure_;
  bool written_ = false;
};

}  // namespace tasklane
