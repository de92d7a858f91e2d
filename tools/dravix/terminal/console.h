/// The standard streams: answers to stdout, the rest to stderr.
#pragma once

#include <nlohmann/json.hpp>
#include <string_view>

namespace dravix::tool {

/// Keeps its order, so that a reader finds the important fields first.
using Json = nlohmann::ordered_json;

/// Makes writing to a closed pipe an error instead of the end of the process.
void IgnoreClosedPipes();

/// Writes an answer. A reader that has gone away is no failure; a full disk is.
void Print(std::string_view text);
void PrintJson(const Json& json);

/// While it lives, what others' code writes to stdout and stderr is dropped: decoders report damage
/// there in their own words, and the tool says it in one line of its own.
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
