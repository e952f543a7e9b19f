#include "uMBOscilCustomFunctions.h"

#include "platform/model/uProperty.h"
#include "uMBLib.h"

namespace OrvixModBus {
namespace {

// What the requests are started with.
constexpr std::uint32_t kInfoReply = 2;
constexpr std::uint32_t kRecordsReply = 3;

constexpr std::size_t kRecordsHead = 4;  // 0, oscillogram, first record: word

}  // namespace

TMBFunction41::~TMBFunction41() { BeginDestroy(); }

void TMBFunction41::RaedOscilInfo(std::uint8_t oscilNumber) {
  Request(kInfoReply, {0, oscilNumber, 0, 0});
}

void TMBFunction41::ReadOscilData(std::uint8_t oscilNumber, std::uint16_t recordsInOscil) {
  CheckThread();
  if (MBClient() == nullptr) return;
  const int last = recordsInOscil - 1;
  const int batch = BatchSize(fOscilDataLength, "OscilDataLength", last);
  RequestBatches(kRecordsReply, batch, last, [&](int record) -> TRequest {
    const auto word = static_cast<std::uint32_t>(record);
    return {static_cast<std::uint8_t>(batch), oscilNumber, TMBLib::ByteFromCardinal(word, 1),
            TMBLib::ByteFromCardinal(word, 0)};
  });
}

void TMBFunction41::TakeItems(std::uint32_t startReg, const Bytes& values) {
  if (startReg == kRecordsReply) return TakeRecords(values);
  if (startReg != kInfoReply) return;
  Slice(values, 0, fOscilInfoLength, [this](const Bytes& info) { OnGetOscilInfo(*this, info); });
}

void TMBFunction41::TakeRecords(const Bytes& values) {
  if (values.size() < kRecordsHead) return;
  const std::uint16_t number = values[1];
  std::uint16_t item = TMBLib::ToByteToWord(values[2], values[3]);
  Slice(values, kRecordsHead, fOscilDataLength, [&](const Bytes& record) {
    OnGetOscilData(*this, number, item++, record);  // numbers go on at 0 after 65535
  });
}

const TClassInfo& TMBFunction41::StaticClass() {
  static const TClassInfo info("TMBFunction41", &TMBItemFunction::StaticClass(),
                               {
                                   PublishedEvent("OnGetOscilInfo", &TMBFunction41::OnGetOscilInfo),
                                   Published("OscilInfoLength", &TMBFunction41::OscilInfoLength,
                                             &TMBFunction41::SetOscilInfoLength, -1),
                                   Published("OscilDataLength", &TMBFunction41::OscilDataLength,
                                             &TMBFunction41::SetOscilDataLength, -1),
                                   PublishedEvent("OnGetOscilData", &TMBFunction41::OnGetOscilData),
                               });
  return info;
}

}  // namespace OrvixModBus
