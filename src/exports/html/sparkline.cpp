// SPDX-License-Identifier: Apache-2.0
// Two hundred points are all that can be seen at this size. Each shows the slowest execution of its
// part, not their mean: a single slow one in ten thousand is what somebody looks for here.

#include "exports/html/sparkline.h"

#include <algorithm>
#include <string>
#include <vector>

#include "base/number_text.h"
#include "exports/html/quantities.h"

namespace ryx::profiling {
namespace {

constexpr double kWidth = 400;
constexpr double kHeight = 108;
constexpr size_t kMaxPoints = 200;

std::string coordinate(double value) { return fixedPoint(value, 1); }

/// The slowest of each of at most kMaxPoints parts of the samples.
std::vector<double> condensed(const Samples& samples) {
  const size_t points = std::min(samples.size(), kMaxPoints);
  std::vector<double> slowest(points);
  for (size_t i = 0; i < samples.size(); ++i) {
    double& point = slowest[i * points / samples.size()];
    point = std::max(point, samples[i].real());
  }
  return slowest;
}

}  // namespace

void appendSparkline(Markup& out, const Row& row, const RowStatistics& statistics) {
  const Distribution& duration = statistics.duration;
  const std::vector<double> values = condensed(row.durations);
  const size_t samples = row.durations.size();
  const double most = std::max(duration.max.real(), 1.0);
  const double steps = static_cast<double>(std::max<size_t>(values.size(), 2) - 1);
  const auto x = [&](double point) { return coordinate(kWidth * std::min(point / steps, 1.0)); };
  const auto y = [&](double value) {
    return coordinate(kHeight - 2 - (kHeight - 8) * value / most);
  };
  std::string line;
  for (size_t i = 0; i < values.size(); ++i)
    line += x(static_cast<double>(i)) + "," + y(values[i]) + " ";
  if (values.size() == 1) line += x(1) + "," + y(values[0]) + " ";
  const std::string median = y(duration.p50.real());
  const std::string label = "Durations from " + durationText(duration.min.real()) + " to " +
                            durationText(duration.max.real()) + ", median " +
                            durationText(duration.p50.real());
  out.raw("<svg class=\"spark\" viewBox=\"0 0 400 108\" preserveAspectRatio=\"none\" role=\"img\"");
  out.raw(" aria-label=\"").text(label).raw("\">");
  if (const uint64_t warmUp = statistics.warmUp.detected.value_or(0); warmUp > 0) {
    const double share = static_cast<double>(warmUp) / static_cast<double>(samples);
    out.raw("<rect class=\"warm\" width=\"" + coordinate(kWidth * share) + "\" height=\"106\"/>");
  }
  out.raw("<polygon class=\"area\" points=\"" + line + "400,106 0,106\"/>");
  out.raw("<polyline class=\"line\" points=\"" + line + "\"/>");
  out.raw("<line class=\"median\" x1=\"0\" x2=\"400\" y1=\"" + median + "\" y2=\"" + median);
  out.raw("\"/>");
  // Dots: paths of no length with round ends, which stay round however the picture is stretched.
  std::string dots;
  for (const OutlierStatistics& outlier : statistics.outliers) {
    const size_t sample = row.timed.find(outlier.execution);
    if (!outlier.isSlow || sample >= samples) continue;
    const size_t point = sample * values.size() / samples;
    dots += "M" + x(static_cast<double>(point)) + "," + y(outlier.duration.real()) + "h0";
  }
  if (!dots.empty()) out.raw("<path class=\"outliers\" d=\"" + dots + "\"/>");
  out.raw("</svg>");
}

}  // namespace ryx::profiling
