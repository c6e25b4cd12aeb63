// Clock engines that record what the commands ask of them and answer what a test tells them to.
//
// The classes are those of the platform's headers; their members are defined in recording_clocks.cpp, in the test's
// program, where the loader finds them before those of the platform's library.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace recording_clocks {

/// Every call, in order: "getPhaseError 100 1000 high". Numbers stand as printf's %g gives them, lists in braces.
extern std::vector<std::string> calls;

/// The schemas that parseArgs was given; the platform's own reads the words.
extern std::vector<std::string> schemas;

/// What the engines answer.
struct Answers {
  bool has_solver = true;
  bool success = true;
  int status = 1;
  double number = 0;
  std::string text;
  std::string error;
  std::vector<std::string> errors;
  bool converts = true;             ///< convertDoubleToString
  std::function<void()> exception;  ///< called by each operation of a solver; may throw
};
extern Answers answers;

void reset();

}  // namespace recording_clocks
