#include "base/record.h"

#include <dravix/algolog.h>
#include <dravix/dravix.h>

#include "base/envelope.h"
#include "base/files.h"
#include "base/input_file.h"

namespace dravix::base {

std::int32_t SaveRecord(const std::string& fullname, const SaveTexts& texts,
                        const std::function<Bytes()>& record) {
  if (!HasExtension(fullname, texts.extension)) {
    AlgoLogError("%s", texts.wrongName);
    return DRAVIX_WRONG_EXTENSION;
  }
  switch (WriteFile(fullname, {record()}).result) {
    case WriteResult::kWritten:
      return DRAVIX_OK;
    case WriteResult::kCannotOpen:
      AlgoLogError("%s%s", texts.cannotOpen, fullname.c_str());
      break;
    case WriteResult::kFailed:
      AlgoLogError("%s%s", texts.cannotFinish, fullname.c_str());
      break;
  }
  return DRAVIX_CANNOT_WRITE;
}

namespace {

std::int32_t ReadFrom(ByteReader& in, const HeaderTexts& texts, const BodyReader& readBody) {
  switch (ReadHeader(in)) {
    case Header::kWrongMark:
      AlgoLogError("%s", texts.wrongMark);
      return DRAVIX_WRONG_BYTE_ORDER;
    case Header::kWrongVersion:
      AlgoLogError("%s", texts.wrongVersion);
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
    AlgoLogError("%s", fileTexts.wrongName);
    return DRAVIX_WRONG_EXTENSION;
  }
  std::int32_t code = DRAVIX_OK;
  const auto read = [&](InputFile& file) {
    ByteReader in(file);
    code = ReadFrom(in, headerTexts, readBody);
  };
  if (ReadFileWith(fullname, Access::kForward, read)) return code;
  AlgoLogError("%s%s", fileTexts.cannotOpen, fullname.c_str());
  return DRAVIX_CANNOT_READ;
}

}  // namespace dravix::base
