// The functions that the language has of its own.
#pragma once

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/cores/Rule.h"

namespace kdi::cores {

/// Makes the values of one evaluation, and frees them behind it. Bounded, so that a rule cannot fill memory.
class Workshop {
 public:
  static constexpr std::size_t kMostBytes = 64 << 20;  ///< of all values of one evaluation

  explicit Workshop(std::vector<Node*>& made) : made_(made) {}

  Cell text(std::string text);
  Cell list(std::vector<Cell> elements);
  Cell dictionary(Node::Entries entries);
  /// Shares what `value` holds for the length of the evaluation.
  Cell keep(Value const& value);

 private:
  void make_room();
  Cell add(Kind kind, Node* node, std::size_t bytes);

  std::vector<Node*>& made_;
  std::size_t bytes_ = 0;
};

/// One of the language's own functions.
struct Builtin {
  std::string_view name;
  std::string_view arguments;  ///< for people: `list, separator`
  std::size_t least, most;     ///< how many
  /// The type of the value for arguments of these types, each of which may be widened to what the function takes;
  /// nothing if it does not take them.
  std::optional<Type> (*check)(std::span<Type> types);
  /// May throw RuleFault, std::overflow_error, std::domain_error.
  Cell (*call)(Workshop& workshop, std::span<Cell const> arguments);
};

/// All of them, by name.
std::span<Builtin const> builtins();
/// Null for an unknown name.
Builtin const* find_builtin(std::string_view name);

}  // namespace kdi::cores
