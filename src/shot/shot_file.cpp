#include <dravix/algolog.h>
#include <dravix/dravix.h>
#include <dravix/shot.h>

#include <optional>
#include <span>
#include <type_traits>
#include <utility>

#include "base/envelope.h"
#include "base/record.h"
#include "image/mat_record.h"
#include "shot/groups.h"

namespace {

namespace base = dravix::base;
using dravix::shot::GroupsOf;

/// The number before each group of the stream. Writers use this order; readers take any.
enum Tag : std::uint32_t {
  kDevice = 1,
  kCapture = 2,
  kPartition = 4,
  kLedPanel = 8,
  kLayer = 16,
  kPattern = 32,
  kColor = 64,
  kEnd = 0xFFFFFFFF,
};

// The fields of each group in the order in which they are stored, for the writer and the reader.
template <class Group, class Visit>
void VisitFields(Group& group,
                 Visit&& visit) requires std::is_same_v<std::remove_const_t<Group>, Shot::Device> {
  visit(group.id), visit(group.cam_type), visit(group.lens_id), visit(group.lens_type);
}
template <class Group, class Visit>
void VisitFields(Group& group,
                 Visit&& visit) requires std::is_same_v<std::remove_const_t<Group>, Shot::Capture> {
  visit(group.exposure), visit(group.gain), visit(group.aperture), visit(group.microfocus);
  visit(group.filter);
}
template <class Group, class Visit>
void VisitFields(Group& group, Visit&& visit) requires
    std::is_same_v<std::remove_const_t<Group>, Shot::Partition> {
  visit(group.x), visit(group.y), visit(group.w), visit(group.h);
  visit(group.screen_w), visit(group.screen_h);
}
template <class Group, class Visit>
void VisitFields(Group& group, Visit&& visit) requires
    std::is_same_v<std::remove_const_t<Group>, Shot::LedPanel> {
  visit(group.type), visit(group.layout), visit(group.subpixel_type), visit(group.w);
  visit(group.h), visit(group.pixel_pitch);
}
template <class Group, class Visit>
void VisitFields(Group& group,
                 Visit&& visit) requires std::is_same_v<std::remove_const_t<Group>, Shot::Layer> {
  visit(group.index), visit(group.linear_norms), visit(group.value);
}
template <class Group, class Visit>
void VisitFields(Group& group,
                 Visit&& visit) requires std::is_same_v<std::remove_const_t<Group>, Shot::Pattern> {
  visit(group.type), visit(group.interval_x), visit(group.interval_y), visit(group.loc_x);
  visit(group.loc_y), visit(group.lighted_led_w), visit(group.lighted_led_h);
}
template <class Group, class Visit>
void VisitFields(Group& color,
                 Visit&& visit) requires std::is_same_v<std::remove_const_t<Group>, std::int32_t> {
  visit(color);
}

class FieldWriter {
 public:
  explicit FieldWriter(base::ByteSink& out) : out_(out) {}
  template <base::PlainNumber T>
  void operator()(T value) const {
    out_.Write(value);
  }
  /// Writes all 64 bytes, whether a zero ends the text or not.
  void operator()(const char (&text)[64]) const { out_.Append(std::as_bytes(std::span(text))); }

 private:
  base::ByteSink& out_;
};

/// Reads fields; one that the input no longer holds keeps its value.
class FieldReader {
 public:
  explicit FieldReader(base::ByteReader& in) : in_(in) {}
  template <base::PlainNumber T>
  void operator()(T& value) const {
    value = in_.ReadOr<T>(value);
  }
  void operator()(char (&text)[64]) const {
    if (!in_.Has(sizeof text)) return in_.SkipRest();
    in_.ReadUpTo(std::as_writable_bytes(std::span(text)));
  }

 private:
  base::ByteReader& in_;
};

template <class Group>
void WriteGroup(Tag tag, const std::optional<Group>& group, base::ByteSink& out) {
  if (!group) return;
  out.Write(static_cast<std::uint32_t>(tag));
  VisitFields(*group, FieldWriter(out));
}

template <class Group>
void ReadGroup(std::optional<Group>& group, base::ByteReader& in) {
  if (!group) group = Group{};
  VisitFields(*group, FieldReader(in));
}

void WriteStream(const Shot& shot, base::ByteSink& out) {
  base::WriteHeader(out);
  out.Write(shot.type);
  dravix::image::WriteMatRecordAs(CV_16U, shot.image, out);
  WriteGroup(kDevice, shot.device, out);
  WriteGroup(kCapture, shot.capture, out);
  WriteGroup(kPartition, shot.partition, out);
  WriteGroup(kLedPanel, shot.panel, out);
  WriteGroup(kLayer, shot.layer, out);
  WriteGroup(kPattern, shot.pattern, out);
  WriteGroup(kColor, shot.color, out);
  out.Write(static_cast<std::uint32_t>(kEnd));
}

base::Content StreamOf(const Shot& shot) {
  return [&shot](base::ByteSink& out) { WriteStream(shot, out); };
}

/// How many tags are read from a pipe or device, which may give tags without end. Seven are enough
/// for every group; this many take a few milliseconds.
constexpr std::uint64_t kMostTagsOfStream = 1 << 16;

/// Reads into the groups that the shot has already. An unknown tag carries nothing, so the next
/// four bytes are the next tag. The end of the input ends the list.
void ReadGroups(Shot& shot, base::ByteReader& in) {
  for (std::uint64_t tags = 0; in.HasAnEnd() || tags < kMostTagsOfStream; ++tags) {
    switch (in.ReadOr<std::uint32_t>(kEnd)) {
      case kDevice:
        ReadGroup(shot.device, in);
        break;
      case kCapture:
        ReadGroup(shot.capture, in);
        break;
      case kPartition:
        ReadGroup(shot.partition, in);
        break;
      case kLedPanel:
        ReadGroup(shot.panel, in);
        break;
      case kLayer:
        ReadGroup(shot.layer, in);
        break;
      case kPattern:
        ReadGroup(shot.pattern, in);
        break;
      case kColor:
        ReadGroup(shot.color, in);
        break;
      case kEnd:
        return;
      default:
        break;
    }
  }
}

/// Reads all that follows mark and version. The shot changes only when all of it has been read.
void ReadBody(Shot& shot, base::ByteReader& in) {
  Shot read;
  GroupsOf(read) = GroupsOf(std::as_const(shot));
  read.type = in.ReadOr<std::uint32_t>(0);
  read.image = dravix::image::ReadMatRecord(in);
  ReadGroups(read, in);
  shot = std::move(read);
}

constexpr base::SaveTexts kSaveTexts{
    .extension = ".shot",
    .wrongName = "Shot::Save--Error :: ext filename mismatch.",
    .cannotOpen = "Shot::Save -- Failed to Open file. fullname = %s",
    .cannotFinish = "Shot::Save -- Failed to write file. fullname = %s",
};
constexpr base::LoadTexts kLoadTexts{
    .extension = ".shot",
    .wrongName = "Shot::Load--Error :: ext filename mismatch.",
    .cannotOpen = "Shot::Load -- Failed to Open file.fullname = %s",
};
constexpr base::HeaderTexts kLoadHeaderTexts{
    .wrongMark = "Shot::Load -- Error file endianness.",
    .wrongVersion = "Shot::Load -- Error version in file.",
};
constexpr base::HeaderTexts kBufferHeaderTexts{
    .wrongMark = "Shot::FromBuffer -- Error file endianness.",
    .wrongVersion = "Shot::FromBuffer -- Error version in file.",
};

}  // namespace

std::int32_t Shot::Save(const std::string& fullname) const {
  AlgoLogInfo("Shot::Save");
  return base::SaveRecord(fullname, kSaveTexts, StreamOf(*this));
}

std::int32_t Shot::Load(const std::string& fullname) {
  AlgoLogInfo("Shot::Load");
  return base::LoadRecord(fullname, kLoadTexts, kLoadHeaderTexts,
                          [this](base::ByteReader& in) { ReadBody(*this, in); });
}

std::int32_t Shot::GetBufferSize(std::size_t* size) const {
  AlgoLogInfo("Shot::GetBufferSize");
  if (size == nullptr) return DRAVIX_NULL_ARGUMENT;
  if (image.empty()) return DRAVIX_NO_RESULT;
  *size = static_cast<std::size_t>(base::SizeOf(StreamOf(*this)));
  return DRAVIX_OK;
}

std::int32_t Shot::ToBuffer(char* buffer, std::size_t* size) const {
  AlgoLogInfo("Shot::ToBuffer");
  if (buffer == nullptr || size == nullptr) return DRAVIX_NULL_ARGUMENT;
  std::uint64_t length = *size;
  const std::int32_t code = base::PutIntoBuffer(StreamOf(*this), buffer, &length);
  *size = static_cast<std::size_t>(length);
  return code;
}

std::int32_t Shot::FromBuffer(const char* buffer, std::size_t size) {
  AlgoLogInfo("Shot::FromBuffer");
  if (buffer == nullptr) return DRAVIX_NULL_ARGUMENT;
  return base::ReadRecord(base::ViewOf(buffer, size), kBufferHeaderTexts,
                          [this](base::ByteReader& in) { ReadBody(*this, in); });
}
