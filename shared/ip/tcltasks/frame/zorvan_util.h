// Marshalling of the earlier processing-system commands: the shared functions, and nothing else.
#pragma once

#include "frame/marshalling.h"

namespace zorvan::util {
#include "frame/shared_util_names.inc"
}  // namespace zorvan::util
