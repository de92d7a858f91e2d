#include <cstdint>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "fuzz/seeds/seeds.h"

namespace dravix::fuzz {
namespace {

struct Entry {
  std::uint16_t tag;
  std::uint32_t value;
  std::uint16_t type = 4;
  std::uint32_t count = 1;
};

constexpr std::uint32_t kHeader = 8;
constexpr std::uint32_t kWidth = 6, kHeight = 4;

void Samples(base::ByteWriter& out, int count = kWidth * kHeight) {
  for (int i = 0; i < count; ++i) out.Write(static_cast<std::uint16_t>(259 * i));
}

/// Header, directory, four bytes of another directory, and what `tail` writes.
template <class Tail>
base::Bytes Dng(const char* order, const std::vector<Entry>& entries, Tail&& tail) {
  base::ByteWriter out;
  out.Append(base::ViewOf(order, 2));
  out.Write(std::uint16_t{42});
  out.Write(kHeader);
  out.Write(static_cast<std::uint16_t>(entries.size()));
  for (const Entry& entry : entries) {
    out.Write(entry.tag), out.Write(entry.type), out.Write(entry.count), out.Write(entry.value);
  }
  out.Write(std::uint32_t{0});
  tail(out);
  return std::move(out).Data();
}

std::uint32_t TailAt(std::size_t entries) {
  return kHeader + 2 + static_cast<std::uint32_t>(entries) * 12 + 4;
}

std::vector<Entry> Entries(std::uint32_t strip, std::uint32_t strips = 1) {
  return {{256, kWidth}, {257, kHeight},          {258, 16, 3},
          {259, 1, 3},   {273, strip, 4, strips}, {277, 1, 3}};
}

base::Bytes Direct(const char* order = "II") {
  return Dng(order, Entries(TailAt(6)), [](base::ByteWriter& out) { Samples(out); });
}

base::Bytes WithOffsets(const char* order = "II") {
  const std::uint32_t at = TailAt(6);
  return Dng(order, Entries(at, 2), [at](base::ByteWriter& out) {
    out.Write(at + 8), out.Write(at + 8 + kWidth * kHeight), Samples(out);
  });
}

base::Bytes Behind(std::string_view front, const base::Bytes& bytes) {
  base::ByteWriter out;
  out.Append(base::ViewOf(front));
  out.Append(bytes);
  return std::move(out).Data();
}

void AddDngs(Seeds& seeds) {
  using namespace std::string_view_literals;
  const std::uint32_t tail = TailAt(3);
  const auto samples = [](base::ByteWriter& out) { Samples(out); };
  const auto nothing = [](base::ByteWriter&) {};
  const std::pair<const char*, base::Bytes> files[] = {
      {"direct", Direct()},
      {"direct-high-first", Direct("MM")},
      {"offsets", WithOffsets()},
      {"offsets-high-first", WithOffsets("MM")},
      {"no-width", Dng("II", {{257, kHeight}, {273, tail}}, samples)},
      {"no-samples", Dng("II", Entries(TailAt(6)), nothing)},
      {"twice", Dng("II", {{256, 1}, {256, kWidth}, {257, kHeight}, {273, TailAt(4)}}, samples)},
      {"far", Dng("II", {{256, kWidth}, {257, kHeight}, {273, 0xFFFFFFF0}}, samples)},
      {"huge", Dng("II", {{256, 0xFFFFFFFF}, {257, 0xFFFFFFFF}, {273, tail}}, samples)},
      {"zero", Dng("II", {{256, 0}, {257, kHeight}, {273, tail}}, samples)},
      {"no-entries", Dng("II", {}, samples)},
  };
  for (const auto& [name, bytes] : files) {
    seeds.Add("dng_direct", name, Behind("\x02"sv, bytes));
    seeds.Add("dng_offsets", name, Behind("\0\x10"sv, bytes));
    seeds.Add("camera_file", name, Behind("\0"sv, bytes));
  }
  const std::string color{static_cast<char>(cv::COLOR_BayerBG2BGR), static_cast<char>(0x70)};
  seeds.AddWithFaults("dng_offsets", "colors", Behind(color, WithOffsets()));
  seeds.AddWithFaults("dng_direct", "plane", Behind("\x02"sv, Direct()));
  seeds.AddWithFaults("camera_file", "plane", Behind("\0"sv, Direct()));
  seeds.Add("camera_file", "bits-elsewhere", Behind("\0"sv, Dng("II", {{258, 8, 3, 3}}, samples)));
  seeds.Add("camera_file", "dng-version", Behind("\0"sv, Dng("II", {{50706, 1, 1, 4}}, samples)));
}

void AddPgms(Seeds& seeds) {
  using namespace std::string_view_literals;
  const std::string samples(2 * 3 * 2, '\x12');
  const std::pair<const char*, std::string> files[] = {
      {"plain", "P5\n3 2\n65535\n" + samples},
      {"blanks", "P5\n \t3   2 rest\n 4095\n" + samples},
      {"short", "P5\n3 2\n65535\n" + samples.substr(1)},
      {"long", "P5\n3 2\n65535\n" + samples + "more"},
      {"ascii", "P2\n3 2\n65535\n1 2 3 4 5 6\n"},
      {"comment", "P5\n# comment\n3 2\n65535\n" + samples},
      {"negative", "P5\n-3 2\n65535\n" + samples},
      {"huge", "P5\n2147483648 2147483648\n65535\n" + samples},
      {"overflow", "P5\n99999999999999999999 1\n65535\n" + samples},
      {"one-number", "P5\n3\n65535\n" + samples},
      {"no-maximum", "P5\n3 2\n\n" + samples},
      {"no-end", "P5\n3 2"},
      {"P", "P"},
      {"eight-bit", "P5\n3 2\n255\n" + samples},
  };
  for (const auto& [name, text] : files) {
    seeds.Add("pgm", name, text);
    seeds.Add("camera_file", std::string("pgm-") + name, "\x01" + text);
  }
}

void AddDumps(Seeds& seeds) {
  const auto dump = [](std::int32_t cols, std::int32_t rows, int code, int type, int samples) {
    base::ByteWriter out;
    out.Write(cols), out.Write(rows);
    out.Write(static_cast<std::uint8_t>(code)), out.Write(static_cast<std::uint8_t>(type));
    Samples(out, samples);
    return std::move(out).Data();
  };
  seeds.AddWithFaults("raw_dump", "plane", dump(6, 4, 0, 0x02, 24));
  seeds.AddWithFaults("raw_dump", "colors", dump(6, 4, cv::COLOR_BayerBG2BGR, 0x70, 24));
  seeds.Add("raw_dump", "one-color", dump(6, 4, cv::COLOR_BayerBG2BGRA, 0x40, 24));
  seeds.Add("raw_dump", "gray", dump(6, 4, cv::COLOR_BayerBG2GRAY, 0x10, 24));
  seeds.Add("raw_dump", "wrong-type", dump(6, 4, 0, 0x33, 24));
  seeds.Add("raw_dump", "nothing", dump(0, 0, 0, 0x02, 0));
  seeds.Add("raw_dump", "rows-of-nothing", dump(0, 2147483647, 0, 0x02, 0));
  seeds.Add("raw_dump", "negative", dump(-6, -4, 0, 0x02, 24));
  seeds.Add("raw_dump", "product-of-32-bits", dump(65536, 65536, 0, 0x02, 0));
  seeds.Add("raw_dump", "beyond-32-bits", dump(65536, 65537, 0, 0x02, 0));
  seeds.Add("raw_dump", "camera", dump(6, 120016, 0, 0x02, 24));
}

}  // namespace

void AddCameraSeeds(Seeds& seeds) {
  AddDngs(seeds);
  AddPgms(seeds);
  AddDumps(seeds);
}

}  // namespace dravix::fuzz
