#include "tools/display/uSvgPlot.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "platform/rtl/uFormat.h"
#include "platform/rtl/uNumText.h"
#include "platform/rtl/uText.h"

namespace OrvixModBus {
namespace {

// Lengths in the picture's own units, pixels of an unscaled one.
constexpr double kLeft = 80, kRight = 20, kWidth = 960;
constexpr double kTitle = 44, kPanel = 190, kGap = 34, kFoot = 48;
constexpr double kPlotWidth = kWidth - kLeft - kRight;

constexpr int kWantedMarks = 5;

// Colours that people tell apart whatever their eyes (Okabe and Ito).
constexpr const char* kColours[] = {"#0072B2", "#D55E00", "#009E73",
                                    "#CC79A7", "#E69F00", "#56B4E9"};

struct TRange {
  double Low = std::numeric_limits<double>::infinity();
  double High = -std::numeric_limits<double>::infinity();

  bool IsEmpty() const { return Low > High; }
  void Take(double value) {
    if (!std::isfinite(value)) return;
    Low = std::min(Low, value);
    High = std::max(High, value);
  }
};

// Where a value of the range lies between two places of the picture.
class TScale {
 public:
  TScale(const TRange& range, double from, double to)
      : fLow(range.Low), fFrom(from), fFactor((to - from) / (range.High - range.Low)) {}
  double operator()(double value) const { return fFrom + (value - fLow) * fFactor; }

 private:
  double fLow, fFrom, fFactor;
};

// A place in the picture, whatever the decimal separator of the program is.
std::string Place(double value) {
  return ReplaceAll(Format("%.2f", {value}), std::string(1, DecimalSeparator()), ".");
}

std::string Escaped(std::string text) {
  text = ReplaceAll(text, "&", "&amp;");
  text = ReplaceAll(text, "<", "&lt;");
  return ReplaceAll(text, ">", "&gt;");
}

std::string Line(double x1, double y1, double x2, double y2, const char* look) {
  return Format("<line x1=\"%s\" y1=\"%s\" x2=\"%s\" y2=\"%s\" class=\"%s\"/>\n",
                {Place(x1), Place(y1), Place(x2), Place(y2), look});
}

std::string Text(double x, double y, const char* look, const std::string& text) {
  return Format("<text x=\"%s\" y=\"%s\" class=\"%s\">%s</text>\n",
                {Place(x), Place(y), look, Escaped(text)});
}

std::size_t PointCount(const TPlot& plot) {
  std::size_t count = 0;
  for (const TPlotPanel& panel : plot.Panels) {
    for (const TPlotCurve& curve : panel.Curves) count = std::max(count, curve.Values.size());
  }
  return count;
}

// A range of one value has no length to draw on.
TRange Widened(TRange range) {
  if (range.IsEmpty()) return {0, 1};
  if (range.Low == range.High) {
    const double half = range.Low == 0 ? 1 : std::abs(range.Low) / 10;
    range = {range.Low - half, range.High + half};
  }
  return range;
}

// Reaches out to round values, so that no curve touches the frame.
TRange Rounded(const TRange& range) {
  const std::vector<double> marks = AxisMarks(range.Low, range.High);
  if (marks.size() < 2) return range;
  const double step = marks[1] - marks[0];
  return {std::floor(range.Low / step) * step, std::ceil(range.High / step) * step};
}

std::string CurveLines(const TPlotCurve& curve, const TPlot& plot, const TScale& x, const TScale& y,
                       const char* colour) {
  std::string svg, points;
  const auto end = [&] {
    if (!points.empty()) {
      svg += Format("<polyline points=\"%s\" class=\"curve\" stroke=\"%s\"/>\n", {points, colour});
    }
    points.clear();
  };
  for (std::size_t i = 0; i < curve.Values.size(); ++i) {
    const double value = curve.Values[i];
    if (!std::isfinite(value)) {
      end();
      continue;
    }
    const double at = plot.First + plot.Step * static_cast<double>(i);
    points += (points.empty() ? "" : " ") + Place(x(at)) + "," + Place(y(value));
  }
  end();
  return svg;
}

std::string ValueAxis(const TRange& range, const TScale& y) {
  std::string svg;
  for (const double mark : AxisMarks(range.Low, range.High)) {
    svg += Line(kLeft, y(mark), kWidth - kRight, y(mark), mark == 0 ? "zero" : "grid");
    svg += Text(kLeft - 8, y(mark) + 4, "value", FloatToStr(mark));
  }
  return svg;
}

std::string CommonAxis(const TRange& range, const TScale& x, double top, bool named) {
  std::string svg;
  for (const double mark : AxisMarks(range.Low, range.High)) {
    svg += Line(x(mark), top, x(mark), top + kPanel, mark == 0 ? "zero" : "grid");
    if (named) svg += Text(x(mark), top + kPanel + 18, "mark", FloatToStr(mark));
  }
  return svg;
}

std::string Legend(const TPlotPanel& panel, double top) {
  std::string svg;
  double at = kLeft;
  for (std::size_t i = 0; i < panel.Curves.size(); ++i) {
    svg += Format("<rect x=\"%s\" y=\"%s\" width=\"14\" height=\"4\" fill=\"%s\"/>\n",
                  {Place(at), Place(top - 11), kColours[i % std::size(kColours)]});
    svg += Text(at + 20, top - 5, "name", panel.Curves[i].Name);
    at += 48 + 8 * static_cast<double>(Utf8Length(panel.Curves[i].Name));
  }
  return svg;
}

std::string PanelPicture(const TPlot& plot, const TPlotPanel& panel, const TRange& common,
                         double top, bool last) {
  TRange values;
  for (const TPlotCurve& curve : panel.Curves) {
    for (const double value : curve.Values) values.Take(value);
  }
  values = Rounded(Widened(values));
  const TScale x(common, kLeft, kLeft + kPlotWidth);
  const TScale y(values, top + kPanel, top);
  std::string svg = ValueAxis(values, y) + CommonAxis(common, x, top, last);
  for (std::size_t i = 0; i < panel.Curves.size(); ++i) {
    svg += CurveLines(panel.Curves[i], plot, x, y, kColours[i % std::size(kColours)]);
  }
  svg += Format("<rect x=\"%s\" y=\"%s\" width=\"%s\" height=\"%s\" class=\"frame\"/>\n",
                {Place(kLeft), Place(top), Place(kPlotWidth), Place(kPanel)});
  const double middle = top + kPanel / 2;
  svg += Format("<text class=\"unit\" transform=\"translate(20 %s) rotate(-90)\">%s</text>\n",
                {Place(middle), Escaped(panel.Unit)});
  return svg + Legend(panel, top);
}

constexpr const char* kStyle = R"(<style>
text { font-family: sans-serif; font-size: 13px; fill: #333 }
.title { font-size: 17px; font-weight: bold }
.value { text-anchor: end }
.mark, .axis, .unit { text-anchor: middle }
.curve { fill: none; stroke-width: 1.6; stroke-linejoin: round }
.grid { stroke: #ddd }
.zero { stroke: #999 }
.frame { fill: none; stroke: #666 }
</style>
)";

}  // namespace

std::vector<double> AxisMarks(double low, double high) {
  const double wanted = (high - low) / kWantedMarks;
  if (!(wanted > 0) || !std::isfinite(wanted)) return {};
  const double power = std::pow(10, std::floor(std::log10(wanted)));
  double step = 10 * power;
  for (const double factor : {5.0, 2.0, 1.0}) {
    if (factor * power >= wanted) step = factor * power;
  }
  const double first = std::ceil(low / step), last = std::floor(high / step);
  if (first + 1 == first) return {};  // beyond what a double counts by ones
  std::vector<double> marks;
  for (int i = 0; first + i <= last; ++i) {
    const double mark = first + i;
    marks.push_back(mark == 0 ? 0 : mark * step);  // not -0
  }
  return marks;
}

std::string SvgOf(const TPlot& plot) {
  const std::size_t points = PointCount(plot);
  TRange common;
  common.Take(plot.First);
  common.Take(plot.First + plot.Step * static_cast<double>(std::max<std::size_t>(points, 1) - 1));
  common = Widened(common);
  const double height =
      kTitle + kGap + static_cast<double>(plot.Panels.size()) * (kPanel + kGap) - kGap + kFoot;
  std::string svg = Format(
      "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %s %s\" width=\"%s\" "
      "height=\"%s\">\n",
      {Place(kWidth), Place(height), Place(kWidth), Place(height)});
  svg += kStyle;
  svg += "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
  svg += Text(kLeft, 28, "title", plot.Title);
  double top = kTitle + kGap / 2;
  for (const TPlotPanel& panel : plot.Panels) {
    svg += PanelPicture(plot, panel, common, top, &panel == &plot.Panels.back());
    top += kPanel + kGap;
  }
  svg += Text(kLeft + kPlotWidth / 2, height - 10, "axis", plot.Axis);
  return svg + "</svg>\n";
}

}  // namespace OrvixModBus
