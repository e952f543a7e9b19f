#pragma once
// uFormDevice: simulated devices that have everything for which a form's components ask.

#include "platform/model/uComponent.h"
#include "platform/rtl/uBytes.h"
#include "tools/simulator/uSimulator.h"

namespace OrvixModBus {

/// Makes the devices of all clients in root and what it owns, at their server addresses, in a
/// simulator that has none of these yet:
///
/// - the registers of their letters, by read and by write function. What has a write function
///   begins with a fixed value, so that what is written stays; the rest changes with time, see
///   TFormValues. A cell that several registers share has the value of the first one with a write
///   function, or else of the first.
/// - a log of 100 records for each log function, 3 oscillograms of 400 records for each oscillogram
///   function. Records are the catalogue's first structure of that length, or else numbers, in a
///   log with the time before them; so are descriptions, whose number Records tells the truth.
/// - files 0 to 9 of 250 records each. File n holds the catalogue's structure n, counted from 1 and
///   round; the last bytes of records are filled up, so that every structure can be read.
/// - the client's name as identity.
///
/// Returns a line for everything that is left out, with the reason. Keeps nothing of the
/// components. For n registers it takes n log n.
TStringDynArray FormDevices(const TComponent& root, TSimulator& simulator);

}  // namespace OrvixModBus
