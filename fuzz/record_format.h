/// What holds for each of the three versioned formats (.lum, .shot, .roi), whatever bytes they are
/// read from.
#pragma once

#include <dravix/dravix.h>

#include <cstdint>
#include <string>

#include "fuzz/scratch.h"
#include "fuzz/target.h"

namespace dravix::fuzz {

/// How reading ended: with a code, or with the matrix library's exception.
struct Outcome {
  bool refused = false;
  std::int32_t code = 0;
  bool operator==(const Outcome&) const = default;
};

template <class Work>
Outcome OutcomeOf(Work&& work) {
  Outcome outcome;
  outcome.refused = Refused([&] { outcome.code = work(); });
  return outcome;
}

/// The bytes that an object is saved as. They must also be those of its buffer, and a buffer that
/// is too small must stay as it is.
template <class Stored, class Size>
std::string SavedBytes(const Stored& stored, const std::string& fullname) {
  Require(stored.Save(fullname) == DRAVIX_OK, "what was read can be saved");
  const std::string saved = ContentOf(fullname);
  std::string buffer(saved.size(), '\0');
  Size size = buffer.size() - 1;
  Require(stored.ToBuffer(buffer.data(), &size) == DRAVIX_BUFFER_TOO_SMALL &&
              size == buffer.size() - 1 && buffer.find_first_not_of('\0') == std::string::npos,
          "a buffer that is too small stays as it is");
  ++size;
  Require(stored.ToBuffer(buffer.data(), &size) == DRAVIX_OK && size == saved.size(),
          "the buffer has the length of the file");
  Require(buffer == saved, "the buffer has the bytes of the file");
  Size expected = 0;
  const std::int32_t code = stored.GetBufferSize(&expected);
  Require(code == DRAVIX_NO_RESULT || (code == DRAVIX_OK && expected == saved.size()),
          "the buffer size is foretold");
  return saved;
}

/// Reads the same bytes as a buffer and as a file with that extension: both end alike. What was
/// read is saved, loaded and saved again: the bytes stay. `Size` is the type that the format's
/// buffers count in, `Length` the type of the length that FromBuffer takes.
template <class Stored, class Size, class Length>
void CheckRecordFormat(base::ByteView bytes, const std::string& extension) {
  Stored fromBuffer;
  const Outcome buffer = OutcomeOf(
      [&] { return fromBuffer.FromBuffer(Chars(bytes), static_cast<Length>(bytes.size())); });
  Stored fromFile;
  const std::string read = ScratchFile("read" + extension, bytes);
  const Outcome file = OutcomeOf([&] { return fromFile.Load(read); });
  if (bytes.data() == nullptr) return;  // no buffer at all
  Require(Stored().Load(ScratchName("none" + extension)) == DRAVIX_CANNOT_READ &&
              Stored().Load(read + "x") == DRAVIX_WRONG_EXTENSION &&
              Stored().Save(ScratchName("none/file" + extension)) == DRAVIX_CANNOT_WRITE &&
              Stored().Save(read + "x") == DRAVIX_WRONG_EXTENSION &&
              Stored().FromBuffer(nullptr, 0) == DRAVIX_NULL_ARGUMENT,
          "what cannot be read or written is told");
  Require(buffer == file, "file and buffer end alike");

  const std::string saved = ScratchName("saved" + extension);
  std::string first;
  if (Refused([&] { first = SavedBytes<Stored, Size>(fromBuffer, saved); })) return;
  Require(SavedBytes<Stored, Size>(fromFile, saved) == first, "file and buffer hold the same");
  Require(buffer == Outcome{} || SavedBytes<Stored, Size>(Stored(), saved) == first,
          "reading that fails changes nothing");
  if (buffer != Outcome{}) return;
  Stored again;
  Require(again.Load(saved) == DRAVIX_OK, "what was saved can be loaded");
  Require(SavedBytes<Stored, Size>(again, saved) == first, "saved, loaded and saved: same bytes");
}

}  // namespace dravix::fuzz
