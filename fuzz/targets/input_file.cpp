// The readers under every format: the same steps through a file, a stream and the bytes themselves.
// A byte says which file, then come the steps, and behind them the content.
#include "base/input_file.h"

#include <sstream>

#include "base/stream_source.h"
#include "fuzz/scratch.h"
#include "fuzz/target.h"

namespace dravix::fuzz {
namespace {

struct ReadStep {
  unsigned kind = 0;
  std::uint64_t count = 0;
};

std::vector<ReadStep> TakeSteps(Input& input) {
  std::vector<ReadStep> steps(input.Take<std::uint8_t>());
  for (ReadStep& step : steps) {
    const unsigned first = input.Take<std::uint8_t>();
    step.kind = first % 8;
    step.count = first >= 0x80 ? input.Take<std::uint64_t>() : input.Take<std::uint16_t>();
  }
  return steps;
}

/// What one step tells: a number, and bytes.
std::string Told(base::ByteReader& in, const ReadStep& step) {
  constexpr std::uint64_t kMostAtOnce = std::uint64_t{1} << 20;
  switch (step.kind) {
    case 0:
      return in.Has(step.count) ? "has" : "has not";
    case 1:
      return std::to_string(in.Read<std::uint16_t>().value_or(7));
    case 2:
      return std::to_string(in.Read<std::uint64_t>().value_or(7));
    case 3:
      return std::to_string(in.ReadOr<std::uint32_t>(7));
    case 4: {
      std::string bytes(static_cast<std::size_t>(std::min(step.count, kMostAtOnce)), '?');
      const std::size_t there = in.ReadUpTo(std::as_writable_bytes(std::span(bytes)));
      return std::to_string(there) + ":" + bytes;
    }
    case 5:
      in.Skip(step.count);
      return "skipped";
    case 6:
      in.SkipRest();
      return "at the end";
    default:
      return std::to_string(static_cast<int>(in.Read<char>().value_or(7)));
  }
}

std::vector<std::string> All(base::ByteReader&& in, const std::vector<ReadStep>& steps) {
  std::vector<std::string> told;
  told.reserve(steps.size());
  for (const ReadStep& step : steps) told.push_back(Told(in, step));
  return told;
}

/// A source that can go back gives the same bytes at the same places.
void CheckPlaces(base::InputFile& file, const std::vector<ReadStep>& steps,
                 base::ByteView content) {
  for (const ReadStep& step : steps) {
    file.SeekTo(step.count);
    const std::size_t at = std::min<std::uint64_t>(step.count, content.size());
    base::Bytes bytes(16);
    bytes.resize(file.Fetch(bytes));
    const base::ByteView expected = content.subspan(at);
    Require(std::ranges::equal(bytes, expected.first(std::min<std::size_t>(16, expected.size()))),
            "every place of a file can be reached");
  }
}

}  // namespace

FUZZ_TARGET(input_file, input) {
  const std::vector<ReadStep> steps = TakeSteps(input);
  const base::ByteView content = input.Rest();
  const std::vector<std::string> expected = All(base::ByteReader(content), steps);

  const std::string name = ScratchFile("content.bin", content);
  const auto file = base::InputFile::Open(name, base::Access::kForward);
  Require(file != nullptr && All(base::ByteReader(*file), steps) == expected,
          "a file is read like its bytes");
  for (const auto consumed :
       {base::StreamSource::Consumed::kDropped, base::StreamSource::Consumed::kKept}) {
    std::istringstream stream(Text(content));
    base::StreamSource source(stream, consumed);
    Require(All(base::ByteReader(source), steps) == expected, "a stream is read like its bytes");
  }
  const auto anyOrder = base::InputFile::Open(name, base::Access::kAnyOrder);
  CheckPlaces(*anyOrder, steps, content);
  const auto whole = base::ReadFile(name);
  Require(whole && std::ranges::equal(*whole, content), "a file is read whole");
}

}  // namespace dravix::fuzz
