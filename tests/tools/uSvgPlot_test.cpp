#include "tools/display/uSvgPlot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "platform/rtl/uNumText.h"
#include "platform/rtl/uText.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

struct TPoint {
  double X, Y;
};

/// Each text of the picture between begin and end.
std::vector<std::string> Between(const std::string& svg, const std::string& begin,
                                 const std::string& end) {
  std::vector<std::string> found;
  for (std::size_t at = svg.find(begin); at != std::string::npos; at = svg.find(begin, at)) {
    at += begin.size();
    found.push_back(svg.substr(at, svg.find(end, at) - at));
  }
  return found;
}

/// The points of each line of the picture.
std::vector<std::vector<TPoint>> LinesOf(const std::string& svg) {
  std::vector<std::vector<TPoint>> lines;
  for (const std::string& points : Between(svg, "<polyline points=\"", "\"")) {
    lines.emplace_back();
    for (const std::string& point : Split(points, ' ')) {
      const TStringDynArray parts = Split(point, ',');
      EXPECT_THAT(parts, SizeIs(2)) << point;
      lines.back().push_back({std::stod(parts.front()), std::stod(parts.back())});
    }
  }
  return lines;
}

/// The texts of a look: "mark", "value", "name"...
std::vector<std::string> TextsOf(const std::string& svg, const std::string& look) {
  std::vector<std::string> texts;
  for (const std::string& text : Between(svg, "<text ", "</text>")) {
    if (text.find("class=\"" + look + "\"") == std::string::npos) continue;
    texts.push_back(text.substr(text.find('>') + 1));
  }
  return texts;
}

TPlot OneCurve(const std::vector<double>& values) {
  return {.Title = "Start", .Axis = "Time, ms", .Panels = {{"A", {{"I1", values}}}}};
}

TEST(SvgPlot, MarksAreRound) {
  struct TCase {
    double low, high;
    std::vector<double> marks;
  };
  const TCase cases[] = {
      {0, 10, {0, 2, 4, 6, 8, 10}},
      {0, 1, {0, 0.2, 0.4, 0.6, 0.8, 1}},
      {-325, 325, {-200, 0, 200}},
      {3, 97, {20, 40, 60, 80}},
      {0, 50, {0, 10, 20, 30, 40, 50}},
      {1e-6, 5e-6, {1e-6, 2e-6, 3e-6, 4e-6, 5e-6}},
      {5, 5, {}},
      {7, 3, {}},
      {kNone, 3, {}},
      {-1e308, 1e308, {}},
      {1e300, std::nextafter(1e300, 2e300), {}},
  };
  for (const TCase& test : cases) {
    SCOPED_TRACE(FloatToStr(test.low) + " to " + FloatToStr(test.high));
    const std::vector<double> marks = AxisMarks(test.low, test.high);
    ASSERT_THAT(marks, SizeIs(test.marks.size()));
    for (std::size_t i = 0; i < marks.size(); ++i) {
      EXPECT_NEAR(marks[i], test.marks[i], std::abs(test.high - test.low) * 1e-9);
    }
  }
}

TEST(SvgPlot, DrawsEveryValueInItsPlace) {
  const auto lines = LinesOf(SvgOf(OneCurve({0, 5, 10})));
  ASSERT_THAT(lines, SizeIs(1));
  ASSERT_THAT(lines[0], SizeIs(3));
  // The middle value in the middle, both ways; 10 above 0.
  EXPECT_NEAR(lines[0][1].X - lines[0][0].X, lines[0][2].X - lines[0][1].X, 0.02);
  EXPECT_NEAR(lines[0][0].Y - lines[0][1].Y, lines[0][1].Y - lines[0][2].Y, 0.02);
  EXPECT_GT(lines[0][2].X, lines[0][0].X + 100);
  EXPECT_GT(lines[0][0].Y, lines[0][2].Y + 100);
}

TEST(SvgPlot, NamesAxesUnitsAndCurves) {
  TPlot plot = OneCurve({0, 5, 10});
  plot.First = -10;
  plot.Step = 10;
  const std::string svg = SvgOf(plot);
  EXPECT_THAT(TextsOf(svg, "title"), ElementsAre("Start"));
  EXPECT_THAT(TextsOf(svg, "axis"), ElementsAre("Time, ms"));
  EXPECT_THAT(TextsOf(svg, "unit"), ElementsAre("A"));
  EXPECT_THAT(TextsOf(svg, "name"), ElementsAre("I1"));
  EXPECT_THAT(TextsOf(svg, "mark"), ElementsAre("-10", "-5", "0", "5", "10"));
  EXPECT_THAT(TextsOf(svg, "value"), ElementsAre("0", "2", "4", "6", "8", "10"));
}

TEST(SvgPlot, PutsPanelsOneBelowTheOther) {
  TPlot plot = OneCurve({0, 1});
  plot.Panels.push_back({"V", {{"U1", {0, 1}}, {"U2", {1, 0}}}});
  const std::string svg = SvgOf(plot);
  const auto lines = LinesOf(svg);
  ASSERT_THAT(lines, SizeIs(3));
  EXPECT_LT(lines[0][0].Y, lines[1][1].Y);
  EXPECT_EQ(lines[1][0].Y, lines[2][1].Y);
  EXPECT_THAT(TextsOf(svg, "unit"), ElementsAre("A", "V"));
  EXPECT_THAT(TextsOf(svg, "name"), ElementsAre("I1", "U1", "U2"));
}

TEST(SvgPlot, BreaksALineWhereAValueIsMissing) {
  const double infinite = std::numeric_limits<double>::infinity();
  const auto lines = LinesOf(SvgOf(OneCurve({kNone, 1, 2, kNone, infinite, 3, 4, kNone})));
  ASSERT_THAT(lines, SizeIs(2));
  EXPECT_THAT(lines[0], SizeIs(2));
  EXPECT_THAT(lines[1], SizeIs(2));
}

TEST(SvgPlot, DrawsWhatHasNoRange) {
  for (const std::vector<double>& values :
       {std::vector<double>{}, {7}, {0, 0}, {7, 7, 7}, {-3, -3}, {kNone, kNone}}) {
    const std::string svg = SvgOf(OneCurve(values));
    EXPECT_THAT(svg, Not(HasSubstr("nan")));
    EXPECT_THAT(svg, Not(HasSubstr("NAN")));
    EXPECT_THAT(svg, HasSubstr("</svg>"));
  }
  EXPECT_THAT(LinesOf(SvgOf({})), IsEmpty());
}

TEST(SvgPlot, EscapesTexts) {
  TPlot plot = OneCurve({0, 1});
  plot.Title = "A < B & \"C\" > D";
  EXPECT_THAT(TextsOf(SvgOf(plot), "title"), ElementsAre("A &lt; B &amp; \"C\" &gt; D"));
}

TEST(SvgPlot, WritesPlacesWithAPointWhateverTheSeparator) {
  const std::string svg = SvgOf(OneCurve({0, 0.5, 1.5}));
  SetDecimalSeparator(',');
  const std::string other = SvgOf(OneCurve({0, 0.5, 1.5}));
  SetDecimalSeparator('.');
  ASSERT_THAT(LinesOf(other), SizeIs(1));
  EXPECT_EQ(LinesOf(other)[0].size(), 3U);
  EXPECT_THAT(TextsOf(other, "value"), ElementsAre("0", "0,5", "1", "1,5"));
  EXPECT_EQ(Between(other, "points=\"", "\""), Between(svg, "points=\"", "\""));
}

}  // namespace
}  // namespace OrvixModBus
