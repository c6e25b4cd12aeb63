// Marshalling of the earlier processing-system commands: the shared functions, and nothing else.
#pragma once

#include "tcltasks/frame/marshalling.h"

namespace zorvan::util {
#include "tcltasks/frame/shared_util_names.inc"
}  // namespace zorvan::util
