#include "foundation/images/decoding/HEIFContainer.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "foundation/images/decoding/UprightStrips.h"

namespace tasklane {

namespace {

struct Box {
  std::string type;
  std::uint64_t begin;  ///< of the contents
  std::uint64_t end;
};

/// Far more than a picture of 500 million pixels has tiles.
constexpr std::size_t kMaximumBoxes = 20000;
/// What the boxes about a picture take. The file's length says nothing: it may be a hole.
constexpr std::uint64_t kMaximumMeta = 16 * 1024 * 1024;

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

/// The numbers (from 1) of the properties that belong to an item, in order.
std::vector<std::uint32_t> propertiesOf(HeaderBytes& bytes, const Box& box, std::uint32_t item) {
  const bool longItems = bytes.byte(box.begin).value_or(0) >= 1;
  const std::uint32_t step = (bytes.byte(box.begin + 3).value_or(0) & 1) != 0 ? 2 : 1;
  const std::uint32_t entries = bytes.bigEndian(box.begin + 4, 4).value_or(0);
  std::uint64_t offset = box.begin + 8;
  std::vector<std::uint32_t> numbers;
  for (std::uint32_t i = 0; i < entries && offset < box.end; ++i) {
    const auto id = bytes.bigEndian(offset, longItems ? 4 : 2);
    offset += longItems ? 4 : 2;
    const std::uint32_t count = bytes.byte(offset++).value_or(0);
    for (std::uint32_t k = 0; id == item && k < count; ++k) {
      const auto number = bytes.bigEndian(offset + std::uint64_t{k} * step, static_cast<int>(step));
      numbers.push_back(number.value_or(0) & (step == 2 ? 0x7FFF : 0x7F));
    }
    if (id == item) break;
    offset += std::uint64_t{count} * step;
  }
  return numbers;
}

/// The boxes of a file, as far as they are about its pictures.
struct Meta {
  std::vector<Box> parts;
  std::uint32_t primary = 0;
  std::uint64_t primaryPlace = 0;  ///< where the file says which item it is
  int primaryBytes = 2;
};

std::optional<Meta> metaOf(HeaderBytes& bytes) {
  const auto boxes = boxesIn(bytes, 0, bytes.size());
  const Box* box = find(boxes, "meta");
  if (box == nullptr || box->end - box->begin > kMaximumMeta) return std::nullopt;
  Meta meta;
  meta.parts = boxesIn(bytes, box->begin + 4, box->end);
  const Box* primary = find(meta.parts, "pitm");
  if (primary == nullptr) return std::nullopt;
  meta.primaryBytes = bytes.byte(primary->begin).value_or(0) >= 1 ? 4 : 2;
  meta.primaryPlace = primary->begin + 4;
  meta.primary = bytes.bigEndian(meta.primaryPlace, meta.primaryBytes).value_or(0);
  return meta;
}

struct Item {
  std::string type;
  std::uint64_t flags = 0;  ///< where the byte is whose lowest bit hides it
};

std::optional<Item> itemOf(HeaderBytes& bytes, const Meta& meta, std::uint32_t number) {
  const Box* list = find(meta.parts, "iinf");
  if (list == nullptr) return std::nullopt;
  const bool isLong = bytes.byte(list->begin).value_or(0) >= 1;
  for (const Box& entry : boxesIn(bytes, list->begin + (isLong ? 8 : 6), list->end)) {
    const int width = bytes.byte(entry.begin).value_or(0) >= 3 ? 4 : 2;
    if (bytes.bigEndian(entry.begin + 4, width) == number)
      return Item{bytes.text(entry.begin + 6 + static_cast<std::uint64_t>(width), 4),
                  entry.begin + 3};
  }
  return std::nullopt;
}

/// The items that a derived item is made of.
std::vector<std::uint32_t> sourcesOf(HeaderBytes& bytes, const Meta& meta, std::uint32_t item) {
  const Box* list = find(meta.parts, "iref");
  if (list == nullptr) return {};
  const int width = bytes.byte(list->begin).value_or(0) >= 1 ? 4 : 2;
  const auto step = static_cast<std::uint64_t>(width);
  for (const Box& reference : boxesIn(bytes, list->begin + 4, list->end)) {
    if (reference.type != "dimg" || bytes.bigEndian(reference.begin, width) != item) continue;
    const std::uint32_t count = bytes.bigEndian(reference.begin + step, 2).value_or(0);
    std::vector<std::uint32_t> sources;
    for (std::uint64_t i = 0; i < count; ++i)
      sources.push_back(bytes.bigEndian(reference.begin + step + 2 + i * step, width).value_or(0));
    return sources;
  }
  return {};
}

/// Reads the numbers of an item's location box one after the other.
class LocationReader {
 public:
  LocationReader(HeaderBytes& bytes, std::uint64_t offset) : bytes_(bytes), offset_(offset) {}
  std::uint64_t number(int width) {
    std::uint64_t value = 0;
    for (; width > 0; --width) value = value << 8 | bytes_.byte(offset_++).value_or(0);
    return value;
  }
  std::uint64_t place() const { return offset_; }

 private:
  HeaderBytes& bytes_;
  std::uint64_t offset_;
};

/// Where the contents of an item begin that is small enough to lie in one piece.
std::optional<std::uint64_t> contentsOf(HeaderBytes& bytes, const Meta& meta, std::uint32_t item) {
  const Box* list = find(meta.parts, "iloc");
  if (list == nullptr) return std::nullopt;
  const int version = bytes.byte(list->begin).value_or(0);
  LocationReader reader(bytes, list->begin + 4);
  const auto sizes = reader.number(2);
  const int offsetSize = sizes >> 12 & 15, lengthSize = sizes >> 8 & 15, baseSize = sizes >> 4 & 15;
  const int indexSize = version == 0 ? 0 : sizes & 15;
  const auto items = reader.number(version < 2 ? 2 : 4);
  for (std::uint64_t i = 0; i < items && reader.place() < list->end; ++i) {
    const auto number = reader.number(version < 2 ? 2 : 4);
    const auto method = version == 0 ? 0 : reader.number(2) & 15;
    reader.number(2);  // the file that it is in
    const auto base = reader.number(baseSize);
    const auto extents = reader.number(2);
    for (std::uint64_t k = 0; k < extents && reader.place() < list->end; ++k) {
      reader.number(indexSize);
      const auto offset = reader.number(offsetSize);
      reader.number(lengthSize);
      if (number != item) continue;
      const Box* inside = find(meta.parts, "idat");
      if (method == 0) return base + offset;
      if (method == 1 && inside != nullptr) return inside->begin + base + offset;
      return std::nullopt;
    }
  }
  return std::nullopt;
}

void readGrid(HeaderBytes& bytes, const Meta& meta, HEIFPicture& picture) {
  const auto item = itemOf(bytes, meta, meta.primary);
  if (!item || item->type != "grid") return;
  const auto contents = contentsOf(bytes, meta, meta.primary);
  if (!contents) return;
  const std::uint32_t rows = bytes.byte(*contents + 2).value_or(0) + 1u;
  const std::uint32_t columns = bytes.byte(*contents + 3).value_or(0) + 1u;
  auto tiles = sourcesOf(bytes, meta, meta.primary);
  if (tiles.size() != std::size_t{rows} * columns) return;
  picture.rows = rows;
  picture.columns = columns;
  picture.tiles = std::move(tiles);
}

/// What a decoder's settings say of the samples.
std::optional<int> chromaFormatOf(HeaderBytes& bytes, const Box& property) {
  if (property.type == "hvcC") return bytes.byte(property.begin + 16).value_or(0) & 3;
  if (property.type != "av1C") return std::nullopt;
  const int detail = bytes.byte(property.begin + 2).value_or(0);
  constexpr int kMonochrome = 0x10, kHalfWidth = 8, kHalfHeight = 4;
  if ((detail & kMonochrome) != 0) return 0;
  if ((detail & kHalfHeight) != 0) return 1;
  return (detail & kHalfWidth) != 0 ? 2 : 3;
}

/// The one orientation that does what two do after one another.
int composed(int first, int then) {
  constexpr std::uint32_t kWidth = 2, kHeight = 3;
  const bool exchanged = orientationExchangesSides(first);
  const std::uint32_t width = exchanged ? kHeight : kWidth, height = exchanged ? kWidth : kHeight;
  const auto placeOf = [&](std::uint32_t x, std::uint32_t y) {
    const StoredPlace between = storedPlaceOf(then, width, height, x, y);
    return storedPlaceOf(first, kWidth, kHeight, between.x, between.y);
  };
  for (int both = 1; both <= 8; ++both) {
    bool same = true;
    for (const auto& [x, y] : {std::pair{0u, 0u}, {1u, 0u}, {0u, 1u}}) {
      const StoredPlace a = placeOf(x, y), b = storedPlaceOf(both, kWidth, kHeight, x, y);
      same = same && a.x == b.x && a.y == b.y;
    }
    if (same) return both;
  }
  return 1;
}

}  // namespace

std::optional<HEIFPicture> readHEIF(HeaderBytes& bytes) {
  const auto meta = metaOf(bytes);
  const Box* properties = meta ? find(meta->parts, "iprp") : nullptr;
  if (properties == nullptr) return std::nullopt;
  const auto inside = boxesIn(bytes, properties->begin, properties->end);
  const Box* contents = find(inside, "ipco");
  const Box* links = find(inside, "ipma");
  if (contents == nullptr || links == nullptr) return std::nullopt;
  const auto all = boxesIn(bytes, contents->begin, contents->end);
  HEIFPicture picture;
  ImageSize& size = picture.size;
  std::optional<ImageSize> cut;
  for (const std::uint32_t number : propertiesOf(bytes, *links, meta->primary)) {
    if (number == 0 || number > all.size()) continue;
    const Box& property = all[number - 1];
    const auto value = [&](std::uint64_t place) {
      return bytes.bigEndian(property.begin + place, 4).value_or(0);
    };
    // Turns are part of the picture here, not advice. They are told as an orientation, so that the
    // picture need not be turned in memory.
    constexpr int kTurns[] = {1, 8, 3, 6}, kMirrors[] = {4, 2};
    const unsigned int detail = bytes.byte(property.begin).value_or(0);
    if (property.type == "ispe" && size.width == 0) size = {value(4), value(8), size.orientation};
    if (property.type == "clap" && value(4) != 0 && value(12) != 0)
      cut = ImageSize{value(0) / value(4), value(8) / value(12), 1};
    if (property.type == "irot") size.orientation = composed(size.orientation, kTurns[detail & 3]);
    if (property.type == "imir")
      size.orientation = composed(size.orientation, kMirrors[detail & 1]);
  }
  if (size.width == 0 || size.height == 0) return std::nullopt;
  if (cut) {
    if (orientationExchangesSides(size.orientation)) std::swap(cut->width, cut->height);
    size = *cut;
    picture.librarysTurns = true;
  }
  readGrid(bytes, *meta, picture);
  const std::uint32_t coded = picture.tiles.empty() ? meta->primary : picture.tiles.front();
  for (const std::uint32_t number : propertiesOf(bytes, *links, coded))
    if (number != 0 && number <= all.size() && !picture.chromaFormat)
      picture.chromaFormat = chromaFormatOf(bytes, all[number - 1]);
  return picture;
}

std::vector<HEIFPatch> makePrimary(HeaderBytes& bytes, std::uint32_t item) {
  const auto meta = metaOf(bytes);
  const auto entry = meta ? itemOf(bytes, *meta, item) : std::nullopt;
  if (!entry) return {};
  std::string number;
  for (int i = meta->primaryBytes; i-- > 0;) number += static_cast<char>(item >> (8 * i));
  const int flags = bytes.byte(entry->flags).value_or(0) & ~1;
  return {{meta->primaryPlace, number}, {entry->flags, {static_cast<char>(flags)}}};
}

}  // namespace tasklane
