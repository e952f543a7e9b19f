#include "platform/modbus/uSerialPort.h"

// The kernel's own terminal structures: only they take any baud rate.
#include <asm/termbits.h>
#include <fcntl.h>
#include <linux/serial.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace OrvixModBus {
namespace {

constexpr int kClosed = -1;

class TSystemPort final : public TSerialPort {
 public:
  ~TSystemPort() override { TSystemPort::Close(); }

  void Open(const TPortSettings& settings) override;
  void Close() noexcept override;
  THandle Handle() const override { return fHandle; }
  TPortTransfer Read(std::span<std::uint8_t> bytes) override;
  TPortTransfer Write(std::span<const std::uint8_t> bytes) override;
  std::string LossReason() const override { return fLossReason; }
  void SetTransmitting(bool value) override;
  bool IsDrained() const override;
  TLowLatency LowLatency() const override { return fLowLatency; }

 private:
  void SetUp(const TPortSettings& settings);
  void SetMode(const TPortSettings& settings);
  void SetLowLatency();
  void SetRS485(const TPortSettings& settings);
  TPortTransfer Lost(const char* reason);

  THandle fHandle = kClosed;
  TLowLatency fLowLatency = TLowLatency::llNotOffered;
  std::string fLossReason;
};

[[noreturn]] void Refuse(const std::string& port, const std::string& reason) {
  throw EModLinkError("Port " + port + ": " + reason);
}

void Require(int result, const std::string& port) {
  if (result < 0) Refuse(port, std::strerror(errno));
}

template <class TCall>
auto Retry(TCall call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

tcflag_t ParityFlags(TParityScheme parity) {
  switch (parity) {
    case TParityScheme::psNone:
      return 0;
    case TParityScheme::psOdd:
      return PARENB | PARODD;
    case TParityScheme::psEven:
      return PARENB;
    case TParityScheme::psMark:
      return PARENB | PARODD | CMSPAR;
    case TParityScheme::psSpace:
      return PARENB | CMSPAR;
  }
  return 0;
}

tcflag_t DataFlags(TDataBits bits) {
  switch (bits) {
    case TDataBits::db5:
      return CS5;
    case TDataBits::db6:
      return CS6;
    case TDataBits::db7:
      return CS7;
    case TDataBits::db8:
      break;
  }
  return CS8;
}

// The hardware knows one bit, or more: one and a half with 5 data bits, else two.
tcflag_t StopFlags(const TPortSettings& settings) {
  const bool five = settings.DataBits == TDataBits::db5;
  if (settings.StopBits == TStopBits::sb1_5 && !five) {
    Refuse(settings.Name, "1.5 stop bits need 5 data bits");
  }
  if (settings.StopBits == TStopBits::sb2 && five) {
    Refuse(settings.Name, "5 data bits can't have 2 stop bits");
  }
  return settings.StopBits == TStopBits::sb1 ? tcflag_t{0} : tcflag_t{CSTOPB};
}

void TSystemPort::Open(const TPortSettings& settings) {
  Close();
  if (settings.Name.empty()) throw EModLinkError("No port is named");
  fHandle = Retry(
      [&] { return open(settings.Name.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC); });
  Require(fHandle, settings.Name);
  try {
    SetUp(settings);
  } catch (...) {
    Close();
    throw;
  }
}

void TSystemPort::SetUp(const TPortSettings& settings) {
  if (flock(fHandle, LOCK_EX | LOCK_NB) < 0) {
    Refuse(settings.Name, errno == EWOULDBLOCK ? "used by another program" : std::strerror(errno));
  }
  SetMode(settings);
  Require(ioctl(fHandle, TIOCEXCL), settings.Name);
  SetLowLatency();
  SetRS485(settings);
  ioctl(fHandle, TCFLSH, TCIOFLUSH);  // what came before is of no interest
}

void TSystemPort::SetMode(const TPortSettings& settings) {
  termios2 mode{};
  Require(ioctl(fHandle, TCGETS2, &mode), settings.Name);
  mode.c_iflag = IGNBRK;
  mode.c_oflag = 0;
  mode.c_lflag = 0;
  mode.c_cflag = CREAD | CLOCAL | BOTHER | BOTHER << IBSHIFT | DataFlags(settings.DataBits) |
                 ParityFlags(settings.Parity) | StopFlags(settings);
  mode.c_ispeed = mode.c_ospeed = settings.BaudRate;
  mode.c_cc[VMIN] = 1;  // so that an empty port is told from a hung-up one
  mode.c_cc[VTIME] = 0;
  Require(ioctl(fHandle, TCSETS2, &mode), settings.Name);
  Require(ioctl(fHandle, TCGETS2, &mode), settings.Name);
  // A driver takes the nearest rate that it can; a receiver still locks on within 3 %.
  const auto wanted = static_cast<std::int64_t>(settings.BaudRate);
  const auto difference = static_cast<std::int64_t>(mode.c_ospeed) - wanted;
  if (difference * 100 > wanted * 3 || difference * 100 < wanted * -3) {
    Refuse(settings.Name, std::to_string(settings.BaudRate) + " baud is not to be had");
  }
}

void TSystemPort::SetLowLatency() {
  serial_struct serial{};
  fLowLatency = TLowLatency::llNotOffered;
  if (ioctl(fHandle, TIOCGSERIAL, &serial) < 0) return;
  serial.flags |= static_cast<int>(ASYNC_LOW_LATENCY);
  if (ioctl(fHandle, TIOCSSERIAL, &serial) == 0) fLowLatency = TLowLatency::llSet;
}

void TSystemPort::SetRS485(const TPortSettings& settings) {
  if (settings.RS485Mode == TRS485Mode::rmRTS) {
    const int rts = TIOCM_RTS;
    Require(ioctl(fHandle, TIOCMBIC, &rts), settings.Name);
  }
  const bool kernel = settings.RS485Mode == TRS485Mode::rmKernel;
  serial_rs485 mode{};
  const bool known = ioctl(fHandle, TIOCGRS485, &mode) == 0;
  if (!kernel && (!known || (mode.flags & SER_RS485_ENABLED) == 0)) return;
  mode = {};
  if (kernel) mode.flags = SER_RS485_ENABLED | SER_RS485_RTS_ON_SEND;
  Require(ioctl(fHandle, TIOCSRS485, &mode), settings.Name);
}

void TSystemPort::Close() noexcept {
  if (fHandle == kClosed) return;
  ioctl(fHandle, TIOCNXCL);
  close(std::exchange(fHandle, kClosed));
}

TPortTransfer TSystemPort::Read(std::span<std::uint8_t> bytes) {
  const auto count = Retry([&] { return read(fHandle, bytes.data(), bytes.size()); });
  if (count > 0) return {static_cast<std::size_t>(count)};
  if (count == 0) return Lost("hung up");
  return errno == EAGAIN ? TPortTransfer{} : Lost(std::strerror(errno));
}

TPortTransfer TSystemPort::Write(std::span<const std::uint8_t> bytes) {
  const auto count = Retry([&] { return write(fHandle, bytes.data(), bytes.size()); });
  if (count >= 0) return {static_cast<std::size_t>(count)};
  return errno == EAGAIN ? TPortTransfer{} : Lost(std::strerror(errno));
}

TPortTransfer TSystemPort::Lost(const char* reason) {
  fLossReason = reason;
  return {0, true};
}

void TSystemPort::SetTransmitting(bool value) {
  const int rts = TIOCM_RTS;
  ioctl(fHandle, value ? TIOCMBIS : TIOCMBIC, &rts);
}

bool TSystemPort::IsDrained() const {
  int state = 0;
  if (ioctl(fHandle, TIOCSERGETLSR, &state) == 0) return (state & TIOCSER_TEMT) != 0;
  return ioctl(fHandle, TIOCOUTQ, &state) < 0 || state == 0;
}

}  // namespace

std::unique_ptr<TSerialPort> TSerialPort::New() { return std::make_unique<TSystemPort>(); }

}  // namespace OrvixModBus
