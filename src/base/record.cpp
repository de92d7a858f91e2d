#include "base/record.h"

#include <dravix/dravix.h>

#include "base/envelope.h"
#include "base/files.h"
#include "base/input_file.h"

namespace dravix::base {

std::int32_t SaveRecord(const std::string& fullname, const SaveTexts& texts,
                        const Content& record) {
  if (!HasExtension(fullname, texts.extension)) {
    LogError(texts.wrongName);
    return DRAVIX_WRONG_EXTENSION;
  }
  (void)SizeOf(record);  // throws where the record cannot be made, and costs next to nothing
  switch (WriteFile(fullname, record).result) {
    case WriteResult::kWritten:
      return DRAVIX_OK;
    case WriteResult::kCannotOpen:
      LogError(texts.cannotOpen, fullname);
      break;
    case WriteResult::kFailed:
      LogError(texts.cannotFinish, fullname);
      break;
  }
  return DRAVIX_CANNOT_WRITE;
}

namespace {

std::int32_t ReadFrom(ByteReader& in, const HeaderTexts& texts, const BodyReader& readBody) {
  switch (ReadHeader(in)) {
    case Header::kWrongMark:
      LogError(texts.wrongMark);
      return DRAVIX_WRONG_BYTE_ORDER;
    case Header::kWrongVersion:
      LogError(texts.wrongVersion);
      return DRAVIX_WRONG_VERSION;
    case Header::kGood:
      break;
  }
  readBody(in);
  return DRAVIX_OK;
}

}  // namespace

std::int32_t ReadRecord(ByteView bytes, const HeaderTexts& texts, const BodyReader& readBody) {
  ByteReader in(bytes);
  return ReadFrom(in, texts, readBody);
}

std::int32_t LoadRecord(const std::string& fullname, const LoadTexts& fileTexts,
                        const HeaderTexts& headerTexts, const BodyReader& readBody) {
  if (!HasExtension(fullname, fileTexts.extension)) {
    LogError(fileTexts.wrongName);
    return DRAVIX_WRONG_EXTENSION;
  }
  std::int32_t code = DRAVIX_OK;
  const auto read = [&](InputFile& file) {
    ByteReader in(file);
    code = ReadFrom(in, headerTexts, readBody);
  };
  if (ReadFileWith(fullname, Access::kForward, read)) return code;
  LogError(fileTexts.cannotOpen, fullname);
  return DRAVIX_CANNOT_READ;
}

}  // namespace dravix::base
