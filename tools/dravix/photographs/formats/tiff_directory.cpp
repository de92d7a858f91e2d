#include "photographs/formats/tiff_directory.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace dravix::tool {
namespace {

enum FieldType : std::uint32_t {
  kByte = 1,
  kAscii = 2,
  kShort = 3,
  kLong = 4,
  kRational = 5,
  kSignedByte = 6,
  kUndefined = 7,
  kSignedShort = 8,
  kSignedLong = 9,
  kSignedRational = 10,
  kFloat = 11,
  kDouble = 12,
  kDirectory = 13,
  kLong8 = 16,
  kSignedLong8 = 17,
  kDirectory8 = 18,
};

/// Bytes of one value; 0 for an unknown type.
unsigned SizeOf(std::uint32_t type) {
  switch (type) {
    case kByte:
    case kAscii:
    case kSignedByte:
    case kUndefined:
      return 1;
    case kShort:
    case kSignedShort:
      return 2;
    case kLong:
    case kSignedLong:
    case kFloat:
    case kDirectory:
      return 4;
    case kRational:
    case kSignedRational:
    case kDouble:
    case kLong8:
    case kSignedLong8:
    case kDirectory8:
      return 8;
    default:
      return 0;
  }
}

constexpr std::uint64_t kMostFields = 4096;  // maker's directories have some hundreds

unsigned FieldSize(const TiffBytes& bytes) { return bytes.Wide() ? 20 : 12; }

bool IsWholeType(std::uint32_t type) {
  return type == kByte || type == kUndefined || type == kShort || type == kLong ||
         type == kDirectory || type == kLong8 || type == kDirectory8;
}

double Finite(double value) { return std::isfinite(value) ? value : 0.0; }

double Ratio(double numerator, double denominator) {
  return denominator == 0.0 ? 0.0 : numerator / denominator;
}

double Signed32(std::uint64_t bits) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(bits));
}

}  // namespace

std::optional<TiffBytes> TiffBytes::Of(std::string_view bytes, const Fetch* fetch) {
  constexpr std::size_t kHeader = 8;
  if (bytes.size() < kHeader) return std::nullopt;
  if (fetch != nullptr) (*fetch)(0, kHeader);
  const bool little = bytes.starts_with("II");
  if (!little && !bytes.starts_with("MM")) return std::nullopt;
  const TiffBytes classic(bytes, fetch, little, false);
  const std::uint64_t magic = classic.Value(2, 2);
  if (magic == 42) return classic;
  if (magic == 43 && classic.Value(4, 2) == 8) return TiffBytes(bytes, fetch, little, true);
  return std::nullopt;
}

std::uint64_t TiffBytes::Value(std::uint64_t at, unsigned count) const {
  if (fetch_ != nullptr) (*fetch_)(at, count);
  std::uint64_t value = 0;
  for (unsigned i = 0; i < count; ++i) {
    const std::uint64_t place = at + (little_ ? count - 1 - i : i);
    const bool there = place >= at && place < bytes_.size();
    value = value << 8U | (there ? static_cast<unsigned char>(bytes_[place]) : 0U);
  }
  return value;
}

std::string_view TiffBytes::Piece(std::uint64_t at, std::uint64_t count) const {
  if (!Holds(at, count)) return {};
  if (fetch_ != nullptr) (*fetch_)(at, count);
  return bytes_.substr(at, count);
}

std::uint64_t TiffDirectory::EndOf(const TiffBytes& bytes, std::uint64_t at) {
  const unsigned countSize = bytes.Wide() ? 8 : 2;
  const std::uint64_t first = at + countSize;
  if (!bytes.Holds(at, countSize)) return first;
  const std::uint64_t count = bytes.Value(at, countSize);
  return count == 0 || count > kMostFields ? 0 : first + count * FieldSize(bytes);
}

std::optional<TiffDirectory> TiffDirectory::At(const TiffBytes& bytes, std::uint64_t at) {
  const std::uint64_t end = at == 0 ? 0 : EndOf(bytes, at);
  if (end == 0 || !bytes.Holds(at, end - at)) return std::nullopt;
  const unsigned countSize = bytes.Wide() ? 8 : 2;
  const unsigned fieldSize = FieldSize(bytes);
  const std::uint64_t count = bytes.Value(at, countSize);
  const std::uint64_t first = at + countSize;
  TiffDirectory directory(bytes);
  for (std::uint64_t i = 0; i < count; ++i) {
    const std::uint64_t place = first + i * fieldSize;
    Field field;
    field.tag = static_cast<std::uint32_t>(bytes.Value(place, 2));
    field.type = static_cast<std::uint32_t>(bytes.Value(place + 2, 2));
    field.count = bytes.Value(place + 4, bytes.OffsetSize());
    const std::uint64_t value = place + 4 + bytes.OffsetSize();
    const std::uint64_t size = SizeOf(field.type);
    const bool inside = size != 0 && field.count <= bytes.OffsetSize() / size;
    field.at = inside ? value : bytes.Value(value, bytes.OffsetSize());
    directory.fields_.push_back(field);
  }
  directory.next_ = bytes.Value(first + count * fieldSize, bytes.OffsetSize());
  return directory;
}

// Of fields with the same tag the last one counts.
const TiffDirectory::Field* TiffDirectory::Find(std::uint32_t tag) const {
  const auto found = std::find_if(fields_.rbegin(), fields_.rend(),
                                  [tag](const Field& field) { return field.tag == tag; });
  return found == fields_.rend() ? nullptr : &*found;
}

std::uint64_t TiffDirectory::Count(std::uint32_t tag) const {
  const Field* field = Find(tag);
  return field == nullptr ? 0 : field->count;
}

double TiffDirectory::NumberAt(const Field& field, std::uint64_t index) const {
  const unsigned size = SizeOf(field.type);
  const std::uint64_t at = field.at + index * size;
  const std::uint64_t bits = bytes_.Value(at, size);
  switch (field.type) {
    case kSignedByte:
      return static_cast<std::int8_t>(static_cast<std::uint8_t>(bits));
    case kSignedShort:
      return static_cast<std::int16_t>(static_cast<std::uint16_t>(bits));
    case kSignedLong:
      return Signed32(bits);
    case kSignedLong8:
      return static_cast<double>(static_cast<std::int64_t>(bits));
    case kRational:
      return Ratio(static_cast<double>(bytes_.Value(at, 4)),
                   static_cast<double>(bytes_.Value(at + 4, 4)));
    case kSignedRational:
      return Ratio(Signed32(bytes_.Value(at, 4)), Signed32(bytes_.Value(at + 4, 4)));
    case kFloat:
      return Finite(static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(bits))));
    case kDouble:
      return Finite(std::bit_cast<double>(bits));
    default:
      return static_cast<double>(bits);
  }
}

std::vector<double> TiffDirectory::Numbers(std::uint32_t tag, std::uint64_t most) const {
  const Field* field = Find(tag);
  if (field == nullptr || field->count > most) return {};
  const unsigned size = SizeOf(field->type);
  if (size == 0 || field->type == kAscii || !bytes_.Holds(field->at, field->count * size)) {
    return {};
  }
  std::vector<double> numbers;
  for (std::uint64_t i = 0; i < field->count; ++i) numbers.push_back(NumberAt(*field, i));
  return numbers;
}

std::vector<std::uint64_t> TiffDirectory::Wholes(std::uint32_t tag, std::uint64_t most) const {
  const Field* field = Find(tag);
  if (field == nullptr || field->count > most || !IsWholeType(field->type)) return {};
  const unsigned size = SizeOf(field->type);
  if (!bytes_.Holds(field->at, field->count * size)) return {};
  std::vector<std::uint64_t> wholes;
  for (std::uint64_t i = 0; i < field->count; ++i) {
    wholes.push_back(bytes_.Value(field->at + i * size, size));
  }
  return wholes;
}

std::optional<double> TiffDirectory::Number(std::uint32_t tag) const {
  const std::vector<double> numbers = Numbers(tag);
  return numbers.empty() ? std::nullopt : std::optional<double>(numbers.front());
}

std::uint64_t TiffDirectory::Whole(std::uint32_t tag, std::uint64_t fallback) const {
  const std::vector<std::uint64_t> wholes = Wholes(tag);
  return wholes.empty() ? fallback : wholes.front();
}

std::string_view TiffDirectory::Raw(std::uint32_t tag) const {
  const Field* field = Find(tag);
  if (field == nullptr || SizeOf(field->type) != 1) return {};
  return bytes_.Piece(field->at, field->count);
}

std::uint64_t TiffDirectory::End() const {
  std::uint64_t end = 0;
  for (const Field& field : fields_) {
    // A claim beyond these bounds lies beyond any file.
    constexpr std::uint64_t kMost = std::uint64_t{1} << 40U;
    const std::uint64_t size = SizeOf(field.type) * std::min(field.count, kMost);
    end = std::max(end, std::min(field.at, kMost) + size);
  }
  return end;
}

std::string TiffDirectory::Text(std::uint32_t tag) const { return PlainText(Raw(tag)); }

std::string PlainText(std::string_view raw) {
  constexpr std::size_t kLongest = 200;
  raw = raw.substr(0, std::min(raw.find('\0'), kLongest));
  std::string text;
  for (const char c : raw) text += c >= ' ' && c <= '~' ? c : '?';
  const auto begin = text.find_first_not_of(' ');
  if (begin == std::string::npos) return {};
  return text.substr(begin, text.find_last_not_of(' ') - begin + 1);
}

}  // namespace dravix::tool
