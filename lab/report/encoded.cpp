#include "lab/report/encoded.h"

#include <zlib.h>

#include <array>
#include <bit>
#include <new>

namespace dravix::lab {

struct Deflater::Stream {
  z_stream z{};
};

Deflater::Deflater(std::size_t most) : stream_(new Stream), most_(most) {
  // A noisy matrix has few repetitions. Higher levels look longer for them and find no more.
  constexpr int kLevel = 6;
  if (deflateInit(&stream_->z, kLevel) != Z_OK) {
    delete stream_;
    throw std::bad_alloc();
  }
}

Deflater::~Deflater() {
  deflateEnd(&stream_->z);
  delete stream_;
}

void Deflater::Run(std::span<const std::uint8_t> bytes, int flush) {
  std::array<std::uint8_t, 1 << 15> room{};
  z_stream& z = stream_->z;
  // zlib's interface is older than const; it does not write to its input.
  z.next_in = const_cast<Bytef*>(bytes.data());
  z.avail_in = static_cast<uInt>(bytes.size());
  do {
    z.next_out = room.data();
    z.avail_out = static_cast<uInt>(room.size());
    deflate(&z, flush);
    output_.insert(output_.end(), room.begin(),
                   room.end() - static_cast<std::ptrdiff_t>(z.avail_out));
  } while (z.avail_out == 0);
}

bool Deflater::Add(std::span<const std::uint8_t> bytes) {
  constexpr std::size_t kPiece = 1 << 20;  // zlib counts in 32 bits
  for (; !bytes.empty() && output_.size() <= most_;
       bytes = bytes.subspan(std::min(kPiece, bytes.size()))) {
    Run(bytes.first(std::min(kPiece, bytes.size())), Z_NO_FLUSH);
  }
  return output_.size() <= most_;
}

std::optional<std::vector<std::uint8_t>> Deflater::Finish() {
  if (output_.size() <= most_) Run({}, Z_FINISH);
  if (output_.size() > most_) return std::nullopt;
  return std::move(output_);
}

std::string Base64(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
    std::uint32_t bits = 0;
    for (std::size_t k = 0; k < 3; ++k) bits = bits << 8 | (k < count ? bytes[i + k] : 0U);
    for (std::size_t k = 0; k < 4; ++k) {
      text += k <= count ? kDigits[bits >> (18 - 6 * k) & 63U] : '=';
    }
  }
  return text;
}

std::string Base64Floats(std::span<const float> values) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(4 * values.size());
  for (const float value : values) {
    const auto bits = std::bit_cast<std::uint32_t>(value);
    for (unsigned shift = 0; shift < 32; shift += 8) {
      bytes.push_back(static_cast<std::uint8_t>(bits >> shift & 0xFFU));
    }
  }
  return Base64(bytes);
}

std::string HtmlText(std::string_view text) {
  std::string html;
  for (const char c : text) {
    switch (c) {
      case '&':
        html += "&amp;";
        break;
      case '<':
        html += "&lt;";
        break;
      case '>':
        html += "&gt;";
        break;
      case '"':
        html += "&quot;";
        break;
      case '\'':
        html += "&#39;";
        break;
      default:
        html += c;
    }
  }
  return html;
}

std::string JsonForScript(std::string_view json) {
  std::string text;
  text.reserve(json.size());
  for (const char c : json) {
    switch (c) {
      case '&':
        text += "\\u0026";
        break;
      case '<':
        text += "\\u003c";
        break;
      case '>':
        text += "\\u003e";
        break;
      default:
        text += c;
    }
  }
  return text;
}

}  // namespace dravix::lab
