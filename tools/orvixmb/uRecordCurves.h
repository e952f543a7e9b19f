#pragma once
// uRecordCurves: the numbers of records as curves, for a picture and for waveform viewers.

#include <string>
#include <vector>

#include "tools/display/uSvgPlot.h"
#include "tools/orvixmb/uComtrade.h"
#include "tools/orvixmb/uItemReader.h"
#include "tools/orvixmb/uRecordStructure.h"

namespace OrvixModBus {

/// A curve for each rtNum of the structure, its unit the caption; missing values are no numbers.
std::vector<TComtradeAnalog> CurvesOf(const TRecording& recording,
                                      const TRecordStructure& structure);

/// Curves of one unit share a panel. Interval is the milliseconds between records, from 0 on; the
/// axis counts the records from first on where it is 0.
TPlot PlotOf(const std::vector<TComtradeAnalog>& curves, double interval, int first);

}  // namespace OrvixModBus
