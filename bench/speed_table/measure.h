/// How time and memory are taken: shortest of several turns, processor time, peaks of a child
/// process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace dravix::bench {

using Work = std::function<void()>;

/// kProcessor: the time that the calling thread has the processor, in the kernel too, which is what
/// counts on a busy machine. kWall: what a clock on the wall shows, for several threads.
enum class Clock { kProcessor, kWall };

/// Does all works in turns and returns the shortest time of each, in milliseconds.
std::vector<double> ShortestInTurns(int turns, const std::vector<Work>& works,
                                    Clock clock = Clock::kProcessor);

/// The most memory that the work holds at a time beyond what the process held before, in bytes. It
/// is done in a child process, whose high-water mark starts at what it holds when it begins. 0 on
/// Windows.
double PeakMemory(const Work& work);

bool SameBits(const cv::Mat& a, const cv::Mat& b);

/// The sets of vector instructions that this machine has, best first. The last one is none that the
/// library would use.
std::vector<std::int64_t> Targets();
/// Makes the library's kernels run on one of them, or for 0 on the best one.
void Force(std::int64_t target);
std::string NameOf(std::int64_t target);

}  // namespace dravix::bench
