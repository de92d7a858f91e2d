/// Inputs for the corpora to begin with: valid ones, and such as are wrong at one place.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "base/bytes.h"

namespace dravix::fuzz {

class Seeds {
 public:
  explicit Seeds(std::filesystem::path folder) : folder_(std::move(folder)) {}

  /// Writes one input of a target.
  void Add(std::string_view target, std::string_view name, base::ByteView bytes);
  void Add(std::string_view target, std::string_view name, std::string_view text) {
    Add(target, name, base::ViewOf(text));
  }
  /// The input, and the same cut short, without its first byte, and with one byte too many.
  void AddWithFaults(std::string_view target, std::string_view name, base::ByteView bytes);

 private:
  std::filesystem::path folder_;
};

void AddRecordSeeds(Seeds& seeds);     // the library's own formats
void AddCameraSeeds(Seeds& seeds);     // files of cameras
void AddTextSeeds(Seeds& seeds);       // tables, lists, JSON
void AddMeasuringSeeds(Seeds& seeds);  // both pipelines, the detector, the plain transcription
void AddCallSeeds(Seeds& seeds);       // operations and calls in a row

}  // namespace dravix::fuzz
