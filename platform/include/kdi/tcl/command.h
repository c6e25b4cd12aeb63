// How a command meets Tcl: a row of its family's table.
//
//   constexpr tcl::Row kCommands[] = {
//       // names                              handler    words behind the name
//       {"window::taps",                      taps,      tcl::exactly(1, "expected one dict")},
//       {{"window::gain", "window_gain"},     gain,      tcl::between(1, 2, tcl::usage("spec ?index?"))},
//   };
//   void init(Tcl_Interp* interp) { tcl::register_all<kCommands>(interp); }
//
// Rows stand in the order of registration, a row's names too. A table is an argument of register_all and not data of
// the library: what is registered are addresses and texts in the code, and nothing has to be relocated when the library
// is loaded. A table of rows must not be walked at run time, for then it would be.
//
// A handler converts its words, calls the logic, and sets the result with succeed or fail. Its words are counted
// already, and what it throws becomes an error of the command.
#pragma once

#include <tcl.h>

#include <array>
#include <cstddef>
#include <iterator>
#include <limits>
#include <span>
#include <type_traits>
#include <utility>

#include "kdi/tcl/values.h"

namespace tcl {

// ------------------------------------------------------------------------------------------------------------ results

/// Sets the result, of any type that new_value takes, and returns TCL_OK or TCL_ERROR. A text reaches the script as it
/// is.
template <class Value>
int succeed(Tcl_Interp* interp, Value const& result) {
  Tcl_SetObjResult(interp, new_value(result));
  return TCL_OK;
}
template <class Value>
int fail(Tcl_Interp* interp, Value const& reason) {
  Tcl_SetObjResult(interp, new_value(reason));
  return TCL_ERROR;
}

/// Turns the exception in flight into TCL_ERROR with its text as the result. For use in a catch clause only.
int fail_with_current_exception(Tcl_Interp* interp);

// --------------------------------------------------------------------------------------------------- numbers of words

/// What is said of a wrong number of words: a text in which {name} stands for the command's registered name and {3} for
/// its third word, the begin of a long one, nothing if there is none; or, from usage, the words of Tcl's own text,
/// `wrong # args: should be ...`.
struct Complaint {
  constexpr Complaint(char const* given) : text(given) {}

  char const* text;
  bool is_usage = false;
};
constexpr Complaint usage(char const* words) {
  Complaint complaint(words);
  complaint.is_usage = true;
  return complaint;
}
inline constexpr Complaint kNotEnough = "{name} : Not enough arguments";

/// How many words may stand behind a command's name: `least`, and `step` more at a time, up to `most`.
struct WordCount {
  static constexpr short kUnlimited = std::numeric_limits<short>::max();

  short least, most, step;
  bool is_usage;
  char const* complaint;

  constexpr bool allows(int words) const {
    return words >= least && (most == kUnlimited || words <= most) && (words - least) % step == 0;
  }
};

constexpr WordCount between(int least, int most, Complaint complaint) {
  return {static_cast<short>(least), static_cast<short>(most), 1, complaint.is_usage, complaint.text};
}
constexpr WordCount exactly(int words, Complaint complaint) { return between(words, words, complaint); }
constexpr WordCount at_least(int words, Complaint complaint) {
  return between(words, WordCount::kUnlimited, complaint);
}
/// `words` words, and behind them any number of pairs.
constexpr WordCount pairs_behind(int words, Complaint complaint) {
  WordCount count = at_least(words, complaint);
  count.step = 2;
  return count;
}
/// For a command that looks after its words itself, or that ignores them.
inline constexpr WordCount kAnyWords = at_least(0, "");

// --------------------------------------------------------------------------------------------------------------- rows

using Handler = int (*)(ClientData, Tcl_Interp*, int, Tcl_Obj* const[]);

/// The names of one command, in the order of registration. A name with :: in it creates its namespace.
struct Names {
  static constexpr std::size_t kMost = 5;

  template <class... Name>
  requires(sizeof...(Name) <= kMost) constexpr Names(Name... name) : texts{name...}, count(sizeof...(Name)) {}

  std::array<char const*, kMost> texts;
  std::size_t count;
  char const* missing_words = nullptr;  ///< what is said of too few words; null: what the row says
};
/// Of a row that one of several versions of a table lacks: nothing is registered.
inline constexpr Names kNoNames;

struct Row {
  Names names;
  Handler handler;
  WordCount words;
  /// Of a command for which something else may be more wrong than its number of words: called for a wrong number, with
  /// the complaint as the result, which it leaves or replaces.
  Handler wrong_count = nullptr;
};

extern "C" {
/// Whether a call has as many words as its command's row allows; if not, the complaint is the result. With C linkage so
/// that a test of all rows can stand before it and be told them by name.
bool kdi_tcl_count_words(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], WordCount words, char const* name);
}

/// The procedure that is registered for a name of a row. An exception that the handler lets through would abort the
/// process in Tcl's C frames; here it becomes an error of the command.
template <auto const& table, std::size_t row, std::size_t name>
[[gnu::visibility("hidden")]] int boundary(ClientData data, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  constexpr Row kRow = table[row];
  try {
    if (kdi_tcl_count_words(interp, objc, objv, kRow.words, kRow.names.texts[name]))
      return kRow.handler(data, interp, objc, objv);
    if constexpr (kRow.wrong_count != nullptr) return kRow.wrong_count(data, interp, objc, objv);
    return TCL_ERROR;
  } catch (...) {
    return fail_with_current_exception(interp);
  }
}

template <auto const& table, std::size_t row, std::size_t... name>
[[gnu::always_inline]] inline void register_names([[maybe_unused]] Tcl_Interp* interp, [[maybe_unused]] ClientData data,
                                                  std::index_sequence<name...>) {
  [[maybe_unused]] constexpr Names kNames = table[row].names;
  (Tcl_CreateObjCommand(interp, kNames.texts[name], boundary<table, row, name>, data, nullptr), ...);
}

/// Registers the commands of a table of rows, without a delete procedure. The package's commands have no client data;
/// those of a host may have what lives longer than the interpreter.
template <auto const& table>
[[gnu::visibility("hidden")]] void register_all(Tcl_Interp* interp, ClientData data = nullptr) {
  [&]<std::size_t... row>(std::index_sequence<row...>) {
    (register_names<table, row>(interp, data, std::make_index_sequence<table[row].names.count>()), ...);
  }
  (std::make_index_sequence<std::size(table)>());
}

// ----------------------------------------------------------------------------------------------------- short handlers

/// The words of a call behind the command's name, borrowed.
using Words = std::span<Tcl_Obj* const>;

/// A function as a handler. It takes what it asks for, in any order: the Words, the Tcl_Interp*, the client data as a
/// reference to what it is. It returns the result, of any type that new_value takes, or nothing for an empty one, or,
/// if it asks for the interpreter and sets the result itself, Tcl's code.
template <auto function>
[[gnu::visibility("hidden")]] int handler(ClientData data, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  const auto give = [&]<class Asked>(std::type_identity<Asked>) -> decltype(auto) {
    if constexpr (std::is_same_v<Asked, Words>)
      return Words(objv + 1, static_cast<std::size_t>(objc) - 1);
    else if constexpr (std::is_same_v<Asked, Tcl_Interp*>)
      return interp;
    else
      return *static_cast<std::remove_reference_t<Asked>*>(data);
  };
  return [&]<class Result, class... Asked>(Result (*)(Asked...)) {
    constexpr bool kSetsResult = (std::is_same_v<Asked, Tcl_Interp*> || ...);
    if constexpr (std::is_void_v<Result>) {
      function(give(std::type_identity<Asked>())...);
      return TCL_OK;
    } else if constexpr (kSetsResult && std::is_same_v<Result, int>) {
      return function(give(std::type_identity<Asked>())...);
    } else {
      return succeed(interp, function(give(std::type_identity<Asked>())...));
    }
  }(function);
}

}  // namespace tcl
