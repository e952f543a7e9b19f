#pragma once
// uSvgPlot: draws curves over a common axis as an SVG picture.

#include <string>
#include <vector>

namespace OrvixModBus {

/// A value for every point of the common axis; one that is no finite number breaks the line.
struct TPlotCurve {
  std::string Name;
  std::vector<double> Values;
};

/// Curves of one quantity over a value axis of their own.
struct TPlotPanel {
  std::string Unit;  ///< "A"; may be empty
  std::vector<TPlotCurve> Curves;
};

/// Panels one below the other. The points of the common axis lie Step apart from First on; a line
/// marks its 0.
struct TPlot {
  std::string Title;
  std::string Axis;  ///< "Time, ms"
  double First = 0;
  double Step = 1;
  std::vector<TPlotPanel> Panels;
};

/// Round values between low and high, the steps between them 1, 2 or 5 times a power of ten, some
/// five of them; none when there is no such range.
std::vector<double> AxisMarks(double low, double high);

/// The picture (SVG 1.1) in UTF-8; texts are escaped. Without a value a panel is empty.
std::string SvgOf(const TPlot& plot);

}  // namespace OrvixModBus
