#pragma once
// witness: knows what the devices of a line answered, and so whether what is reported is true.

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/modbus/uFileRecordList.h"
#include "tools/simulator/uSimulator.h"
#include "uMBReg.h"

namespace OrvixModBus {

/// Remembers what the devices of one line answered to the transaction that is on the line. As the
/// values of the devices change with every request, an answer to any other request shows.
class TWitness {
 public:
  /// A device has executed a request, or refused it.
  void Hear(const TJournalEntry& entry);
  /// The transaction has ended: what is heard from now on belongs to the next one.
  void TransactionOver() { fOver = true; }

  /// A device answered exactly this (function code and data) to exactly this request.
  bool Answered(std::uint8_t server, std::span<const std::uint8_t> request,
                std::span<const std::uint8_t> reply) const;
  /// The same but for a zero behind one of the two frames. Where only silence ends a reply nobody
  /// can tell whether that zero belongs to it, because the check sum is right with and without.
  bool AnsweredButForAZero(std::uint8_t server, std::span<const std::uint8_t> request,
                           std::span<const std::uint8_t> reply) const;
  /// The register has the bytes that the device reported for it, or took from a write.
  bool Holds(std::uint8_t server, const TMBReg& reg) const;
  /// The device reported exactly this record of a file.
  bool Holds(std::uint8_t server, const TModbusFileRecord& record) const;
  /// What was heard, for a complaint.
  std::string Text() const;
  /// A reply by this function code ended with values.
  bool Reported(std::uint8_t server, std::uint8_t function,
                std::span<const std::uint8_t> values) const;
  /// The values of such a reply, cut into pieces of the size of record, have this one.
  bool ReportedRecord(std::uint8_t server, std::uint8_t function, const Bytes& record) const;

 private:
  template <class TCondition>
  bool Any(std::uint8_t server, std::uint8_t function, TCondition condition) const;

  std::vector<TJournalEntry> fHeard;
  bool fOver = false;
};

}  // namespace OrvixModBus
