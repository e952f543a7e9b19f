#pragma once
// uReplyScanner: finds whole frames in what arrives - the reply first, then all others.

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

#include "platform/modbus/uReplyLength.h"
#include "platform/rtl/uBytes.h"

namespace OrvixModBus {

/// How long the line has been without a byte: not long; so long that a frame of unknown length
/// is over; so long that every frame is.
enum class TLineRest { Flowing, Quiet, Cut };

/// A whole frame with a right check sum.
struct TScannedFrame {
  enum class TKind {
    None,   ///< nothing whole (now)
    Reply,  ///< the expected server and function code, or that code's exception
    Echo,   ///< the request, as it was sent
    Other,  ///< anything else
  };
  TKind Kind = TKind::None;
  std::span<const std::uint8_t> Frame;  ///< with its check sum; valid until the next Room
};

/// Holds a bounded part of what arrives and looks for frames at every place of it. An incomplete
/// reply is waited for before later places are tried, until the line has rested too long. A
/// check sum that happens to fit early never ends a reply.
class TReplyScanner {
 public:
  explicit TReplyScanner(const TReplyLengths& lengths) : fLengths(lengths) {}

  /// Looks for replies to request (with check sum) from now on; what is held is thrown away.
  /// echo: the request itself is looked for, too, once.
  void Expect(std::span<const std::uint8_t> request, bool echo);
  /// Looks for other frames only; what is held is thrown away.
  void ExpectNothing() { Expect({}, false); }

  /// Where the next bytes go, never empty. The oldest bytes are thrown away when it gets full.
  std::span<std::uint8_t> Room();
  /// So many bytes have been written to Room.
  void Received(std::size_t count) { fEnd += count; }

  /// The next whole frame; call until there is none. What can't be a part of any is thrown away.
  TScannedFrame Next(TLineRest rest);

  bool HasBytes() const { return fBegin < fEnd; }
  // The rest tells the state after the last Next.
  /// An incomplete reply is there.
  bool IsWaiting() const { return fWaiting; }
  /// It ends with silence; else so many bytes are missing, as far as its begin and its request
  /// tell.
  bool EndsWithSilence() const { return fMissing == 0; }
  std::size_t Missing() const { return fMissing; }
  /// Tells one incomplete reply from another: the place of its begin in all that ever arrived.
  std::uint64_t WaitingPlace() const { return fWaitingPlace; }
  /// Something like the reply was there since Expect, but cut or with a wrong check sum.
  bool IsBroken() const { return fBroken || fBrokenInHold; }

  /// Takes every run of bytes that is thrown away.
  std::function<void(std::span<const std::uint8_t>)> OnThrown;

 private:
  struct TLook {
    std::size_t Length = 0;  // of the whole frame at the place
    TScannedFrame::TKind Kind = TScannedFrame::TKind::None;
    bool Wait = false;       // an incomplete reply; nothing after this place counts
    bool Undecided = false;  // may become a frame
    bool Broken = false;
  };

  TLook Look(std::span<const std::uint8_t> bytes, TLineRest rest);
  TLook LookForReply(std::span<const std::uint8_t> bytes, TLineRest rest);
  TLook LookForEcho(std::span<const std::uint8_t> bytes, TLineRest rest) const;
  TLook LookForOther(std::span<const std::uint8_t> bytes, TLineRest rest) const;
  TScannedFrame Found(std::size_t place, const TLook& look);
  void Throw(std::size_t end);

  const TReplyLengths& fLengths;
  Bytes fRequest;
  std::array<std::uint8_t, 1024> fBytes{};
  std::size_t fBegin = 0, fEnd = 0;  // what is held
  std::uint64_t fBase = 0;           // place of fBytes[0] in all that ever arrived
  std::size_t fLeast = 0;            // length of a reply that fits the request
  std::size_t fMissing = 0;
  std::uint64_t fWaitingPlace = 0;
  bool fEcho = false;
  bool fWaiting = false;
  bool fBroken = false;        // in what is gone
  bool fBrokenInHold = false;  // in what is held, so it may still turn out to be something else
};

}  // namespace OrvixModBus
