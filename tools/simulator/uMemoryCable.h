#pragma once
// uMemoryCable: a serial cable in memory, for virtual loops; it can be pulled out and put back.

#include <memory>

#include "platform/loop/uVirtualLoop.h"
#include "platform/modbus/uSerialPort.h"
#include "platform/rtl/uBytes.h"

namespace OrvixModBus {

/// Two ports; what is written to one can be read from the other at once. Outlives its ports, but
/// not its loop.
class TMemoryCable {
 public:
  explicit TMemoryCable(TVirtualLoop& loop);

  /// The end for a connection. Takes any name and settings; EModLinkError while the cable is
  /// pulled out, or another port of this end is open.
  std::unique_ptr<TSerialPort> NewPort();
  /// The device's end, open from the begin on: a device is not told that a cable was pulled out.
  /// Closing it is Unplug, opening it is Plug.
  TSerialPort& FarEnd() { return *fFarPort; }

  /// What is under way is lost, and so is an open port, until it is opened again after Plug.
  void Unplug();
  void Plug() { fPlugged = true; }

 private:
  class TPort;

  // What can be read at one end.
  class TEnd final : public TVirtualHandle {
   public:
    explicit TEnd(TVirtualLoop& loop) : fLoop(loop), Handle(loop.Attach(*this)) {}
    TEnd(const TEnd&) = delete;
    TEnd& operator=(const TEnd&) = delete;
    ~TEnd() override { fLoop.Detach(Handle); }
    TReadiness Ready() const override;

   private:
    TVirtualLoop& fLoop;

   public:
    const THandle Handle;
    Bytes Incoming;
    bool Open = false;
    bool Lost = false;
  };

  TEnd fNear, fFar;
  std::unique_ptr<TSerialPort> fFarPort;
  bool fPlugged = true;
};

}  // namespace OrvixModBus
