#include "foundation/images/decoding/JPEGSession.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <jerror.h>

namespace tasklane {

namespace {

/// More scans than any encoder writes; each costs a pass over the whole picture.
constexpr int kMaximumScans = 100;
/// Enough for fifty passes over 48 megapixels. A few bytes can ask for gigabytes of each.
constexpr std::uint64_t kMaximumPassedBytes = 8ull << 30;

[[noreturn]] void giveUp(j_common_ptr info) {
  auto* failure = static_cast<JPEGFailure*>(info->err);
  failure->format_message(info, failure->text);
  switch (failure->msg_code) {
    case JERR_IMAGE_TOO_BIG:
    case JERR_WIDTH_OVERFLOW:
    case JERR_BAD_PRECISION:
    case JERR_SOF_UNSUPPORTED:
    case JERR_CONVERSION_NOTIMPL:
    case JERR_CCIR601_NOTIMPL:
    case JERR_FRACT_SAMPLE_NOTIMPL:
    case JERR_OUT_OF_MEMORY:
      failure->kind = NSError::Kind::Unsupported;
      break;
    default:
      failure->kind = NSError::Kind::Corrupt;
  }
  std::longjmp(failure->jump, 1);
}

/// Level -1 is a warning about damage. Only damage that leaves the pixels whole is let pass.
void judgeMessage(j_common_ptr info, int level) {
  if (level >= 0) return;
  switch (info->err->msg_code) {
    case JWRN_EXTRANEOUS_DATA:
    case JWRN_ADOBE_XFORM:
    case JWRN_JFIF_MAJOR:
    case JWRN_BOGUS_ICC:
      return;
    default:
      giveUp(info);
  }
}

void printNothing(j_common_ptr) {}

}  // namespace

JPEGFailure::JPEGFailure() : jpeg_error_mgr{} {
  jpeg_std_error(this);
  error_exit = giveUp;
  emit_message = judgeMessage;
  output_message = printNothing;
}

NSError JPEGFailure::error() const {
  if (errnoValue != 0) return NSError::fromErrno(errnoValue, text);
  return {kind, text};
}

void failJPEG(j_common_ptr info, NSError::Kind kind, const char* text, int errnoValue) {
  auto* failure = static_cast<JPEGFailure*>(info->err);
  failure->kind = kind;
  failure->errnoValue = errnoValue;
  std::snprintf(failure->text, sizeof failure->text, "%s", text);
  std::longjmp(failure->jump, 1);
}

JPEGReader::JPEGReader(const ImageSource& source, ScratchFile& scratch)
    : source_(source), coefficients_(scratch) {
  info_.err = &failure_;
  input_.source = &source_;
  input_.offset = 0;
  input_.ended = false;
  input_.next_input_byte = nullptr;
  input_.bytes_in_buffer = 0;
  input_.init_source = initSource;
  input_.fill_input_buffer = fillInputBuffer;
  input_.skip_input_data = skipInputData;
  input_.resync_to_restart = jpeg_resync_to_restart;
  input_.term_source = initSource;
  progress_.progress_monitor = limitScans;
  progress_.coefficients = &coefficients_;
}

JPEGReader::~JPEGReader() {
  // Harmless on one that was never made: it then has no memory manager.
  jpeg_destroy_decompress(&info_);
}

Result<void> JPEGReader::readHeader() {
  return attempt([this] {
    jpeg_create_decompress(&info_);
    info_.src = &input_;
    info_.progress = &progress_;
    coefficients_.install(reinterpret_cast<j_common_ptr>(&info_));
    jpeg_read_header(&info_, TRUE);
  });
}

namespace {

/// Whether a picture that ends here may be whole: every component has had a scan, and in a
/// progressive one every coefficient its last. The arithmetic coding may end anywhere, so a cut
/// would not show.
bool hasAllScans(const jpeg_decompress_struct& info) {
  if (info.arith_code || info.input_scan_number == 0) return false;
  if (!info.progressive_mode) return info.comps_in_scan == info.num_components;
  if (info.coef_bits == nullptr) return false;
  for (int component = 0; component < info.num_components; ++component)
    for (const int missing : info.coef_bits[component])
      if (missing != 0) return false;
  return true;
}

}  // namespace

boolean JPEGReader::fillInputBuffer(j_decompress_ptr info) {
  auto* input = static_cast<Input*>(info->src);
  const auto got = input->source->readAt(input->offset, input->buffer, sizeof input->buffer);
  auto* common = reinterpret_cast<j_common_ptr>(info);
  if (got < 0) failJPEG(common, NSError::Kind::Io, "it cannot be read", errno);
  if (got == 0) {
    // Some programs leave the end mark out. One is made up where nothing else is missing; should
    // the last scan itself be cut, then the library misses its data.
    static constexpr JOCTET kEnd[] = {0xFF, JPEG_EOI};
    if (input->ended || !hasAllScans(*info))
      failJPEG(common, NSError::Kind::Corrupt, "the JPEG ends too early");
    input->ended = true;
    input->next_input_byte = kEnd;
    input->bytes_in_buffer = sizeof kEnd;
    return TRUE;
  }
  input->offset += static_cast<std::uint64_t>(got);
  input->next_input_byte = input->buffer;
  input->bytes_in_buffer = static_cast<std::size_t>(got);
  return TRUE;
}

void JPEGReader::skipInputData(j_decompress_ptr info, long count) {
  auto* input = static_cast<Input*>(info->src);
  if (count <= 0) return;
  const auto bytes = static_cast<std::size_t>(count);
  if (bytes <= input->bytes_in_buffer) {
    input->next_input_byte += bytes;
    input->bytes_in_buffer -= bytes;
    return;
  }
  input->offset += bytes - input->bytes_in_buffer;
  input->bytes_in_buffer = 0;
}

void JPEGReader::limitScans(j_common_ptr info) {
  const auto* progress = static_cast<Progress*>(info->progress);
  const int scans = reinterpret_cast<j_decompress_ptr>(info)->input_scan_number;
  const std::uint64_t size = progress->coefficients->size();
  if (scans > kMaximumScans || static_cast<std::uint64_t>(scans) * size > kMaximumPassedBytes)
    failJPEG(info, NSError::Kind::Unsupported, "the JPEG has more scans than any real picture");
}

JPEGWriter::JPEGWriter(int fileDescriptor) {
  info_.err = &failure_;
  output_.fileDescriptor = fileDescriptor;
  output_.init_destination = initDestination;
  output_.empty_output_buffer = emptyOutputBuffer;
  output_.term_destination = termDestination;
}

JPEGWriter::~JPEGWriter() { jpeg_destroy_compress(&info_); }

Result<void> JPEGWriter::create() {
  return attempt([this] {
    jpeg_create_compress(&info_);
    info_.dest = &output_;
  });
}

void JPEGWriter::initDestination(j_compress_ptr info) {
  auto* output = static_cast<Output*>(info->dest);
  output->next_output_byte = output->buffer;
  output->free_in_buffer = sizeof output->buffer;
}

namespace {

void writeAll(j_compress_ptr info, int descriptor, const JOCTET* bytes, std::size_t count) {
  while (count > 0) {
    const ssize_t written = ::write(descriptor, bytes, count);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0)
      failJPEG(reinterpret_cast<j_common_ptr>(info), NSError::Kind::Io,
               "the JPEG cannot be written", errno);
    bytes += written;
    count -= static_cast<std::size_t>(written);
  }
}

}  // namespace

boolean JPEGWriter::emptyOutputBuffer(j_compress_ptr info) {
  auto* output = static_cast<Output*>(info->dest);
  writeAll(info, output->fileDescriptor, output->buffer, sizeof output->buffer);
  initDestination(info);
  return TRUE;
}

void JPEGWriter::termDestination(j_compress_ptr info) {
  auto* output = static_cast<Output*>(info->dest);
  writeAll(info, output->fileDescriptor, output->buffer,
           sizeof output->buffer - output->free_in_buffer);
}

}  // namespace tasklane
