// Rows of commands that put one question to an engine: find the instance, convert the words, call one operation, set
// the result. A family of hundreds of such commands is a table; tests/unit/engine_rows_test.cpp has one that uses
// everything.
//
//   struct Grid {                                    // the family: where its instances are, how it answers
//     using Results = engine_rows::OneElementResults;
//     static constexpr char const* kNoInstance = "Internal Error: grid instance load error";
//     static Instance* find(std::string const& name);
//     static Instance* find(ParamMap const& options);
//   };
//   constexpr tcl::Row kCommands[] = {
//       row<Grid, &Manager::load, Options<1>>("grid::load"),
//       row<Grid, &Instance::sites, By<Word<1>>, Word<2>, Text<"all">>("grid::sites"),
//       row<Grid, &Instance::limits, By<FoldedOptions<2>>, Word<1>, FoldedOptions<2>>(
//           {"grid::limits", "grid_limits"}, tcl::pairs_behind(1, "limits : Not enough arguments")),
//   };
//
// The parts behind the operation may stand in any order but that the sources are its arguments, in theirs. What type an
// operation returns says what the result looks like, in the way of the family's Results. A family may have sources and
// Results of its own: a source is any type with `kNeeds` and `read`. A command whose row names no number of words still
// refuses a call that lacks a word that it reads. Of such a call an instance that is not there is said first: a word
// that is missing is empty while the instance is looked for.
#pragma once

#include <tcl.h>

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <functional>
#include <set>
#include <span>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/common/KdiTypes.h"
#include "kdi/tcl/command.h"
#include "tcltasks/frame/guard.h"
#include "tcltasks/frame/mutils_util.h"

namespace engine_rows {

/// A text as a template's argument. Hidden, and so is all that is made of it: a name that the loader could bind to
/// another library's has to be looked up when this one is loaded, and these are hundreds of long ones.
template <std::size_t size>
struct [[gnu::visibility("hidden")]] FixedText {
  constexpr FixedText() = default;
  constexpr FixedText(char const(&given)[size]) { std::copy_n(given, size, text); }  // NOLINT: meant to convert

  char text[size] = {};
};

template <std::size_t first, std::size_t second>
constexpr FixedText<first + second - 1> operator+(FixedText<first> const& a, FixedText<second> const& b) {
  FixedText<first + second - 1> joined;
  std::copy_n(a.text, first - 1, joined.text);
  std::copy_n(b.text, second, joined.text + first - 1);
  return joined;
}

// --------------------------------------------------------------------------------------------------------------- names

template <FixedText prefix, FixedText name>
[[gnu::visibility("hidden")]] inline constexpr FixedText kJoined = prefix + name;

namespace detail {
/// Of a command with several names, what is said of missing words has the part that they share.
template <FixedText name>
constexpr tcl::Names told_as(tcl::Names names) {
  names.missing_words = kJoined<name, " : Not enough arguments">.text;
  return names;
}
}  // namespace detail

/// A command's names in a version that has a namespace, `kScope` ("grid::grid_v1::"), and a flat prefix, `kFlat`
/// ("grid_v1_"): in the namespace, flat, or both, in the order of registration.
template <class Version, FixedText name>
inline constexpr tcl::Names kScoped = detail::told_as<name>(kJoined<Version::kScope, name>.text);
template <class Version, FixedText name>
inline constexpr tcl::Names kFlat = detail::told_as<name>(kJoined<Version::kFlat, name>.text);
template <class Version, FixedText name>
inline constexpr tcl::Names kBoth = detail::told_as<name>({kJoined<Version::kScope, name>.text,
                                                           kJoined<Version::kFlat, name>.text});

// ------------------------------------------------------------------------------------------------------------- sources

/// A call of a command, its name being word 0.
using Call = std::span<Tcl_Obj* const>;

/// The words from word `first` on; none if the call ends before.
inline Call words_from(Call call, std::size_t first) { return call.subspan(std::min(first, call.size())); }

/// Where an argument of an operation comes from: `read` makes it of a call that has `kNeeds` words behind its name.
template <class Part>
concept Source = requires(Call call) {
  { Part::kNeeds } -> std::convertible_to<int>;
  Part::read(call);
};

/// Word n.
template <int n>
struct Word {
  static constexpr int kNeeds = n;
  static std::string read(Call call) { return mutils::util::tcl2cpp(call[n]); }
};

/// The file that Tcl means by word n, as the system knows it.
template <int n>
struct Path {
  static constexpr int kNeeds = n;
  static std::string read(Call call) { return tcl::required_native_path(call[n]); }
};

/// What `convert` makes of the text of word n; it may throw.
template <int n, auto convert>
struct WordAs {
  static constexpr int kNeeds = n;
  static auto read(Call call) { return convert(mutils::util::tcl2cpp(call[n])); }
};

/// A text, and a value, of the command's own.
template <FixedText value>
struct Text {
  static constexpr int kNeeds = 0;
  static std::string read(Call) { return value.text; }
};
template <auto value>
struct Constant {
  static constexpr int kNeeds = 0;
  static auto read(Call) { return value; }
};

namespace detail {
/// "<command without its namespaces> : no value for "<word>"".
std::string no_value(Call call, Tcl_Obj* word);

struct OptionsPart {};
struct InstancePart {};
struct ResultPart {};
struct NoInstancePart {};
struct TracePart {};
struct CountPart {};
struct UnusedPart {};
}  // namespace detail

/// The words from word `first` on as options: keys in lower case, keys as they are, and keys folded, which is what
/// becomes of the parameters of a controller.
template <int first>
struct Options : detail::OptionsPart {
  static constexpr int kNeeds = 0;
  static ParamMap read(Call call) {
    const Call words = words_from(call, first);
    return mutils::util::tcl2cpp(static_cast<int>(words.size()), words.data());
  }
};
/// The same for an operation that takes a missing option for a wish: a name without a value is refused.
template <int first>
struct WholeOptions : Options<first> {
  static ParamMap read(Call call) {
    const Call words = words_from(call, first);
    if (words.size() % 2 != 0) throw detail::no_value(call, words.back());
    return Options<first>::read(call);
  }
};
template <int first>
struct ExactOptions : detail::OptionsPart {
  static constexpr int kNeeds = 0;
  static ParamMap read(Call call) {
    const Call words = words_from(call, first);
    return mutils::util::tcl2cppWithExactKey(static_cast<int>(words.size()), words.data());
  }
};
template <int first>
struct FoldedOptions : detail::OptionsPart {
  static constexpr int kNeeds = 0;
  static ParamMap read(Call call) {
    ParamMap folded;
    mutils::util::uniquifyMapFormat(Options<first>::read(call), folded);
    return folded;
  }
};

/// Word `first` under the first key, the next word under the next.
template <int first, FixedText... keys>
struct Keyed : detail::OptionsPart {
  static constexpr int kNeeds = first + static_cast<int>(sizeof...(keys)) - 1;
  static ParamMap read(Call call) {
    ParamMap map;
    std::size_t word = first;
    ((map[keys.text] = mutils::util::tcl2cpp(call[word++])), ...);
    return map;
  }
};

/// The words from word `first` on as a map of maps, and one of the inner maps, empty if there is none of that name.
template <int first>
struct Maps {
  static constexpr int kNeeds = 0;
  static MultiMap read(Call call) {
    const Call words = words_from(call, first);
    return mutils::util::tcl2cppMultiLevelMap(static_cast<int>(words.size()), words.data());
  }
};
template <int first, FixedText name>
struct InnerMap {
  static constexpr int kNeeds = 0;
  static ParamMap read(Call call) { return Maps<first>::read(call)[name.text]; }
};

/// The pin table that begins at word `first`, and the options behind it; the word that ends the table is the first of
/// these.
template <int first>
struct Pins {
  static constexpr int kNeeds = first - 1;
  static PinMap read(Call call, int& consumed) {
    const Call words = words_from(call, first);
    return mutils::util::tcl2cpp(static_cast<int>(words.size()), words.data(), consumed);
  }
  static PinMap read(Call call) {
    int consumed = 0;
    return read(call, consumed);
  }
};
template <int first>
struct OptionsBehindPins : detail::OptionsPart {
  static constexpr int kNeeds = first - 1;
  static ParamMap read(Call call) {
    int consumed = first - 1;  // the word that ends the table is counted, and yet the first of the options
    Pins<first>::read(call, consumed);
    const Call words = words_from(call, static_cast<std::size_t>(std::max(consumed, first)));
    return mutils::util::tcl2cpp(static_cast<int>(words.size()), words.data());
  }
};

/// A text that the operation fills in. The result is the list of all these.
struct Out {
  static constexpr int kNeeds = 0;
  static std::string read(Call) { return {}; }
};

// --------------------------------------------------------------------------------------------------------- other parts

/// The operation is one of the instance that the family finds by what the source reads: a name, or options.
template <Source Key>
struct By : detail::InstancePart {
  using Given = Key;
};

/// What `convert` makes of the answer is the result.
template <auto convert>
struct As : detail::ResultPart {
  static auto result(auto const& answer) { return convert(answer); }
};

/// What is said if there is no instance, in place of the family's text.
template <FixedText text>
struct NoInstance : detail::NoInstancePart {
  static constexpr char const* kNoInstance = text.text;
};

/// Of a row that says itself what it says of too few words: fewer than `words` are told at once, fewer than are read
/// only when the instance is there. Without this part, all that the row counts is told at once.
template <int words>
struct CountedFirst : detail::CountPart {
  static constexpr int kWords = words;
};

/// The command has words up to this one, of which the operation does not get all.
template <int n>
struct Unused : detail::UnusedPart {
  static constexpr int kWords = n;
};

/// The call and its outcome are told on the family's debug channel, `kDebugChannel` and `kDebugMask`, under this name;
/// of a family without one, nowhere.
template <FixedText name>
struct Traced : detail::TracePart {
  static constexpr char const* kName = name.text;
};

/// Which of several functions of one name is meant: overload<std::string, int>(&Instance::set).
template <class... Arguments>
struct Overload {
  template <class Result, class Class>
  constexpr auto operator()(Result (Class::*function)(Arguments...)) const {
    return function;
  }
  template <class Result, class Class>
  constexpr auto operator()(Result (Class::*function)(Arguments...) const) const {
    return function;
  }
  template <class Result>
  constexpr auto operator()(Result (*function)(Arguments...)) const {
    return function;
  }
};
template <class... Arguments>
inline constexpr Overload<Arguments...> overload;

// ------------------------------------------------------------------------------------------------------------- results

/// Whether something is permitted, and the values that are.
template <class Answer>
concept EnabledRange = requires(Answer const& answer) {
  answer.enabled;
  answer.range;
};

/// The list `-enabled true -range a,b`. A negative answer is an answer, no error.
template <EnabledRange Answer>
StrList enabled_and_range(Answer const& answer) {
  return {"-enabled", answer.enabled ? "true" : "false", "-range", kdi::text::joined(answer.range, ",")};
}

/// Answers as scripts of memories and pins get them: an integer, a truth value or a text is a list of one element; a
/// list is a list; a map is a flat list of keys and values.
struct OneElementResults {
  template <class Answer>
  static int set(Tcl_Interp* interp, Answer const& answer) {
    if constexpr (EnabledRange<Answer>)
      return mutils::util::set_tcl_result(interp, enabled_and_range(answer));
    else
      return mutils::util::set_tcl_result(interp, answer);
  }
  static int set_error(Tcl_Interp* interp, std::string const& text) {
    return mutils::util::set_tcl_error(interp, text);
  }
};

/// Answers as scripts of transceivers get them: a text, a truth value or a number is itself; a list or a set is a list;
/// a map is a flat list of keys and values.
struct BareResults {
  template <class Answer>
  static int set(Tcl_Interp* interp, Answer const& answer) {
    if constexpr (std::is_same_v<Answer, bool>)
      return tcl::succeed(interp, answer ? "true" : "false");
    else if constexpr (std::is_same_v<Answer, ParamMap>)
      return mutils::util::set_tcl_result(interp, answer);
    else if constexpr (std::is_same_v<Answer, StrList> || std::is_same_v<Answer, std::set<double>>)
      return tcl::succeed(interp, tcl::new_list(answer));
    else
      return tcl::succeed(interp, answer);
  }
  static int set_error(Tcl_Interp* interp, std::string const& text) { return tcl::fail(interp, text); }
};

/// For As: three decimals; 17 digits, which tell every double from every other; the answer and a text behind it.
inline std::string three_decimals(double value) { return kdi::number::fixed(value, 3); }
inline std::string seventeen_digits(double value) { return kdi::number::general(value, 17); }
template <FixedText ending>
std::string followed_by(std::string const& answer) {
  return answer + ending.text;
}

// --------------------------------------------------------------------------------------------------------- the handler

namespace detail {

/// What a debug channel that is on is told of a call: that it begins, with its options if it has some; that it ended
/// so.
struct Trace {
  char const* channel;
  ComMsgMgr::MsgMask mask;
  char const* name;

  bool is_on() const;
  void enter(Call call) const;
  void options(ParamMap const& options) const;
  void exit(int code, Tcl_Interp* interp) const;
};

/// The first part that is of a kind; Default if there is none.
template <class Kind, class Default, class... Part>
struct PartOf : std::type_identity<Default> {};
template <class Kind, class Default, class First, class... Rest>
struct PartOf<Kind, Default, First, Rest...>
    : std::conditional_t<std::is_base_of_v<Kind, First>, std::type_identity<First>, PartOf<Kind, Default, Rest...>> {};

struct Nothing {
  static constexpr int kNeeds = 0, kWords = 0;
};
struct NoInstanceAsked {
  using Given = Nothing;
};
struct AsItIs {
  static auto const& result(auto const& answer) { return answer; }
};

/// The sources among parts, in their order.
template <class... Part>
using SourcesOf = decltype(std::tuple_cat(std::conditional_t<Source<Part>, std::tuple<Part>, std::tuple<>>()...));

#pragma GCC visibility push(hidden)

/// Of a call with too few words: an instance that is not there is told in place of the complaint, unless there are not
/// even the `told` words that the row itself asks for.
template <class Family, Source Key, class Refusal, int told>
int handle_missing_words(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  if (objc - 1 < told) return TCL_ERROR;
  return frame::report_thrown_text(interp, Family::Results::set_error, [&] {
    const tcl::ObjRef empty(Tcl_NewObj());
    std::vector<Tcl_Obj*> words(objv, objv + objc);
    words.resize(std::max(words.size(), static_cast<std::size_t>(Key::kNeeds) + 1), empty.get());
    if (!Family::find(Key::read(words))) throw std::string(Refusal::kNoInstance);
    return TCL_ERROR;
  });
}

/// The handler of a row.
template <class Family, auto operation, class... Part>
struct Question {
  static_assert(((Source<Part> || std::is_base_of_v<InstancePart, Part> || std::is_base_of_v<ResultPart, Part> ||
                  std::is_base_of_v<NoInstancePart, Part> || std::is_base_of_v<TracePart, Part> ||
                  std::is_base_of_v<CountPart, Part> || std::is_base_of_v<UnusedPart, Part>)&&...),
                "a part is of no kind");

  using Key = typename PartOf<InstancePart, NoInstanceAsked, Part...>::type::Given;
  using Result = typename PartOf<ResultPart, AsItIs, Part...>::type;
  using Refusal = typename PartOf<NoInstancePart, Family, Part...>::type;
  using Traced = typename PartOf<TracePart, Nothing, Part...>::type;
  using LastUnused = typename PartOf<UnusedPart, Nothing, Part...>::type;
  using Counted = typename PartOf<CountPart, Nothing, Part...>::type;
  using TracedOptions = typename PartOf<OptionsPart, Nothing, Part..., Key>::type;

  static constexpr int needs() {
    return []<class... From>(std::type_identity<std::tuple<From...>>) {
      return std::max({Key::kNeeds, LastUnused::kWords, From::kNeeds...});
    }(std::type_identity<SourcesOf<Part...>>());
  }

  static constexpr bool kHasInstance = !std::is_same_v<Key, Nothing>;

  /// What a wrong number of words does after the complaint, of a row that counts words itself or does not.
  static constexpr tcl::Handler wrong_count(bool row_counts) {
    if constexpr (!std::is_same_v<Counted, Nothing>)
      return handle_missing_words<Family, Key, Refusal, Counted::kWords>;
    else if constexpr (kHasInstance && needs() > 0)
      return row_counts ? nullptr : handle_missing_words<Family, Key, Refusal, 0>;
    else
      return nullptr;
  }

  static int handle(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
    const Call call(objv, static_cast<std::size_t>(objc));
    const auto guarded = [&] {
      return frame::report_thrown_text(interp, Family::Results::set_error,
                                       [&] { return answer(interp, call, std::type_identity<SourcesOf<Part...>>()); });
    };
    if constexpr (std::is_same_v<Traced, Nothing> || !requires { Family::kDebugChannel; }) {
      return guarded();
    } else {
      constexpr Trace kTrace{Family::kDebugChannel, Family::kDebugMask, Traced::kName};
      if (!kTrace.is_on()) return guarded();
      kTrace.enter(call);
      if constexpr (!std::is_same_v<TracedOptions, Nothing>) kTrace.options(TracedOptions::read(call));
      const int code = guarded();
      kTrace.exit(code, interp);
      return code;
    }
  }

 private:
  template <class... From>
  static int answer(Tcl_Interp* interp, Call call, std::type_identity<std::tuple<From...>>) {
    std::tuple<decltype(From::read(call))...> arguments{From::read(call)...};
    const auto ask = [&](auto&... argument) {
      if constexpr (!kHasInstance) {
        return std::invoke(operation, argument...);
      } else {
        const auto instance = Family::find(Key::read(call));
        if (!instance) throw std::string(Refusal::kNoInstance);
        return std::invoke(operation, *instance, argument...);
      }
    };
    if constexpr (!std::is_void_v<decltype(std::apply(ask, arguments))>) {
      return Family::Results::set(interp, Result::result(std::apply(ask, arguments)));
    } else {
      std::apply(ask, arguments);
      if constexpr ((std::is_same_v<From, Out> || ...))
        return Family::Results::set(interp, outs<From...>(arguments, std::index_sequence_for<From...>()));
      return TCL_OK;
    }
  }

  template <class... From, class Arguments, std::size_t... index>
  static StrList outs(Arguments& arguments, std::index_sequence<index...>) {
    StrList filled;
    const auto take = [&]<class One>(std::type_identity<One>, auto& argument) {
      if constexpr (std::is_same_v<One, Out>) filled.push_back(std::move(argument));
    };
    (take(std::type_identity<From>(), std::get<index>(arguments)), ...);
    return filled;
  }
};

#pragma GCC visibility pop

/// The number of words of a row: as told, or as many as are read, with what is said of fewer.
constexpr tcl::WordCount at_least_what_is_read(tcl::WordCount told, int needs, tcl::Complaint fewer = tcl::kNotEnough) {
  if (*told.complaint == '\0') return needs == 0 ? tcl::kAnyWords : tcl::at_least(needs, fewer);
  while (told.least < needs) told.least = static_cast<short>(told.least + told.step);
  if (told.least > told.most) throw "the operation reads more words than the row allows";
  return told;
}

}  // namespace detail

/// The row of a command that asks `operation`: a member of what the family finds, or a function.
template <class Family, auto operation, class... Part>
constexpr tcl::Row row(tcl::Names names, tcl::WordCount words = tcl::kAnyWords) {
  using Question = detail::Question<Family, operation, Part...>;
  const tcl::Complaint fewer = names.missing_words == nullptr ? tcl::kNotEnough : tcl::Complaint(names.missing_words);
  return {names, Question::handle, detail::at_least_what_is_read(words, Question::needs(), fewer),
          Question::wrong_count(*words.complaint != '\0')};
}

}  // namespace engine_rows
