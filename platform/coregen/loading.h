// How fast a board lets a memory be: data/board/loading.json, whose README tells the form.
#pragma once

#include <string>
#include <vector>

namespace kdi {
class JsonFile;
}

namespace kdi::coregen {

/// From a count on, no more than a rate.
struct Loading {
  std::string type;  ///< of memory
  std::string what;  ///< slot, rank (of all slots), stack, width
  int from = 0;
  int slots = 1;  ///< the fewest for which it holds
  int rate_mbps = 0;
};

/// What a file of data/board has.
std::vector<Loading> read_loadings(JsonFile const& file);
/// Throws kdi::FileError and kdi::JsonError for data that cannot be read; what was read once stays, in any thread.
std::vector<Loading> const& loadings();

}  // namespace kdi::coregen
