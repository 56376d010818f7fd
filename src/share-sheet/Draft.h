#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/base/FileDescriptor.h"
#include "foundation/base/NSError.h"

namespace tasklane {

/// An entry that was begun and is not saved, in a folder of its own below the person's state folder
/// (XDG Base Directories): $XDG_STATE_HOME/tasklane/drafts/<id>, with "draft.plist" and beside it
/// the attachments that this names. A folder without that document holds nothing yet.
///
/// The process that has made or found a draft has it alone until it drops it. Main thread.
class Draft {
 public:
  struct Contents {
    std::string title, note;
    /// Titles out of the catalogue, as chosen.
    std::optional<std::string> project, context;
    /// Names of files beside the document, in order.
    std::vector<std::string> attachments;
  };

  /// A new one, which holds nothing yet and leaves nothing behind until keep().
  static Result<std::unique_ptr<Draft>> make();
  /// The youngest that no other process has; null without one. One that cannot be read is passed
  /// over, and the console says so.
  static std::unique_ptr<Draft> youngest();
  ~Draft();
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;

  const std::string& id() const { return id_; }
  const Contents& contents() const { return contents_; }
  std::string pathOfAttachment(const std::string& name) const { return folder_ + "/" + name; }

  /// Writes it whole, to be found by youngest(): the contents, whose attachments are given as paths
  /// of files that will not change. These are linked or copied. All is on the disk when it returns;
  /// after an error what was kept before is still there.
  Result<void> keep(Contents contents, const std::vector<std::string>& attachmentPaths);
  /// Removes it from the disk.
  void remove();

 private:
  Draft(std::string id, std::string folder, FileDescriptor lock);
  static std::unique_ptr<Draft> open(const std::string& id);
  Result<void> read();
  Result<std::string> takeAttachment(const std::string& path, std::size_t number) const;

  std::string id_;
  std::string folder_;
  FileDescriptor lock_;
  Contents contents_;
  double date_ = 0;
  bool kept_ = false;
};

}  // namespace tasklane
