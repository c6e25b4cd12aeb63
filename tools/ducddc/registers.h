// The same operations on several numbers at a time. Each is done as it would be alone, so results are the same on every
// machine, however many numbers a register of it has.
#pragma once

#include <cstddef>

// Wider registers, where a processor has them.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__)
#define IN_WIDE_REGISTERS __attribute__((target_clones("avx512f", "avx2", "default")))
#else
#define IN_WIDE_REGISTERS
#endif

namespace fir {

inline constexpr std::size_t kTogether = 8;

// Eight numbers, in as many registers as they take.
using Eight [[gnu::vector_size(kTogether * sizeof(double))]] = double;

}  // namespace fir
