#include "foundation/images/decoding/JPEGCoefficientFile.h"

#include <algorithm>
#include <utility>

#include "foundation/images/decoding/JPEGSession.h"

namespace tasklane {

namespace {

constexpr std::size_t kWindowBytes = 1024 * 1024;

JPEGCoefficientFile* owner(j_common_ptr info) {
  return static_cast<JPEGCoefficientFile*>(info->client_data);
}

}  // namespace

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
  if (!owner(info)->makeFile()) failJPEG(info, NSError::Kind::Io, "no room on disk for decoding");
}

bool JPEGCoefficientFile::makeFile() {
  if (file_ || arrays_.empty()) return true;
  for (const auto& array : arrays_) {
    array->offset = size_;
    size_ += std::uint64_t{array->rowBytes} * array->rows;
  }
  auto part = scratch_.take(size_);
  if (!part) {
    failure_ = part.error();
    return false;
  }
  file_ = part.value();
  return true;
}

JBLOCKARRAY JPEGCoefficientFile::access(j_common_ptr info, jvirt_barray_ptr handle,
                                        JDIMENSION startRow, JDIMENSION rows, boolean writable) {
  auto& array = *reinterpret_cast<Array*>(handle);
  if (rows > array.maximumAccess || startRow > array.rows || rows > array.rows - startRow)
    failJPEG(info, NSError::Kind::Corrupt, "the JPEG's scans do not fit together");
  const bool inside =
      startRow >= array.firstRow && startRow + rows <= array.firstRow + array.pointers.size();
  if (!inside && !owner(info)->moveWindow(array, startRow, rows))
    failJPEG(info, NSError::Kind::Io, "cannot keep on disk what was decoded");
  if (writable) array.changed = true;
  return array.pointers.data() + (startRow - array.firstRow);
}

bool JPEGCoefficientFile::moveWindow(Array& array, JDIMENSION startRow, JDIMENSION rows) {
  const auto keep = [this](const Result<void>& result) {
    if (!result) failure_ = result.error();
    return result.ok();
  };
  const auto placeOf = [&array](JDIMENSION row) {
    return array.offset + std::uint64_t{row} * array.rowBytes;
  };
  if (array.changed) {
    // Rows in front of the window that no scan has touched yet are a hole in the file: zeros.
    const auto end = array.firstRow + static_cast<JDIMENSION>(array.pointers.size());
    if (!keep(file_->writeAt(placeOf(array.firstRow), array.window.data(),
                             array.pointers.size() * array.rowBytes)))
      return false;
    array.writtenRows = std::max(array.writtenRows, end);
    array.changed = false;
  }
  const auto wanted = static_cast<JDIMENSION>(kWindowBytes / array.rowBytes);
  const JDIMENSION count = std::min(std::max(wanted, rows), array.rows - startRow);
  array.window.resize(count * array.rowBytes);
  array.pointers.resize(count);
  for (JDIMENSION row = 0; row < count; ++row)
    array.pointers[row] = reinterpret_cast<JBLOCKROW>(array.window.data() + row * array.rowBytes);
  array.firstRow = startRow;
  const JDIMENSION kept =
      array.writtenRows > startRow ? std::min(array.writtenRows - startRow, count) : 0;
  std::fill(array.window.begin() + static_cast<std::ptrdiff_t>(kept * array.rowBytes),
            array.window.end(), std::byte{0});
  return keep(file_->readAt(placeOf(startRow), array.window.data(), kept * array.rowBytes));
}

}  // namespace tasklane
