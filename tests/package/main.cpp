#include "uMBClient.h"
#include "uMBLib.h"

int main() {
  OrvixModBus::TMBClient client(nullptr);
  return OrvixModBus::TMBLib::ToByteToWord(0x12, 0x34) == 0x1234 ? 0 : 1;
}
