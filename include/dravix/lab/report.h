/// A report of measured screens as one page for a web browser.
///
/// The page is complete in itself: styles, scripts, figures, the map of luminances and the
/// photograph are in the file, and it asks nothing of any network.
#ifndef DRAVIX_LAB_REPORT_H_
#define DRAVIX_LAB_REPORT_H_

#include <dravix/lab/analysis.h>

#include <cstddef>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

namespace dravix::lab {

/// One line of a list of metadata. Both texts are UTF-8 and may hold any signs.
struct ReportFact {
  std::string name;
  std::string value;
};

/// One measured screen.
struct ReportInput {
  std::string file;         ///< the name that the page shows, as the user gave it
  cv::Mat values;           ///< CV_32FC1, one luminance per LED; not finite where not measured
  AnalysisOptions options;  ///< what `analysis` was made with
  Analysis analysis;        ///< Analyze(values, options)
  int copiedBorder = 0;     ///< outer rows and columns on each side that are copies of inner ones
  std::vector<ReportFact> facts;  ///< what else is known of the result
};

/// The photograph that the results were measured from.
struct ReportPhotograph {
  std::string file;
  cv::Mat image;  ///< 1 or 3 channels (blue, green, red), 8 or 16 bits or float, linear in light
  std::vector<cv::Point> outline;  ///< the corners in pixels, clockwise; empty for none
  std::string outlineSource;       ///< where the outline comes from, or why there is none
  std::vector<ReportFact> facts;   ///< its metadata
};

/// The two luminances that have the first and the last color.
struct ReportScale {
  double low = 0;
  double high = 1;  ///< above `low`
};

struct ReportOptions {
  std::string title;  ///< empty: "Measurement report"
  /// The scale that the page begins with. Without it, the 1st percentile and the 99th of all
  /// results: all of them always share one scale.
  std::optional<ReportScale> scale;
  std::optional<ReportPhotograph> photograph;
  /// The page's size in bytes where the figures alone do not take more. The map of luminances
  /// becomes coarser than the matrix where it must, and the page says so.
  std::size_t mostBytes = 2000000;
};

/// The page, in UTF-8. Its map has 32-bit floats at best. Throws std::invalid_argument for no
/// inputs, a matrix that Analyze does not take or whose size is not the analysis', an analysis in
/// which no LED counts, a scale whose ends are not finite or not in order, and an empty photograph
/// or one of another type.
[[nodiscard]] std::string ReportPage(const std::vector<ReportInput>& inputs,
                                     const ReportOptions& options = {});

}  // namespace dravix::lab

#endif  // DRAVIX_LAB_REPORT_H_
