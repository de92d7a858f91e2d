/// The standard streams: answers go to stdout, everything else to stderr.
#pragma once

#include <nlohmann/json.hpp>
#include <string_view>

namespace dravix::tool {

/// JSON whose fields keep the order in which they are set, so that the important ones come first.
using Json = nlohmann::ordered_json;

/// Makes writing to a closed pipe an error instead of the end of the process.
void IgnoreClosedPipes();

/// Writes an answer. Fails when the disk is full, but not when the reader has gone away.
void Print(std::string_view text);
void PrintJson(const Json& json);

/// While an object of this class exists, everything that is written to stdout and stderr is
/// dropped. Decoders of pictures report damage there; the tool reports it in one line of its own.
class Hushed {
 public:
  Hushed();
  Hushed(const Hushed&) = delete;
  Hushed& operator=(const Hushed&) = delete;
  ~Hushed();

 private:
  int out_;
  int err_;
};

}  // namespace dravix::tool
