#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/base/NSError.h"
#include "foundation/images/decoding/ScratchFile.h"

#include <jpeglib.h>

namespace tasklane {

/// Keeps the coefficients of a JPEG in several scans on disk instead of in memory.
///
/// Such a picture (a progressive one, above all) is decoded only after its last scan, until then
/// the library holds two bytes for each sample: 144 MB for 48 megapixels. Here they lie in a
/// scratch file, of which a window of about a megabyte an array is in memory at a time; scans go
/// through the rows in order, so a window moves rarely. (Reading and writing windows is twice as
/// fast as mapping them: a mapped page costs a fault in every scan.)
class JPEGCoefficientFile {
 public:
  explicit JPEGCoefficientFile(ScratchFile& scratch) : scratch_(scratch) {}
  ~JPEGCoefficientFile() = default;
  JPEGCoefficientFile(const JPEGCoefficientFile&) = delete;
  JPEGCoefficientFile& operator=(const JPEGCoefficientFile&) = delete;

  /// Takes over the block arrays of a library object that was just made, which must not outlive
  /// this. Uses the object's client_data.
  void install(j_common_ptr info);

  /// What the file may grow to, in bytes; 0 for a picture in one scan.
  std::uint64_t size() const { return size_; }
  /// What the disk said, when it was the reason why the library gave up.
  const std::optional<NSError>& failure() const { return failure_; }

 private:
  struct Array {
    std::uint64_t offset = 0;
    std::size_t rowBytes = 0;
    JDIMENSION rows = 0;
    JDIMENSION maximumAccess = 0;
    JDIMENSION writtenRows = 0;  ///< those that the file has; all others are still zero
    JDIMENSION firstRow = 0;
    bool changed = false;
    std::vector<std::byte> window;
    std::vector<JBLOCKROW> pointers;
  };

  static jvirt_barray_ptr request(j_common_ptr info, int pool, boolean preZero,
                                  JDIMENSION blocksPerRow, JDIMENSION rows,
                                  JDIMENSION maximumAccess);
  static void realize(j_common_ptr info);
  static JBLOCKARRAY access(j_common_ptr info, jvirt_barray_ptr handle, JDIMENSION startRow,
                            JDIMENSION rows, boolean writable);
  /// Each is false when the disk fails; what they hold is safe from the library's jumps.
  bool makeFile();
  bool moveWindow(Array& array, JDIMENSION startRow, JDIMENSION rows);

  ScratchFile& scratch_;
  std::optional<ScratchFile::Part> file_;
  std::uint64_t size_ = 0;
  std::optional<NSError> failure_;
  std::vector<std::unique_ptr<Array>> arrays_;
  void (*realizeOthers_)(j_common_ptr) = nullptr;
};

}  // namespace tasklane
