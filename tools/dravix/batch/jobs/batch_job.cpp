#include "batch/jobs/batch_job.h"

#include "files/sha256.h"
#include "json/json_fields.h"
#include "terminal/console.h"

namespace dravix::tool {

std::string BatchJob::OptionsHash() const { return Sha256Of(options + "\n"); }

std::string QuestionLine(Task task, const std::string& options) {
  return LineOf({{"rehearse", task == Task::kRehearse}, {"options", options}});
}

Question ParseQuestion(const std::string& line) {
  const Json json = Json::parse(line);
  return {json.at("rehearse").get<bool>() ? Task::kRehearse : Task::kMeasure,
          json.at("options").get<std::string>()};
}

std::string AnswerLine(const Answer& answer) {
  Json json;
  json["code"] = answer.code;
  json["message"] = answer.message;
  json["leds"] = {answer.figures.leds.width, answer.figures.leds.height};
  json["mean"] = NumberOrNull(answer.figures.mean);
  json["cv"] = NumberOrNull(answer.figures.cv);
  json["findings"] = answer.figures.findings;
  json["inputs"] = Json::array();
  for (const auto& hash : answer.inputHashes) json["inputs"].push_back(hash ? Json(*hash) : Json());
  json["bytes"] = answer.bytes;
  json["seconds"] = answer.seconds;
  return LineOf(json);
}

Answer ParseAnswer(const std::string& line) {
  const Json json = Json::parse(line);
  Answer answer;
  answer.code = json.at("code").get<int>();
  answer.message = json.at("message").get<std::string>();
  answer.figures.leds = {json.at("leds").at(0).get<int>(), json.at("leds").at(1).get<int>()};
  answer.figures.mean = NumberOrNone(json.at("mean"));
  answer.figures.cv = NumberOrNone(json.at("cv"));
  answer.figures.findings = json.at("findings").get<std::vector<std::string>>();
  for (const Json& hash : json.at("inputs")) {
    answer.inputHashes.push_back(hash.is_null() ? std::nullopt
                                                : std::optional(hash.get<std::string>()));
  }
  answer.bytes = json.at("bytes").get<std::uint64_t>();
  answer.seconds = json.at("seconds").get<double>();
  return answer;
}

}  // namespace dravix::tool
