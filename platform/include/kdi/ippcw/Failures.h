// What the engine could not do, for those who call operations that have no errors of their own.
#pragma once

#include "kdi/common/KdiDoor.h"
#include "kdi/common/KdiTypes.h"

namespace hardip_eng {

/// Keeps, while it lives, what fails in the engine's work on this thread: files that cannot be written, data that
/// cannot be made. Each failure is a message as well, and is kept once. Of several the innermost hears.
class KDI_DOOR Failures {
 public:
  Failures();
  Failures(Failures const&) = delete;
  Failures& operator=(Failures const&) = delete;
  ~Failures();

  /// Adds to `errors` what is not among them.
  void add_to(StrVec& errors) const;

 private:
  friend void note_failure(std::string const& text);
  StrVec texts_;
  Failures* outer_;
};

}  // namespace hardip_eng
