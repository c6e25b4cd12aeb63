// How long a question to a hard-IP engine took, for those who ask for it by an environment variable.
#pragma once

#include <ctime>
#include <string>

namespace frame {

/// The processor time since it was made.
class CpuTime {
 public:
  /// Prints `text`, the milliseconds and a line feed to standard output if the variable is "TRUE", and nothing if it is
  /// any other text.
  void print_if_asked(char const* variable, std::string text) const;
  /// The same for commands that make a core, and for those that ask for ranges.
  void print_init() const;
  void print_range() const;

 private:
  std::clock_t begin_ = std::clock();
};

inline constexpr char const* kInitTimeVariable = "BRN_ZORVAN_INIT_TIME";
inline constexpr char const* kRangeTimeVariable = "BRN_ZORVAN_GETRANGE_TIME";

}  // namespace frame
