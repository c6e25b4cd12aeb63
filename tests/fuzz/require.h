// How a fuzz target ends a run that is a find.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace fuzz {

/// Ends the run, as a find, unless `truth` holds; `text` is what a reader needs to see why.
inline void require(bool truth, char const* what, std::string const& text = {}) {
  if (truth) return;
  std::fprintf(stderr, "%s, with: %s\n", what, text.c_str());
  std::abort();
}

}  // namespace fuzz
