#pragma once

#include <optional>
#include <string>
#include <utility>

namespace tasklane {

/// A web or file address (RFC 3986). A value; any thread.
class NSURL {
 public:
  /// The address of a file-system path: made absolute against the working folder, percent-encoded,
  /// with the scheme "file". "." and ".." segments and doubled slashes are removed, links are not
  /// followed.
  static NSURL fileURLWithPath(const std::string& path);

  /// The address in a text, or none when the text is no absolute address (scheme, colon, rest).
  static std::optional<NSURL> URLWithString(const std::string& text);

  const std::string& absoluteString() const { return absoluteString_; }
  std::string scheme() const;
  bool isFileURL() const;

  /// The file-system path, percent-decoded, of a file address; of another address its path
  /// component.
  std::string path() const;
  std::string lastPathComponent() const;
  std::string pathExtension() const;
  NSURL URLByAppendingPathComponent(const std::string& component) const;
  NSURL URLByDeletingLastPathComponent() const;

  bool operator==(const NSURL&) const = default;

 private:
  explicit NSURL(std::string absoluteString) : absoluteString_(std::move(absoluteString)) {}
  std::string absoluteString_;
};

}  // namespace tasklane
