// Memory that runs out to order. failing_memory.cpp takes the place of operator new in a test program, and so of every
// library of the process; the program needs ENABLE_EXPORTS.
#pragma once

#include <cstddef>

namespace failing_memory {

/// From here on counts what the calling thread asks operator new for, and lets the request number `nth`, from 0, fail:
/// once.
void fail(std::size_t nth);
/// Counts alone.
void count();
/// Ends either. How many requests came, and whether one failed.
std::size_t stop();
bool has_failed();

}  // namespace failing_memory
