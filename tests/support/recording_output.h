// The writers of files that a core's output goes through, recording what they are asked (recording_core::calls) and
// answering what a test tells them to. They stand in the test's program, before those of the platform.
#pragma once

#include <string>

namespace recording_output {

struct Answers {
  std::string handoff = "/handoff/own.hwh";  ///< the path that generateHWH gives
  bool is_written = true;                    ///< whether writeHDF and writeParamInfo succeed
  bool has_software = true;                  ///< whether there is a manager of software
};
extern Answers answers;

}  // namespace recording_output
