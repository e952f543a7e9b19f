#include "tools/orvixmb/uRecordCurves.h"

#include <algorithm>
#include <limits>

namespace OrvixModBus {

std::vector<TComtradeAnalog> CurvesOf(const TRecording& recording,
                                      const TRecordStructure& structure) {
  const TMBRegTypeStructurs::TItems& fields = structure.Fields();
  const auto isNumber = [&](std::size_t i) { return fields[i]->RegType() == TRegType::rtNum; };
  std::vector<TComtradeAnalog> curves;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (isNumber(i)) curves.push_back({fields[i]->Name(), fields[i]->Caption(), {}});
  }
  for (const Bytes& record : recording.Records) {
    const std::vector<TFieldValue> values = structure.ValuesOf(record);
    auto curve = curves.begin();
    for (std::size_t i = 0; i < fields.size(); ++i) {
      if (!isNumber(i)) continue;
      curve->Values.push_back(values[i].Number.value_or(std::numeric_limits<double>::quiet_NaN()));
      ++curve;
    }
  }
  return curves;
}

TPlot PlotOf(const std::vector<TComtradeAnalog>& curves, double interval, int first) {
  TPlot plot;
  plot.Axis = interval > 0 ? "Time, ms" : "Record";
  plot.First = interval > 0 ? 0 : first;
  plot.Step = interval > 0 ? interval : 1;
  for (const TComtradeAnalog& curve : curves) {
    auto panel = std::ranges::find(plot.Panels, curve.Unit, &TPlotPanel::Unit);
    if (panel == plot.Panels.end()) panel = plot.Panels.insert(panel, {curve.Unit, {}});
    panel->Curves.push_back({curve.Name, curve.Values});
  }
  return plot;
}

}  // namespace OrvixModBus
