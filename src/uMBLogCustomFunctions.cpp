#include "uMBLogCustomFunctions.h"

#include <algorithm>

#include "platform/model/uProperty.h"
#include "uMBLib.h"

namespace OrvixModBus {
namespace {

constexpr std::uint32_t kItemsReply = 1;  // what a request for items is started with

}  // namespace

TMBLogFunction::~TMBLogFunction() { BeginDestroy(); }

void TMBLogFunction::ReadAllItems() {
  CheckThread();
  if (MBClient() == nullptr) return;
  const int last = ItemCount();
  const int batch = std::min(BatchSize(fOneRecordLength, "OneRecordLength", last), last);
  RequestBatches(kItemsReply, batch, last, [batch](int item) -> TRequest {
    const auto low = [](int value) {
      return TMBLib::ByteFromCardinal(static_cast<std::uint32_t>(value), 0);
    };
    return {0, low(item), 0, low(batch)};
  });
}

void TMBLogFunction::TakeItems(std::uint32_t startReg, const Bytes& values) {
  if (startReg != kItemsReply) return;
  Slice(values, 0, fOneRecordLength, [this](const Bytes& record) { OnGetRecord(*this, record); });
}

const TClassInfo& TMBLogFunction::StaticClass() {
  static const TClassInfo info("TMBLogFunction", &TMBItemFunction::StaticClass(),
                               {
                                   PublishedEvent("OnGetRecord", &TMBLogFunction::OnGetRecord),
                                   Published("OneRecordLength", &TMBLogFunction::OneRecordLength,
                                             &TMBLogFunction::SetOneRecordLength, -1),
                               });
  return info;
}

const TClassInfo& TMBFunction20::StaticClass() {
  static const TClassInfo info("TMBFunction20", &TMBLogFunction::StaticClass(), {});
  return info;
}

const TClassInfo& TMBFunction24::StaticClass() {
  static const TClassInfo info("TMBFunction24", &TMBLogFunction::StaticClass(), {});
  return info;
}

}  // namespace OrvixModBus
