#include "platform/modbus/uReplyScanner.h"

#include <algorithm>

#include "platform/modbus/uReplyMatch.h"
#include "platform/modbus/uRtuFrame.h"

namespace OrvixModBus {
namespace {

using TSpan = std::span<const std::uint8_t>;
using TKind = TScannedFrame::TKind;
using TLength = TReplyLength::TKind;

constexpr std::size_t kHeader = 2;  // server address and function code
constexpr std::size_t kLeastRoom = 512;

// Behind a whole frame the check sum is 0, and stays so by every zero that a line adds when its
// driver is switched off: a right check sum of two zeros is that of a frame before it, whose own
// check sum would be read as data. A single zero is taken as a part of the frame, because one right
// check sum in 256 ends with a zero, two in 65,536.
bool IsFrameAndZeros(TSpan bytes) {
  constexpr std::uint8_t kZeros[] = {0, 0};
  return bytes.size() >= kMinFrameLength + std::size(kZeros) &&
         std::ranges::equal(bytes.last(std::size(kZeros)), kZeros);
}

bool EndsWhole(TSpan bytes, TLineRest rest) {
  return rest != TLineRest::Flowing && CheckSumFits(bytes) && !IsFrameAndZeros(bytes);
}

}  // namespace

void TReplyScanner::Expect(TSpan request, bool echo) {
  Throw(fEnd);
  fRequest.assign(request.begin(), request.end());
  fLeast = request.empty() ? 0 : LeastReplyLength(fLengths, Body(request));
  fEcho = echo;
  fWaiting = fBroken = fBrokenInHold = false;
}

std::span<std::uint8_t> TReplyScanner::Room() {
  // A reply that is waited for never begins before the last kMaxReplyLength bytes.
  if (fEnd - fBegin > fBytes.size() - kLeastRoom) Throw(fEnd - kMaxReplyLength);
  std::copy(fBytes.begin() + static_cast<std::ptrdiff_t>(fBegin),
            fBytes.begin() + static_cast<std::ptrdiff_t>(fEnd), fBytes.begin());
  fBase += fBegin;
  fEnd -= fBegin;
  fBegin = 0;
  return std::span(fBytes).subspan(fEnd);
}

TScannedFrame TReplyScanner::Next(TLineRest rest) {
  fWaiting = fBrokenInHold = false;
  std::size_t keep = fEnd;  // from here on something may still become a frame
  bool broken = false;
  for (std::size_t place = fBegin; place < fEnd; ++place) {
    const TLook look = Look(TSpan(fBytes).first(fEnd).subspan(place), rest);
    if (look.Kind != TKind::None) return Found(place, look);
    if (look.Undecided || look.Wait) keep = std::min(keep, place);
    if (look.Broken) (keep == fEnd ? fBroken : broken) = true;
    if (!look.Wait) continue;
    fWaiting = true;
    fMissing = look.Length;
    fWaitingPlace = fBase + place;
    break;
  }
  fBrokenInHold = broken;
  Throw(keep);
  return {};
}

TScannedFrame TReplyScanner::Found(std::size_t place, const TLook& look) {
  Throw(place);
  fBegin = place + look.Length;
  if (look.Kind == TKind::Echo) fEcho = false;
  return {look.Kind, TSpan(fBytes).subspan(place, look.Length)};
}

TReplyScanner::TLook TReplyScanner::Look(TSpan bytes, TLineRest rest) {
  const TLook echo = LookForEcho(bytes, rest);
  if (echo.Kind != TKind::None) return echo;
  TLook reply = LookForReply(bytes, rest);
  reply.Undecided |= echo.Undecided;
  // A reply under way may begin like some other frame, check sum included, so it goes first.
  if (reply.Kind != TKind::None || (reply.Wait && rest == TLineRest::Flowing)) return reply;
  const TLook other = LookForOther(bytes, rest);
  if (other.Kind != TKind::None) return other;
  reply.Undecided |= other.Undecided;
  return reply;
}

TReplyScanner::TLook TReplyScanner::LookForEcho(TSpan bytes, TLineRest rest) const {
  TLook look;
  if (!fEcho) return look;
  const std::size_t size = std::min(bytes.size(), fRequest.size());
  if (!std::ranges::equal(bytes.first(size), TSpan(fRequest).first(size))) return look;
  if (size == fRequest.size()) return {size, TKind::Echo};
  look.Undecided = rest != TLineRest::Cut;
  return look;
}

TReplyScanner::TLook TReplyScanner::LookForReply(TSpan bytes, TLineRest rest) {
  TLook look;
  if (fRequest.size() < kHeader || bytes[0] != fRequest[0]) return look;
  if (bytes.size() < kHeader) {
    look.Wait = rest != TLineRest::Cut;
    look.Length = std::max(fLeast, kMinFrameLength) - bytes.size();
    return look;
  }
  if ((bytes[1] & ~kExceptionFlag) != (fRequest[1] & ~kExceptionFlag)) return look;
  const TReplyLength length = fLengths.Judge(fRequest, bytes);
  if (length.Kind == TLength::Whole) {
    if (CheckSumFits(bytes.first(length.Length))) return {length.Length, TKind::Reply};
    look.Broken = true;
  } else if (length.Kind != TLength::Junk) {
    const bool silence = length.Kind == TLength::Silence;
    if (silence && EndsWhole(bytes, rest)) return {bytes.size(), TKind::Reply};
    look.Wait = rest != TLineRest::Cut;
    look.Broken = !look.Wait;
    const bool exception = bytes[1] != fRequest[1];
    const std::size_t whole = exception ? length.Length : std::max(length.Length, fLeast);
    look.Length = silence ? 0 : whole - bytes.size();
  }
  return look;
}

TReplyScanner::TLook TReplyScanner::LookForOther(TSpan bytes, TLineRest rest) const {
  TLook look;
  look.Undecided = rest != TLineRest::Cut;
  if (bytes.size() < kHeader) return look;
  // The other frame may be a request, or a reply whose request is not known: then a reply of
  // either length that its rule knows.
  TReplyLength lengths[] = {fLengths.Judge({}, bytes), RequestLengths().Judge({}, bytes), {}};
  lengths[2] = lengths[0];
  const bool byRequest = fLengths.Rule(bytes[1]).Kind == TReplyLengthRule::TKind::Request;
  if (byRequest) {
    ++lengths[2].Length;
    if (lengths[2].Length > bytes.size()) lengths[2].Kind = TLength::More;
  }
  bool open = false, silence = false;
  for (const TReplyLength& length : lengths) {
    if (length.Kind == TLength::Whole && CheckSumFits(bytes.first(length.Length))) {
      return {length.Length, TKind::Other};
    }
    open |= length.Kind == TLength::More;
    silence |= length.Kind == TLength::Silence;
  }
  if (silence && EndsWhole(bytes, rest)) return {bytes.size(), TKind::Other};
  look.Undecided &= open || silence;
  return look;
}

void TReplyScanner::Throw(std::size_t end) {
  if (end <= fBegin) return;
  const TSpan thrown = TSpan(fBytes).first(end).subspan(fBegin);
  fBegin = end;
  if (OnThrown) OnThrown(thrown);
}

}  // namespace OrvixModBus
