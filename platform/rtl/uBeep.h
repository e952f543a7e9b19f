#pragma once
// uBeep: the audible warning.

#include <functional>

namespace OrvixModBus {

/// Sounds the warning: the bell of the terminal on standard error. Silent where that is no
/// terminal, and never an error.
void Beep();

/// What Beep does instead from now on; empty brings the bell back. A setting of the run-time,
/// for the thread that uses the components.
void SetBeep(std::function<void()> beep);

/// The system's own warning.
void SystemBeep();

}  // namespace OrvixModBus
