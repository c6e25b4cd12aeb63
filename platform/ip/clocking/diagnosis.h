// Why a request has no solution. Internal to the engine; primitive and request have passed their checks.
#pragma once

#include "platform/ip/clocking/solver.h"

namespace kdi::clocking {

/// For a request that has no solution.
Diagnosis diagnose(Primitive const& primitive, Request const& request);

}  // namespace kdi::clocking
