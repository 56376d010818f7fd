#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "foundation/decoding/ImageHeader.h"

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
      if (id == item && numbers.size() < kMaximumBoxes)
        numbers.push_back(number & (longNumbers ? 0x7FFF : 0x7F));
    }
  }
  return numbers;
}

std::vector<Box> partsOfMeta(HeaderBytes& bytes) {
  const auto boxes = boxesIn(bytes, 0, bytes.size());
  const Box* meta = find(boxes, "meta");
  return meta == nullptr ? std::vector<Box>() : boxesIn(bytes, meta->begin + 4, meta->end);
}

std::optional<std::uint32_t> primaryItem(HeaderBytes& bytes, const std::vector<Box>& parts) {
  const Box* primary = find(parts, "pitm");
  if (primary == nullptr) return std::nullopt;
  const bool isLong = bytes.byte(primary->begin).value_or(0) >= 1;
  return bytes.bigEndian(primary->begin + 4, isLong ? 4 : 2);
}

}  // namespace

std::optional<ImageSize> sizeOfHEIF(HeaderBytes& bytes) {
  const auto parts = partsOfMeta(bytes);
  const auto item = primaryItem(bytes, parts);
  const Box* properties = find(parts, "iprp");
  if (!item || properties == nullptr) return std::nullopt;
  const auto inside = boxesIn(bytes, properties->begin, properties->end);
  const Box* contents = find(inside, "ipco");
  const Box* links = find(inside, "ipma");
  if (contents == nullptr || links == nullptr) return std::nullopt;
  const auto all = boxesIn(bytes, contents->begin, contents->end);
  std::optional<ImageSize> size;
  std::uint32_t turns = 0;
  bool others = false;
  for (const std::uint32_t number : propertiesOf(bytes, *links, *item)) {
    if (number == 0 || number > all.size()) continue;
    const Box& property = all[number - 1];
    const auto value = [&](std::uint64_t place) {
      return bytes.bigEndian(property.begin + place, 4).value_or(0);
    };
    if (property.type == "ispe" && !size) size = ImageSize{value(4), value(8), 1};
    if (property.type == "clap" && size && value(4) != 0 && value(12) != 0)
      size = ImageSize{value(0) / value(4), value(8) / value(12), 1};
    if (property.type == "irot") turns = bytes.byte(property.begin).value_or(0) & 3;
    if (property.type == "imir" || property.type == "clap") others = true;
  }
  // Turns are part of the picture here, not advice. A plain one is told as an orientation, so that
  // the picture need not be turned in memory; together with cuts and mirrors the decoder makes it.
  constexpr int kOrientations[] = {1, 8, 3, 6};
  if (size && !others) size->orientation = kOrientations[turns];
  if (size && others && turns % 2 == 1) std::swap(size->width, size->height);
  return size;
}

}  // namespace tasklane
