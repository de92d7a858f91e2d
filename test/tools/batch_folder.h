/// A folder with small photographs and a manifest for them.
#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "support/temp_dir.h"
#include "tools/tool_runner.h"

namespace dravix::test {

class BatchFolder {
 public:
  /// A photograph ID.shot with ID.json and ID.board.shot, and a job, for each of these. No manifest
  /// without any.
  explicit BatchFolder(const std::vector<std::string>& ids);

  [[nodiscard]] std::string File(const std::string& name) const { return folder_.File(name); }
  [[nodiscard]] const std::filesystem::path& Path() const { return folder_.Path(); }

  /// 40 x 30 LEDs, unless the words say otherwise.
  void Simulate(const std::string& id, const std::vector<std::string>& more = {}) const;
  /// The line of a job that measures a photograph by its truth file.
  [[nodiscard]] std::string Job(const std::string& photo, const std::string& id = {}) const;
  /// Makes these lines the manifest.
  void Write(const std::vector<std::string>& lines) const;

  Outcome Run(const std::vector<std::string>& more = {}, const std::string& out = "out") const;
  [[nodiscard]] std::vector<nlohmann::json> Results(const std::string& out = "out") const;
  /// Content of results.jsonl and of all results by their names.
  [[nodiscard]] std::map<std::string, std::string> Bytes(const std::string& out) const;
  /// All that lies there, hidden files too.
  [[nodiscard]] std::set<std::string> Names(const std::string& out) const;

 private:
  TempDir folder_;
};

}  // namespace dravix::test
