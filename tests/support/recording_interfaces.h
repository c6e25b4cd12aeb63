// Interfaces of I/O planning that record what they are asked and answer what a test tells them to. They stand in the
// test's program, before those of the platform.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "kdi/common/KdiTypes.h"

namespace recording_interfaces {

/// Every call, in order: "find 'i'", or the operation with its argument, texts in quotes, tables in braces. There is an
/// instance of every name but "none".
extern std::vector<std::string> calls;

struct Answers {
  OptionMap options{{"min", "1"}, {"max", "a b"}};
  PinMap pins{{"DQ[0]", {"x", "y"}}, {"Q-1", {"z", "two words"}}};
  std::string text = "a text";
  int integer = -3;
  bool truth = true;
  std::function<void()> thrown;  ///< called last by each operation, to throw
};
extern Answers answers;

void reset();

}  // namespace recording_interfaces
