#include <algorithm>
#include <string>
#include <vector>

#include "foundation/ImageHeader.h"

namespace tasklane {

namespace {

struct Box {
  std::string type;
  std::uint64_t begin;  ///< of the contents
  std::uint64_t end;
};

constexpr std::size_t kMaximumBoxes = 1000;

std::vector<Box> boxesIn(HeaderBytes& bytes, std::uint64_t begin, std::uint64_t end) {
  std::vector<Box> boxes;
  while (begin + 8 <= end && boxes.size() < kMaximumBoxes) {
    std::uint64_t size = bytes.bigEndian(begin, 4).value_or(0);
    std::uint64_t header = 8;
    if (size == 1) {
      size = std::uint64_t{bytes.bigEndian(begin + 8, 4).value_or(0)} << 32 |
             bytes.bigEndian(begin + 12, 4).value_or(0);
      header = 16;
    }
    if (size == 0) size = end - begin;
    if (size < header || size > end - begin) break;
    boxes.push_back({bytes.text(begin + 4, 4), begin + header, begin + size});
    begin += size;
  }
  return boxes;
}

const Box* find(const std::vector<Box>& boxes, const char* type) {
  const auto found =
      std::find_if(boxes.begin(), boxes.end(), [type](const Box& box) { return box.type == type; });
  return found == boxes.end() ? nullptr : &*found;
}

/// The numbers (from 1) of the properties that belong to an item.
std::vector<std::uint32_t> propertiesOf(HeaderBytes& bytes, const Box& box, std::uint32_t item) {
  const bool longItems = bytes.byte(box.begin).value_or(0) >= 1;
  const bool longNumbers = bytes.byte(box.begin + 3).value_or(0) & 1;
  const std::uint32_t entries = bytes.bigEndian(box.begin + 4, 4).value_or(0);
  std::uint64_t offset = box.begin + 8;
  std::vector<std::uint32_t> numbers;
  for (std::uint32_t i = 0; i < entries && offset < box.end; ++i) {
    const auto id = bytes.bigEndian(offset, longItems ? 4 : 2);
    offset += longItems ? 4 : 2;
    const std::uint32_t count = bytes.byte(offset++).value_or(0);
    for (std::uint32_t k = 0; k < count; ++k, offset += longNumbers ? 2 : 1) {
      const std::uint32_t number = bytes.bigEndian(offset, longNumbers ? 2 : 1).value_or(0);
      if (id == item) numbers.push_back(number & (longNumbers ? 0x7FFF : 0x7F));
    }
  }
  return numbers;
}

}  // namespace

bool isHEIC(HeaderBytes& bytes) {
  if (bytes.text(4, 4) != "ftyp") return false;
  const std::uint32_t size = std::min(bytes.bigEndian(0, 4).value_or(0), 256u);
  for (std::uint32_t offset = 8; offset + 4 <= size; offset += 4) {
    const std::string brand = bytes.text(offset, 4);
    if (brand == "heic" || brand == "heix" || brand == "heim" || brand == "heis") return true;
  }
  return false;
}

std::optional<ImageSize> sizeOfHEIC(HeaderBytes& bytes) {
  const auto boxes = boxesIn(bytes, 0, bytes.size());
  const Box* meta = find(boxes, "meta");
  if (meta == nullptr) return std::nullopt;
  const auto parts = boxesIn(bytes, meta->begin + 4, meta->end);
  const Box* primary = find(parts, "pitm");
  const Box* properties = find(parts, "iprp");
  if (primary == nullptr || properties == nullptr) return std::nullopt;
  const bool longItem = bytes.byte(primary->begin).value_or(0) >= 1;
  const auto item = bytes.bigEndian(primary->begin + 4, longItem ? 4 : 2);
  const auto inside = boxesIn(bytes, properties->begin, properties->end);
  const Box* contents = find(inside, "ipco");
  const Box* links = find(inside, "ipma");
  if (!item || contents == nullptr || links == nullptr) return std::nullopt;
  const auto all = boxesIn(bytes, contents->begin, contents->end);
  std::optional<ImageSize> size;
  for (const std::uint32_t number : propertiesOf(bytes, *links, *item)) {
    if (number == 0 || number > all.size()) continue;
    const Box& property = all[number - 1];
    if (property.type == "ispe" && !size)
      size = ImageSize{bytes.bigEndian(property.begin + 4, 4).value_or(0),
                       bytes.bigEndian(property.begin + 8, 4).value_or(0), 1};
    // Turns are part of the picture here, not advice: the decoder makes them.
    if (property.type == "irot" && size && bytes.byte(property.begin).value_or(0) & 1)
      std::swap(size->width, size->height);
  }
  return size;
}

}  // namespace tasklane
