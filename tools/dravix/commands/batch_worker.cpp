#include "commands/batch_worker.h"

#include <dravix/lab/analysis.h>

#include <cmath>
#include <iostream>
#include <new>
#include <opencv2/core.hpp>
#include <string>

#include "batch/jobs/batch_job.h"
#include "batch/workers/worker_process.h"
#include "commands/arguments/job_inputs.h"
#include "commands/arguments/job_options.h"
#include "commands/measurement.h"
#include "files/sha256.h"
#include "terminal/console.h"
#include "terminal/failure.h"
#include "terminal/progress.h"

namespace dravix::tool {
namespace {

std::optional<double> Known(double value) {
  return std::isfinite(value) ? std::optional(value) : std::nullopt;
}

JobFigures FiguresOf(const Measurement& m) {
  const lab::Level level = lab::Analyze(m.luminances).level;
  JobFigures figures;
  figures.leds = m.luminances.size();
  figures.mean = Known(level.mean);
  figures.cv = Known(level.cv);
  for (const lab::Finding& finding : m.findings) figures.findings.push_back(finding.id);
  return figures;
}

void Fill(const Question& question, Answer& answer, std::string& bytes) {
  const MeasurementOptions options = OptionsOfJob(Json::parse(question.options));
  if (question.task == Task::kRehearse) {
    Rehearse(options);
    return;
  }
  // The hashes are of what was there before it is read for measuring: where a file is changed
  // meanwhile, a later run sees other hashes and measures again.
  for (const std::string& input : InputNames(options)) {
    answer.inputHashes.push_back(Sha256OfFile(input));
  }
  const Measurement measurement = Measure(options);
  answer.seconds = measurement.seconds;
  answer.figures = FiguresOf(measurement);
  bytes = ResultBytes();
}

void Refuse(Answer& answer, ExitCode code, const std::string& text) {
  const JobResult failed = FailedJob({}, code, text);
  answer.code = failed.code;
  answer.message = failed.message;
}

/// The answer as `dravix measure` would have ended.
void FillOrRefuse(const std::string& line, Answer& answer, std::string& bytes) {
  try {
    Fill(ParseQuestion(line), answer, bytes);
  } catch (const Failure& failure) {
    Refuse(answer, failure.Exit(), failure.what());
  } catch (const std::bad_alloc&) {
    Refuse(answer, ExitCode::kInternal, "out of memory");
  } catch (const std::exception& error) {
    Refuse(answer, ExitCode::kInternal, std::string("internal error: ") + error.what());
  }
}

}  // namespace

void AnswerQuestions() {
  AnswerStream answers;
  cv::setNumThreads(1);
  Progress::TurnOff();  // the line on the terminal is the batch's
  for (std::string line; std::getline(std::cin, line);) {
    Answer answer;
    std::string bytes;
    FillOrRefuse(line, answer, bytes);
    if (answer.code != 0) bytes.clear();
    answer.bytes = bytes.size();
    if (!answers.Send(AnswerLine(answer)) || !answers.Send(bytes)) return;
  }
}

}  // namespace dravix::tool
