// Text for interfaces that count in UTF-16.
#pragma once

#include <string>

#include "kdi/common/KdiDoor.h"

struct KDI_DOOR HI18N {
  /// Sets `wide` to `text`, one element for each UTF-16 unit: a character outside the basic plane becomes the two units
  /// of its surrogate pair, so that narrowing every element to 16 bits loses nothing.
  ///
  /// `text` is UTF-8 as a Tcl interpreter gives it: NUL may also stand as C0 80, and a surrogate in three bytes. Each
  /// longest run of bytes that begins a character and does not finish it, and each byte that begins none, becomes one
  /// U+FFFD (Unicode 15, section 3.9, "substitution of maximal subparts").
  static void convert(std::string const& text, std::wstring& wide);
};
