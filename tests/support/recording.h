// Engines that record what they are asked and answer what a test tells them to.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiTypes.h"
#include "kdi/coregen/MigEnabledRange.h"

namespace recording {

/// Every call, in order: the operation with its arguments, texts in quotes, lists in brackets, tables in braces.
inline std::vector<std::string> calls;

/// What is answered, whatever was asked, by the type of the answer.
struct Answers {
  MigEnabledRange range{true, {"a", "b"}};
  OptionMap options{{"min", "1"}, {"max", "a b"}};
  PinMap pins{{"DQ[0]", {"x", "y"}}, {"Q-1", {"z", "two words"}}};
  StrList list{"one", "two words"};
  std::string text = "a text";
  int integer = -3;
  double number = 2.5;
  bool truth = true;
  std::function<void()> thrown;  ///< called last by each operation, to throw
};
inline Answers answers;

inline void reset() {
  calls.clear();
  answers = {};
}

inline std::string shown(std::string const& text) { return "'" + text + "'"; }
inline std::string shown(int number) { return std::to_string(number); }
inline std::string shown(double number) { return kdi::number::shortest(number); }
inline std::string shown(float number) { return kdi::number::shortest(static_cast<double>(number)) + "f"; }
inline std::string shown(bool truth) { return truth ? "yes" : "no"; }
inline std::string shown(StrList const& texts) {
  std::string list;
  for (std::string const& text : texts) list += (list.empty() ? "" : " ") + shown(text);
  return "[" + list + "]";
}
template <class Value>
std::string shown(std::map<std::string, Value> const& map) {
  std::string list;
  for (auto const& [key, value] : map) list += (list.empty() ? "" : " ") + key + "=" + shown(value);
  return "{" + list + "}";
}

/// A call that answers nothing and throws nothing.
template <class... Arguments>
void note(std::string call, Arguments const&... arguments) {
  ((call += " " + shown(arguments)), ...);
  calls.push_back(call);
}

/// What the answers hold for the type that is wanted.
struct Answered {
  operator MigEnabledRange() const { return answers.range; }
  operator OptionMap() const { return answers.options; }
  operator PinMap() const { return answers.pins; }
  operator StrList() const { return answers.list; }
  operator std::string() const { return answers.text; }
  operator int() const { return answers.integer; }
  operator double() const { return answers.number; }
  operator bool() const { return answers.truth; }
};

/// A call, and its answer.
template <class... Arguments>
Answered record(std::string const& operation, Arguments const&... arguments) {
  note(operation, arguments...);
  if (answers.thrown) answers.thrown();
  return {};
}

}  // namespace recording
