// An open-loop replay of a compiled code: what the core does with the stall counts, and nothing of how they were found.
//
// The core starts each layer its stall count of cycles after the layer before has issued its last operation, issues the
// operations without looking left or right, and writes the columns back behind a pipeline of `delay` cycles, one layer
// at a time. The replay notes, for each column, the cycle in which its latest update is written, and names the first
// read that comes no later than that.
#pragma once

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tcltasks/fec/records.h"

namespace test_support {

struct Hazard {
  unsigned iteration;
  unsigned layer;
  unsigned column;
};

inline std::optional<Hazard> replay(fec::CodeConfig const& code, std::vector<std::uint32_t> const& stalls,
                                    unsigned delay, unsigned iterations) {
  const unsigned at_once = code.no_packing != 0 || code.p > 64 ? 1 : code.p > 32 ? 2 : 4;
  const unsigned cycles_each = code.mv;
  std::map<unsigned, long long> written;  // column to the cycle of its latest write-back
  long long clock = 0;                    // first cycle that the check-node stage has not used
  long long writer = 0;                   // the same for the write-back stage
  for (unsigned iteration = 0; iteration < iterations; ++iteration) {
    std::size_t op = 0;
    for (unsigned layer = 0; layer < code.nlayers; ++layer) {
      clock += stalls[layer];
      const std::size_t end = op + code.dc[layer];
      struct Write {
        unsigned column;
        long long offset;  // its last cycle, from the start of the layer's write-back
      };
      std::vector<Write> writes;
      std::map<unsigned, unsigned> copies;  // by lane: circulants of the current group that have passed
      long long issue = 0;
      for (; op < end; op += at_once, ++issue) {
        for (std::size_t lane = 0; lane < at_once && op + lane < std::min(end, code.qc.size()); ++lane) {
          auto const& one = code.qc[op + lane];
          if (at_once > 1 && one.nop != 0) continue;
          const long long read = clock + issue * cycles_each;
          const auto last = written.find(one.col);
          if (last != written.end() && read <= last->second) return Hazard{iteration, layer, one.col};
          bool is_written = true;
          if (code.encode != 0) {
            is_written = at_once > 1 ? one.layer_end != 0 : op + 1 == end;
          } else if (code.special_qc != 0 && code.extra_layer[layer] != 0) {
            is_written = copies[static_cast<unsigned>(lane)] == 0;
            copies[static_cast<unsigned>(lane)] = one.last != 0 ? 0 : copies[static_cast<unsigned>(lane)] + 1;
          }
          if (is_written) writes.push_back({one.col, (issue + 1) * cycles_each - 1});
        }
      }
      op = end;
      const long long length = std::max<long long>(1, issue * cycles_each);
      clock += length;
      const long long start = std::max(clock - 1 + delay, writer);
      for (Write const& write : writes) {
        long long& latest = written.try_emplace(write.column, -1).first->second;
        latest = std::max(latest, start + write.offset);
      }
      writer = start + length;
    }
  }
  return std::nullopt;
}

/// Why `stalls` are not right for the code: a read that comes too early, or a count that could be one lower. Empty
/// text: they are sufficient and minimal. Minimal in steady state: the lowered code fails within `iterations`.
inline std::string fault_of(fec::CodeConfig const& code, std::vector<std::uint32_t> const& stalls, unsigned delay,
                            unsigned iterations) {
  if (const auto hazard = replay(code, stalls, delay, iterations))
    return "iteration " + std::to_string(hazard->iteration) + " layer " + std::to_string(hazard->layer) +
           " reads column " + std::to_string(hazard->column) + " too early";
  std::vector<std::uint32_t> lowered = stalls;
  for (unsigned layer = 0; layer < code.nlayers; ++layer) {
    if (stalls[layer] == 0) continue;
    --lowered[layer];
    if (!replay(code, lowered, delay, iterations))
      return "the stall of layer " + std::to_string(layer) + " is too high";
    ++lowered[layer];
  }
  return {};
}

}  // namespace test_support
