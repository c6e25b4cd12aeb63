// Memory controllers that record what they are asked and answer what a test tells them to. They stand in the test's
// program, before those of the platform.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "kdi/common/KdiTypes.h"
#include "kdi/coregen/MigEnabledRange.h"

namespace recording_controllers {

/// Every call, in order: of a manager with its model, such as "v1 find 'm'"; of an instance the operation with its
/// arguments, texts in quotes, tables in braces. There is an instance of every name but "none".
extern std::vector<std::string> calls;

struct Answers {
  MigEnabledRange range{true, {"a", "b"}};
  OptionMap options{{"min", "1"}, {"max", "a b"}};
  PinMap pins{{"DQ[0]", {"x", "y"}}, {"Q-1", {"z", "two words"}}};
  StrList list{"one", "two words"};
  std::string text = "a text";
  int integer = -3;
  double number = 2.5;
  bool truth = true;
  std::function<void()> thrown;  ///< called last by each operation of an instance or manager, to throw
};
extern Answers answers;

void reset();

}  // namespace recording_controllers
