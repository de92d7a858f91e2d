#include "base/stream_source.h"

#include <algorithm>

namespace dravix::base {
namespace {

/// Large enough that reading a photograph takes few calls, small beside a photograph.
constexpr std::size_t kChunk = std::size_t{1} << 20;

}  // namespace

/// Takes up to `most` bytes from the stream, as many as the last chunk has room for.
void StreamSource::ReadMore(std::uint64_t most) {
  if (consumed_ == Consumed::kKept && read_ >= kMostFromStream) {
    ended_ = true;
    return;
  }
  const auto filled = static_cast<std::size_t>(read_ % kChunk);
  if (filled == 0) chunks_.emplace_back().reserve(kChunk);  // which never moves, as views want it
  Bytes& last = chunks_.back();
  const auto want = static_cast<std::size_t>(std::min<std::uint64_t>(most, kChunk - filled));
  last.resize(filled + want);
  in_.read(static_cast<char*>(static_cast<void*>(&last[filled])),
           static_cast<std::streamsize>(want));
  const auto there = static_cast<std::size_t>(in_.gcount());
  last.resize(filled + there);
  read_ += there;
  ended_ = there < want;
}

void StreamSource::DropConsumed() {
  if (consumed_ == Consumed::kKept) return;
  for (; dropped_ + kChunk <= at_; dropped_ += kChunk) chunks_.pop_front();
}

/// What has been read and not yet consumed, as far as the chunk goes; empty when there is nothing.
ByteView StreamSource::AtHand() const {
  if (at_ == read_) return {};
  const Bytes& chunk = chunks_[static_cast<std::size_t>((at_ - dropped_) / kChunk)];
  return ByteView(chunk).subspan(static_cast<std::size_t>(at_ % kChunk));
}

bool StreamSource::Has(std::uint64_t count) {
  while (read_ - at_ < count && !ended_) ReadMore(count - (read_ - at_));
  return read_ - at_ >= count;
}

std::size_t StreamSource::Fetch(std::span<std::byte> out) {
  std::size_t there = 0;
  while (there < out.size()) {
    DropConsumed();
    if (at_ == read_ && !ended_) ReadMore(out.size() - there);
    const ByteView some = AtHand();
    if (some.empty()) break;
    const std::size_t count = std::min(some.size(), out.size() - there);
    std::copy_n(some.begin(), count, out.subspan(there).begin());
    there += count;
    at_ += count;
  }
  return there;
}

ByteView StreamSource::FetchSome() {
  DropConsumed();
  if (at_ == read_ && !ended_) ReadMore(1);
  const ByteView some = AtHand();
  at_ += some.size();
  return some;
}

void StreamSource::Skip(std::uint64_t count) {
  while (count > 0) {
    DropConsumed();
    if (at_ == read_ && !ended_) ReadMore(count);
    const std::uint64_t step = std::min<std::uint64_t>(count, AtHand().size());
    if (step == 0) return;
    at_ += step;
    count -= step;
  }
}

void StreamSource::End() {
  ended_ = true;
  at_ = read_;
  in_.setstate(std::ios::eofbit);
}

void StreamSource::SeekTo(std::uint64_t offset) {
  at_ = std::min(offset, read_);
  Skip(offset - at_);
}

}  // namespace dravix::base
