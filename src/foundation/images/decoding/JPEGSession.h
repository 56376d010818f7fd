#pragma once

#include <csetjmp>
#include <cstddef>
#include <cstdio>
#include <string>

#include "foundation/base/NSError.h"
#include "foundation/images/decoding/ImageSource.h"
#include "foundation/images/decoding/JPEGCoefficientFile.h"
#include "foundation/images/decoding/ScratchFile.h"

#include <jpeglib.h>

namespace tasklane {

/// Where the JPEG library reports a failure. It cannot unwind through C, so it jumps back to the
/// latest attempt(); nothing with a destructor may live between the two.
struct JPEGFailure : jpeg_error_mgr {
  JPEGFailure();

  /// Does some work with the library. False when the library gave up.
  template <class Work>
  [[gnu::noinline]] bool attempt(Work&& work) {
    if (setjmp(jump) != 0) return false;
    work();
    return true;
  }
  NSError error() const;

  std::jmp_buf jump;
  NSError::Kind kind = NSError::Kind::Corrupt;
  int errnoValue = 0;
  char text[JMSG_LENGTH_MAX] = "";
};

/// Leaves the library's work with a failure of our own. Only inside attempt().
[[noreturn]] void failJPEG(j_common_ptr info, NSError::Kind kind, const char* text,
                           int errnoValue = 0);

/// A decompressor on a source. What the library only warns of, but what spoils pixels, is a failure
/// here: half a picture is none.
class JPEGReader {
 public:
  /// Coefficients of a picture in several scans go into the scratch file.
  JPEGReader(const ImageSource& source, ScratchFile& scratch);
  ~JPEGReader();
  JPEGReader(const JPEGReader&) = delete;
  JPEGReader& operator=(const JPEGReader&) = delete;

  Result<void> readHeader();
  jpeg_decompress_struct& info() { return info_; }

  template <class Work>
  Result<void> attempt(Work&& work) {
    if (failure_.attempt(work)) return {};
    if (coefficients_.failure()) return *coefficients_.failure();
    return failure_.error();
  }

 private:
  struct Input : jpeg_source_mgr {
    const ImageSource* source;
    std::uint64_t offset;
    bool ended;
    JOCTET buffer[64 * 1024];
  };
  struct Progress : jpeg_progress_mgr {
    const JPEGCoefficientFile* coefficients;
  };
  static void initSource(j_decompress_ptr) {}
  static boolean fillInputBuffer(j_decompress_ptr info);
  static void skipInputData(j_decompress_ptr info, long count);
  static void limitScans(j_common_ptr info);

  const ImageSource& source_;
  JPEGFailure failure_;
  jpeg_decompress_struct info_{};
  Progress progress_{};
  Input input_;
  JPEGCoefficientFile coefficients_;
};

/// A compressor into a file.
class JPEGWriter {
 public:
  /// The descriptor is not owned.
  explicit JPEGWriter(int fileDescriptor);
  ~JPEGWriter();
  JPEGWriter(const JPEGWriter&) = delete;
  JPEGWriter& operator=(const JPEGWriter&) = delete;

  jpeg_compress_struct& info() { return info_; }
  Result<void> create();

  template <class Work>
  Result<void> attempt(Work&& work) {
    if (failure_.attempt(work)) return {};
    return failure_.error();
  }

 private:
  struct Output : jpeg_destination_mgr {
    int fileDescriptor;
    JOCTET buffer[64 * 1024];
  };
  static void initDestination(j_compress_ptr info);
  static boolean emptyOutputBuffer(j_compress_ptr info);
  static void termDestination(j_compress_ptr info);

  JPEGFailure failure_;
  jpeg_compress_struct info_{};
  Output output_;
};

}  // namespace tasklane
