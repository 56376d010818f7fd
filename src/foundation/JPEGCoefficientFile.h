#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <jpeglib.h>

namespace tasklane {

class UnnamedFile;

/// Keeps the coefficients of a JPEG in several scans on disk instead of in memory.
///
/// Such a picture (a progressive one, above all) is decoded only after its last scan, until then
/// the library holds two bytes for each sample: 144 MB for 48 megapixels. Here they lie in a
/// nameless file, of which a window of about a megabyte an array is mapped at a time; scans go
/// through the rows in order, so a window moves rarely.
class JPEGCoefficientFile {
 public:
  explicit JPEGCoefficientFile(std::string scratchFolder);
  ~JPEGCoefficientFile();
  JPEGCoefficientFile(const JPEGCoefficientFile&) = delete;
  JPEGCoefficientFile& operator=(const JPEGCoefficientFile&) = delete;

  /// Takes over the block arrays of a library object that was just made, which must not outlive
  /// this. Uses the object's client_data.
  void install(j_common_ptr info);

 private:
  struct Array {
    std::uint64_t offset = 0;
    std::size_t rowBytes = 0;
    JDIMENSION rows = 0;
    JDIMENSION maximumAccess = 0;
    void* mapping = nullptr;
    std::size_t mappingLength = 0;
    JDIMENSION firstRow = 0;
    std::vector<JBLOCKROW> window;
  };

  static jvirt_barray_ptr request(j_common_ptr info, int pool, boolean preZero,
                                  JDIMENSION blocksPerRow, JDIMENSION rows,
                                  JDIMENSION maximumAccess);
  static void realize(j_common_ptr info);
  static JBLOCKARRAY access(j_common_ptr info, jvirt_barray_ptr array, JDIMENSION startRow,
                            JDIMENSION rows, boolean writable);
  static void unmap(Array& array);
  /// Each of these is 0 or an errno value; what they hold is safe from the library's jumps.
  int allocate();
  int mapWindow(Array& array, JDIMENSION startRow, JDIMENSION rows);

  std::string scratchFolder_;
  std::shared_ptr<UnnamedFile> file_;
  std::vector<std::unique_ptr<Array>> arrays_;
  void (*realizeOthers_)(j_common_ptr) = nullptr;
};

}  // namespace tasklane
