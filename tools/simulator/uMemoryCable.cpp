#include "tools/simulator/uMemoryCable.h"

#include <algorithm>
#include <string>

namespace OrvixModBus {

class TMemoryCable::TPort final : public TSerialPort {
 public:
  TPort(TMemoryCable& cable, TEnd& own, TEnd& other) : fCable(cable), fOwn(own), fOther(other) {}
  ~TPort() override { TPort::Close(); }

  void Open(const TPortSettings& settings) override;
  void Close() noexcept override;
  THandle Handle() const override { return fOwn.Handle; }
  TPortTransfer Read(std::span<std::uint8_t> bytes) override;
  TPortTransfer Write(std::span<const std::uint8_t> bytes) override;
  std::string LossReason() const override { return "pulled out"; }
  void SetTransmitting(bool) override {}
  bool IsDrained() const override { return true; }
  TLowLatency LowLatency() const override { return TLowLatency::llNotOffered; }

 private:
  bool IsFar() const { return &fOwn == &fCable.fFar; }

  TMemoryCable& fCable;
  TEnd& fOwn;
  TEnd& fOther;
  bool fOpen = false;
};

TReadiness TMemoryCable::TEnd::Ready() const {
  const bool readable = Lost || !Incoming.empty();
  return readable ? TReadiness::rdReadWrite : TReadiness::rdWrite;
}

void TMemoryCable::TPort::Open(const TPortSettings& settings) {
  Close();
  if (IsFar()) fCable.Plug();
  if (!fCable.fPlugged) throw EModLinkError("Port " + settings.Name + ": pulled out");
  if (fOwn.Open) throw EModLinkError("Port " + settings.Name + ": used already");
  fOwn.Incoming.clear();
  fOwn.Lost = false;
  fOwn.Open = fOpen = true;
}

void TMemoryCable::TPort::Close() noexcept {
  if (!fOpen) return;
  fOwn.Open = fOpen = false;
  if (IsFar()) fCable.Unplug();
}

TPortTransfer TMemoryCable::TPort::Read(std::span<std::uint8_t> bytes) {
  Bytes& incoming = fOwn.Incoming;
  const std::size_t count = std::min(bytes.size(), incoming.size());
  const auto end = incoming.begin() + static_cast<std::ptrdiff_t>(count);
  std::copy(incoming.begin(), end, bytes.begin());
  incoming.erase(incoming.begin(), end);
  return {count, fOwn.Lost};
}

TPortTransfer TMemoryCable::TPort::Write(std::span<const std::uint8_t> bytes) {
  if (fOwn.Lost) return {0, true};
  const bool heard = fCable.fPlugged && fOther.Open;
  if (heard) fOther.Incoming.insert(fOther.Incoming.end(), bytes.begin(), bytes.end());
  return {bytes.size()};
}

TMemoryCable::TMemoryCable(TVirtualLoop& loop)
    : fNear(loop), fFar(loop), fFarPort(std::make_unique<TPort>(*this, fFar, fNear)) {
  fFarPort->Open({});
}

std::unique_ptr<TSerialPort> TMemoryCable::NewPort() {
  return std::make_unique<TPort>(*this, fNear, fFar);
}

void TMemoryCable::Unplug() {
  fPlugged = false;
  fNear.Lost = true;
  fNear.Incoming.clear();
  fFar.Incoming.clear();
}

}  // namespace OrvixModBus
