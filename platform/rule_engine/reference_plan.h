// Where reference clocks come in: at which quads of a column, so that each quad hears those that it wants.
#pragma once

#include <cstdint>
#include <vector>

namespace kdi::gt {

/// A quad that has lanes, and the references that they want, a bit each.
struct ListeningQuad {
  int number = 0;
  std::uint32_t wants = 0;
};

/// For each of the quads, which ascend, the references that come in there, a bit each. A quad brings in at most
/// `inputs` and hears what comes in up to `reach` numbers away; only these quads are asked, since others may have no
/// power. Of all plans the one with the fewest inputs, then the one whose quads are the lowest in sum; the search is
/// exact for up to 2 inputs a quad, and for more where those that come in are wanted there or before. Each quad wants
/// at most `inputs` references, so there always is one.
std::vector<std::uint32_t> reference_plan(std::vector<ListeningQuad> const& quads, int reach, int inputs);

}  // namespace kdi::gt
