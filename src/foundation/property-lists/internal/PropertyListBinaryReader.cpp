#include "foundation/property-lists/internal/PropertyListBinaryReader.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "foundation/base/UTF8.h"
#include "foundation/property-lists/PropertyListSyntax.h"
#include "foundation/property-lists/internal/PropertyListRepeatedKeys.h"

namespace tasklane::plist {

namespace {

constexpr std::size_t headerSize = 8, trailerSize = 32;
/// Binary dates count from the start of 2001.
constexpr double dateOrigin = 978307200;

/// A document is a signature, objects one after the other, a table of the objects' offsets, and a
/// trailer that says where the table lies. Containers name their members by number.
class Reader {
 public:
  Reader(std::string_view document, std::vector<std::string>& repeatedKeys)
      : document_(document), repeatedKeys_(repeatedKeys) {}

  std::optional<PropertyList> read() {
    if (document_.substr(binarySignature.size(), 2) != "00") {
      fail(binarySignature.size(), "an unknown version of the binary format");
      return std::nullopt;
    }
    if (!readTrailer()) return std::nullopt;
    objects_.resize(objectCount_);
    const Object* const top = readObject(topObject_, 0, tableOffset_);
    if (!top) return std::nullopt;
    return top->value;
  }

  NSError error() const {
    return {NSError::Kind::Corrupt, "byte " + std::to_string(faultOffset_) + ": " + fault_};
  }

 private:
  enum class State : unsigned char { Unread, Reading, Read };
  struct Object {
    PropertyList value;
    std::uint64_t weight = 0;  // what it takes, in bytes, when everything shared is written out
    int levels = 0;            // of containers that hold something
    State state = State::Unread;
  };

  bool readTrailer() {
    if (document_.size() < headerSize + trailerSize)
      return fail(document_.size(), "the document is cut off");
    const std::size_t trailer = document_.size() - trailerSize;
    offsetSize_ = byteAt(trailer + 6);
    referenceSize_ = byteAt(trailer + 7);
    const std::uint64_t count = bigEndian(trailer + 8, 8);
    topObject_ = bigEndian(trailer + 16, 8);
    tableOffset_ = bigEndian(trailer + 24, 8);
    const bool sizesAreSound =
        offsetSize_ >= 1 && offsetSize_ <= 8 && referenceSize_ >= 1 && referenceSize_ <= 8;
    // The table must end exactly where the trailer begins: a document that was cut off, or that
    // something follows, has its trailer in the wrong place.
    if (!sizesAreSound || tableOffset_ < headerSize || tableOffset_ > trailer ||
        count != (trailer - tableOffset_) / offsetSize_ ||
        count * offsetSize_ != trailer - tableOffset_ || topObject_ >= count)
      return fail(trailer, "no sound trailer; the document is cut off or something follows it");
    objectCount_ = count;
    return true;
  }

  /// An object by its number. `from` is where it is named, for errors.
  const Object* readObject(std::uint64_t number, int depth, std::size_t from) {
    if (number >= objectCount_) {
      fail(from, "a reference to an object that is not there");
      return nullptr;
    }
    Object& object = objects_[number];
    if (object.state == State::Read) return &object;
    if (object.state == State::Reading) {
      fail(from, "a container that holds itself");
      return nullptr;
    }
    object.state = State::Reading;
    const std::uint64_t offset = bigEndian(tableOffset_ + number * offsetSize_, offsetSize_);
    if (offset < headerSize || offset >= tableOffset_) {
      fail(tableOffset_ + number * offsetSize_, "an offset outside of the document's objects");
      return nullptr;
    }
    if (!readContents(object, offset, depth)) return nullptr;
    object.state = State::Read;
    return &object;
  }

  bool readContents(Object& object, std::size_t offset, int depth) {
    const unsigned marker = byteAt(offset), kind = marker >> 4, detail = marker & 0x0F;
    object.weight = 16;
    switch (kind) {
      case 0x1:
        return readInteger(object, offset, detail);
      case 0x2:
      case 0x3:
        return readReal(object, offset, marker);
      case 0x4:
      case 0x5:
      case 0x6:
      case 0xA:
      case 0xD:
        break;
      default:
        if (marker != 0x08 && marker != 0x09) return fail(offset, "an object of an unknown type");
        object.value = PropertyList(marker == 0x09);
        return true;
    }
    std::size_t at = offset + 1;
    const auto count = readCount(at, detail);
    const std::uint64_t unit = kind == 0xA   ? referenceSize_
                               : kind == 0xD ? 2 * std::uint64_t{referenceSize_}
                               : kind == 0x6 ? 2
                                             : 1;
    if (!count || *count > (tableOffset_ - at) / unit)
      return fail(offset, "an object that does not end");
    // Each object is kept once, but objects of a hostile document can lie in the same bytes.
    taken_ += *count * unit + (kind >= 0xA ? *count * sizeof(PropertyListDictionary::Entry) : 0);
    if (taken_ > memoryLimit()) return tooLarge(offset);
    if (kind == 0xA) return readArray(object, at, *count, depth);
    if (kind == 0xD) return readDictionary(object, at, *count, depth);
    object.weight += *count * unit;
    return readBytes(object, at, document_.substr(at, *count * unit), kind);
  }

  bool readInteger(Object& object, std::size_t offset, unsigned detail) {
    const std::size_t size = std::size_t{1} << detail, at = offset + 1;
    if (detail > 4 || size > tableOffset_ - at) return fail(offset, "a malformed integer");
    const std::uint64_t low = bigEndian(size == 16 ? at + 8 : at, size == 16 ? 8 : size);
    const auto asSigned = static_cast<std::int64_t>(low);
    if (size < 8) {
      object.value = PropertyList(low);
      return true;
    }
    // Eight bytes are signed; sixteen serve for what is too large for that.
    const std::uint64_t high = size == 16 ? bigEndian(at, 8) : asSigned < 0 ? ~std::uint64_t{0} : 0;
    if (high == 0)
      object.value = PropertyList(low);
    else if (high == ~std::uint64_t{0} && asSigned < 0)
      object.value = PropertyList(asSigned);
    else
      return fail(offset, "an integer of more than 64 bits");
    return true;
  }

  bool readReal(Object& object, std::size_t offset, unsigned marker) {
    const std::size_t size = marker == 0x22 ? 4 : 8, at = offset + 1;
    if ((marker != 0x22 && marker != 0x23 && marker != 0x33) || size > tableOffset_ - at)
      return fail(offset, "a malformed number or date");
    const std::uint64_t bits = bigEndian(at, size);
    const double value =
        size == 4 ? static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(bits)))
                  : std::bit_cast<double>(bits);
    if (marker != 0x33)
      object.value = PropertyList(value);
    else if (std::isfinite(value))
      object.value = PropertyList(NSDate(NSTimeInterval(value + dateOrigin)));
    else
      return fail(offset, "a date that is no moment");
    return true;
  }

  bool readBytes(Object& object, std::size_t at, std::string_view bytes, unsigned kind) {
    if (kind == 0x4) {
      const auto* const first = reinterpret_cast<const std::byte*>(bytes.data());
      object.value = PropertyList::Data(first, first + bytes.size());
    } else if (kind == 0x5) {
      const std::size_t ascii = utf8::asciiRun(bytes);
      if (ascii != bytes.size()) return fail(at + ascii, "a character that is not ASCII");
      object.value = PropertyList(bytes);
    } else {
      utf8::Converted text = utf8::fromUTF16(bytes, utf8::ByteOrder::BigEndian);
      if (text.invalidAt) return fail(at + *text.invalidAt, "invalid UTF-16");
      object.value = PropertyList(std::move(text.text));
    }
    return true;
  }

  bool readArray(Object& object, std::size_t at, std::uint64_t count, int depth) {
    PropertyList::Array array;
    array.reserve(count);
    for (std::uint64_t i = 0; i < count; ++i) {
      const Object* const member = readMember(object, at + i * referenceSize_, depth);
      if (!member) return false;
      array.push_back(member->value);
    }
    object.value = PropertyList(std::move(array));
    return true;
  }

  bool readDictionary(Object& object, std::size_t at, std::uint64_t count, int depth) {
    std::vector<PropertyListDictionary::Entry> entries;
    entries.reserve(count);
    for (std::uint64_t i = 0; i < count; ++i) {
      const std::size_t keyAt = at + i * referenceSize_, valueAt = keyAt + count * referenceSize_;
      const Object* const key = readMember(object, keyAt, depth);
      if (!key) return false;
      if (key->value.type() != PropertyList::Type::String)
        return fail(keyAt, "a key that is no string");
      const Object* const value = readMember(object, valueAt, depth);
      if (!value) return false;
      entries.emplace_back(key->value.stringView(), value->value);
    }
    noteRepeatedKeys(entries, repeatedKeys_);
    object.value = PropertyList(PropertyListDictionary(std::move(entries)));
    return true;
  }

  /// What a container names at an offset, with its size and depth added to the container's.
  const Object* readMember(Object& container, std::size_t at, int depth) {
    if (depth >= maximumDepth) return tooDeep(at);
    const Object* const member = readObject(bigEndian(at, referenceSize_), depth + 1, at);
    if (!member) return nullptr;
    container.levels = std::max(container.levels, member->levels + 1);
    if (container.levels > maximumDepth) return tooDeep(at);
    // Shared objects can make a small document grow without bound when it is written out. What
    // real programs share are words and small records.
    container.weight += member->weight;
    if (container.weight <= memoryLimit()) return member;
    tooLarge(at);
    return nullptr;
  }

  std::uint64_t memoryLimit() const {
    return (std::uint64_t{32} << 20) + 64 * std::uint64_t{document_.size()};
  }

  /// A count, in the marker or as an integer after it, past which the position is moved.
  std::optional<std::uint64_t> readCount(std::size_t& at, unsigned detail) {
    if (detail != 0x0F) return detail;
    if (at >= tableOffset_) return std::nullopt;
    const unsigned marker = byteAt(at++);
    const std::size_t size = std::size_t{1} << (marker & 0x0F);
    if (marker < 0x10 || marker > 0x13 || size > tableOffset_ - at) return std::nullopt;
    at += size;
    return bigEndian(at - size, size);
  }

  unsigned byteAt(std::size_t offset) const {
    return static_cast<unsigned char>(document_[offset]);
  }
  std::uint64_t bigEndian(std::size_t offset, std::size_t size) const {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) value = value << 8 | byteAt(offset + i);
    return value;
  }

  const Object* tooDeep(std::size_t at) {
    fail(at, "nested more deeply than " + std::to_string(maximumDepth) + " levels");
    return nullptr;
  }
  bool tooLarge(std::size_t at) {
    return fail(at, "objects that overlap or hold each other so often that they fill the memory");
  }
  bool fail(std::size_t offset, std::string what) {
    faultOffset_ = offset;
    fault_ = std::move(what);
    return false;
  }

  std::string_view document_;
  std::vector<std::string>& repeatedKeys_;
  unsigned offsetSize_ = 0, referenceSize_ = 0;
  std::uint64_t objectCount_ = 0, topObject_ = 0, tableOffset_ = 0;
  std::vector<Object> objects_;
  std::uint64_t taken_ = 0;
  std::size_t faultOffset_ = 0;
  std::string fault_;
};

}  // namespace

Result<PropertyList> readBinary(std::string_view document, std::vector<std::string>& repeatedKeys) {
  Reader reader(document, repeatedKeys);
  if (auto plist = reader.read()) return std::move(*plist);
  return reader.error();
}

}  // namespace tasklane::plist
