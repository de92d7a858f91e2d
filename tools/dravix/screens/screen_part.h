/// A simulated part of a larger screen, and the gains that correct a screen.
#pragma once

#include <opencv2/core.hpp>
#include <string>

#include "sim/scene.h"
#include "terminal/console.h"

namespace dravix::tool {

/// "960,0,480,540" as the LEDs of a part. Fails as wrong usage that names the option on anything
/// else, and on a side below 1.
[[nodiscard]] cv::Rect ParsePart(const std::string& option, const std::string& text);

/// Fails as wrong usage when the scene's part leaves its screen, lights no LED or cannot be
/// photographed as one plane, and when it names a part of no screen. The message begins with
/// `where`.
void RequirePart(const std::string& where, const sim::Scene& scene);

/// The gains of the file `name` (.npy), one for each LED of the scene's screen: CV_32FC1. Fails
/// when there are more or fewer, and when one of them is negative or no number.
[[nodiscard]] cv::Mat LoadGains(const std::string& name, const sim::Scene& scene);

/// What `simulate --json` says of the part, as members of an object.
[[nodiscard]] Json PartJson(const sim::Scene& scene);
/// "480 x 540 of 7680 x 4320 LEDs from 960,540 on, one of 2 x 2 lit from 1,0 on, CIE_X"
[[nodiscard]] std::string PartText(const sim::Scene& scene);

}  // namespace dravix::tool
