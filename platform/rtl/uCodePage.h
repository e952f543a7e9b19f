#pragma once
// uCodePage: the one-byte character sets in which devices send text.

#include <string>
#include <string_view>

#include "platform/rtl/uBytes.h"

namespace OrvixModBus {

/// The code page for bytes that become text. At first the one of the system's language (see
/// SystemAnsiCodePage). A setting of the run-time; any thread may read and change it.
int AnsiCodePage();

/// Takes one of the built-in pages: 1250 to 1258, 866, 20866 (KOI8-R) and 28591 (Latin-1).
/// Throws EConvertError for any other, and nothing has changed.
void SetAnsiCodePage(int codePage);

/// Decodes bytes with the ANSI code page. Never fails and loses no byte: one that the page leaves
/// undefined becomes the control character of the same number.
std::string AnsiToUtf8(TByteView data);
void AppendAnsi(std::string& text, TByteView data);

/// The page that programs with one-byte texts use for the language of a POSIX locale name such as
/// "ru_RU.UTF-8": 1252 where no other is known.
int AnsiCodePageOfLocale(std::string_view locale);

/// The page of the system's language; it may be one that is not built in, 1252 is used then.
int SystemAnsiCodePage();

}  // namespace OrvixModBus
