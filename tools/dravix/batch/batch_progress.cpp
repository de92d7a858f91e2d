#include "batch/batch_progress.h"

#include <cstdio>

namespace dravix::tool {

BatchProgress::BatchProgress(std::size_t jobs, double samples, unsigned workers)
    : jobs_(jobs),
      workers_(workers),
      left_(samples),
      line_("measuring " + std::to_string(jobs) + " photographs") {}

void BatchProgress::Keep(std::uint64_t samples) {
  ++kept_;
  left_ -= static_cast<double>(samples);
  Show();
}

void BatchProgress::End(std::uint64_t samples, bool measured) {
  ++worked_;
  if (!measured) ++failed_;
  left_ -= static_cast<double>(samples);
  done_ += static_cast<double>(samples);
  Show();
}

std::string BatchProgress::Text() const {
  std::string text = std::to_string(kept_ + worked_) + " of " + std::to_string(jobs_) + " jobs";
  if (kept_ > 0) text += ", " + std::to_string(kept_) + " done before";
  if (failed_ > 0) text += ", " + std::to_string(failed_) + " failed";
  const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start_;
  const auto left = SecondsLeft({passed.count(), worked_, done_, left_, workers_});
  if (left) text += ", " + DurationText(*left) + " left";
  return text;
}

void BatchProgress::Show() {
  const std::string text = Text();
  line_.Say(text);
  constexpr auto kMinute = std::chrono::seconds(60);
  const auto now = std::chrono::steady_clock::now();
  if (Progress::HasTerminal() || now - shown_ < kMinute) return;
  shown_ = now;
  std::fprintf(stderr, "dravix: %s\n", text.c_str());
}

}  // namespace dravix::tool
