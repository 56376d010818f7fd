#include "foundation/JPEGCoefficientFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "foundation/JPEGSession.h"
#include "foundation/UnnamedFile.h"

namespace tasklane {

namespace {

constexpr std::size_t kWindowBytes = 1024 * 1024;

JPEGCoefficientFile* owner(j_common_ptr info) {
  return static_cast<JPEGCoefficientFile*>(info->client_data);
}

}  // namespace

JPEGCoefficientFile::JPEGCoefficientFile(std::string scratchFolder)
    : scratchFolder_(std::move(scratchFolder)) {}

JPEGCoefficientFile::~JPEGCoefficientFile() {
  for (const auto& array : arrays_) unmap(*array);
}

void JPEGCoefficientFile::install(j_common_ptr info) {
  info->client_data = this;
  realizeOthers_ = info->mem->realize_virt_arrays;
  info->mem->request_virt_barray = request;
  info->mem->realize_virt_arrays = realize;
  info->mem->access_virt_barray = access;
}

jvirt_barray_ptr JPEGCoefficientFile::request(j_common_ptr info, int, boolean,
                                              JDIMENSION blocksPerRow, JDIMENSION rows,
                                              JDIMENSION maximumAccess) {
  auto array = std::make_unique<Array>();
  array->rowBytes = std::size_t{blocksPerRow} * sizeof(JBLOCK);
  array->rows = rows;
  array->maximumAccess = maximumAccess;
  auto& arrays = owner(info)->arrays_;
  arrays.push_back(std::move(array));
  // The library only hands the pointer back; what it points to is ours.
  return reinterpret_cast<jvirt_barray_ptr>(arrays.back().get());
}

void JPEGCoefficientFile::realize(j_common_ptr info) {
  owner(info)->realizeOthers_(info);
  if (const int failure = owner(info)->allocate(); failure != 0)
    failJPEG(info, NSError::Kind::Io, "cannot make room on disk for decoding", failure);
}

int JPEGCoefficientFile::allocate() {
  if (file_ || arrays_.empty()) return 0;
  auto file = UnnamedFile::makeInFolder(scratchFolder_);
  if (!file.ok()) return EIO;
  file_ = std::move(file).value();
  std::uint64_t size = 0;
  for (const auto& array : arrays_) {
    array->offset = size;
    size += std::uint64_t{array->rowBytes} * array->rows;
  }
  // Allocated now, because a page that finds no room when it is written to kills the process.
  return ::posix_fallocate(file_->fileDescriptor(), 0, static_cast<off_t>(size));
}

JBLOCKARRAY JPEGCoefficientFile::access(j_common_ptr info, jvirt_barray_ptr handle,
                                        JDIMENSION startRow, JDIMENSION rows, boolean) {
  auto& array = *reinterpret_cast<Array*>(handle);
  if (rows > array.maximumAccess || startRow > array.rows || rows > array.rows - startRow)
    failJPEG(info, NSError::Kind::Corrupt, "the JPEG's scans do not fit together");
  if (startRow < array.firstRow || startRow + rows > array.firstRow + array.window.size()) {
    if (const int failure = owner(info)->mapWindow(array, startRow, rows); failure != 0)
      failJPEG(info, NSError::Kind::Io, "cannot read back what was decoded of", failure);
  }
  return array.window.data() + (startRow - array.firstRow);
}

int JPEGCoefficientFile::mapWindow(Array& array, JDIMENSION startRow, JDIMENSION rows) {
  unmap(array);
  const auto wanted = static_cast<JDIMENSION>(kWindowBytes / array.rowBytes);
  const JDIMENSION count = std::min(std::max(wanted, rows), array.rows - startRow);
  const std::uint64_t begin = array.offset + std::uint64_t{startRow} * array.rowBytes;
  const std::uint64_t page = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
  const std::size_t lead = begin % page;
  const std::size_t length = lead + std::size_t{count} * array.rowBytes;
  void* mapping = ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE,
                         file_->fileDescriptor(), static_cast<off_t>(begin - lead));
  if (mapping == MAP_FAILED) return errno;
  array.mapping = mapping;
  array.mappingLength = length;
  array.firstRow = startRow;
  array.window.resize(count);
  auto* first = static_cast<std::byte*>(mapping) + lead;
  for (JDIMENSION row = 0; row < count; ++row)
    array.window[row] = reinterpret_cast<JBLOCKROW>(first + std::size_t{row} * array.rowBytes);
  return 0;
}

void JPEGCoefficientFile::unmap(Array& array) {
  if (array.mapping != nullptr) ::munmap(array.mapping, array.mappingLength);
  array.mapping = nullptr;
  array.window.clear();
}

}  // namespace tasklane
