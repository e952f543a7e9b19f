#pragma once
// Writing: changes settings of the plant and reads them back; reads its service log and identity.

#include <string>

#include "uMBLetters.h"

namespace OrvixModBus {

/// Every operation runs the loop until the device has answered; false as AllAnswered.
class TPlantWriter : public TObject {
 public:
  TPlantWriter(TMBClient& client, TMBTypeInfo& types);

  /// The set point by $06, three more by one $10, the recipe as one block by $66.
  bool ChangeSettings();
  /// A file of records ($14), cut by their structure.
  bool ReadServiceLog();
  /// Function $11.
  bool ReadIdentity();

 private:
  bool Read(TMBLetter& letter);
  void OnReadFile(TMBClient& sender, TServerReply reply, TModbusFileRecordList& records,
                  TObject* letterOwner);
  void OnRead(TMBClient& sender, TServerReply reply, std::uint8_t func, std::uint32_t startReg,
              const Bytes& values, TObject* letterOwner);

  TMBClient& fClient;
  TMBTypeInfo& fTypes;
  TMBLetter fSettings;
};

}  // namespace OrvixModBus
