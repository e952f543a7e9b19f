#pragma once
// Waiting: runs the loop until the device has answered.

#include "uMBClient.h"

namespace OrvixModBus {

/// False, with a message on standard error that names what was asked, when client still waits for
/// answers after a minute.
bool AllAnswered(const TMBClient& client, const char* what);

}  // namespace OrvixModBus
