// The characters of what people type and of what they are shown.
#pragma once

namespace kdish {

/// Texts are UTF-8 wherever the locale names no characters of its own, as C and POSIX do not. Called once, behind
/// Tcl_FindExecutable and before an interpreter or a channel is made.
void agree_on_characters();

}  // namespace kdish
