// What the search for advice is made of: the candidates of a parameter, the changes one of which a wish needs, and what
// has to hold after all of them.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <span>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kdi/cores/Advice.h"
#include "platform/cores/rules/terms.h"
#include "platform/cores/state/insight.h"

namespace kdi::cores {

/// The rules of a core taken apart, each when it is first asked for.
class Terms {
 public:
  explicit Terms(Core const& core) : scope_(core) {}
  Term const& of(Rule const& rule);

 private:
  CoreScope scope_;
  std::unordered_map<Rule const*, Term> terms_;
};

/// A change with the value that rules see behind user(NAME).
struct Candidate {
  std::optional<std::string> text;  ///< none: taken back
  Value value;
};

/// What a parameter may be changed to, as the instance is before any change.
class Candidates {
 public:
  static constexpr std::size_t kMost = 64;  ///< of a parameter

  /// Of parameters that cores around this one are given as well: each has the candidates of the first core among them,
  /// for which all of them tell values.
  struct Shared {
    std::function<std::vector<Candidate> const*(std::uint32_t parameter)> of_first;  ///< null where this is the first
    /// Returns whether rules of theirs ask if it was given.
    std::function<bool(std::uint32_t parameter, std::vector<Value>& values)> add_others;
  };

  /// `excluded`: a parameter that may not be changed, or Core::kNoStep.
  Candidates(Instance const& start, Terms& terms, std::uint32_t excluded, std::vector<Value> wished = {},
             Shared shared = {})
      : insight_(start), terms_(terms), excluded_(excluded), wished_(std::move(wished)), shared_(std::move(shared)) {}

  /// In the order in which they are preferred.
  std::vector<Candidate> const& of(std::uint32_t parameter);
  /// What the core alone has values from, of the parameter's type; not each once. Returns whether rules ask if it was
  /// given.
  bool collect(std::uint32_t parameter, std::vector<Value>& values);

 private:
  std::vector<Candidate> typed_as(std::uint32_t number, std::vector<Candidate> all) const;
  void collect_compared(std::uint32_t parameter, Term const& term, std::vector<Value>& values);
  static void collect_constants(Term const& term, Insight& insight, std::vector<Value>& values);

  Insight insight_;
  Terms& terms_;
  std::uint32_t excluded_;
  std::vector<Value> wished_;
  Shared shared_;
  std::map<std::uint32_t, std::vector<Candidate>> known_;
};

/// One candidate: the parameter's number and the candidate's.
using Choice = std::pair<std::uint32_t, std::uint32_t>;

/// What is due before any change, for telling what is new after some.
class Baseline {
 public:
  explicit Baseline(Instance const& start);
  /// Whether the step has no fault and raises no error, or did so at the start.
  bool allows_step(Insight const& insight, std::uint32_t step) const;
  bool allows_range(Insight const& insight, std::uint32_t parameter) const;
  bool allows_finding(Insight const& insight, std::uint32_t parameter, std::uint32_t search) const;
  bool had_fault(std::uint32_t step) const { return faults_[step] != 0; }
  bool was_out_of_range(std::uint32_t parameter) const { return ranges_[parameter] != 0; }

 private:
  static bool raises(Insight const& insight, std::uint32_t step);
  std::vector<char> faults_, raised_;                                // by step
  std::vector<char> ranges_;                                         // by parameter
  std::map<std::pair<std::uint32_t, std::uint32_t>, int> findings_;  // how many errors, by parameter and search
};

/// A parameter of one of the cores that stand together: that in which an advice is sought is 0.
struct Spot {
  std::uint32_t core, parameter;
  friend bool operator==(Spot const&, Spot const&) = default;
};

/// The cores around the one in which an advice is sought. Parameters of all have one number, those of the core first.
class Around {
 public:
  virtual ~Around() = default;

  virtual std::uint32_t count() const = 0;  ///< of cores
  virtual Instance const& instance(std::uint32_t core) const = 0;
  virtual Terms& terms(std::uint32_t core) = 0;
  /// The parameter and those that are given the same with it, ascending.
  virtual std::vector<Spot> same_as(Spot spot) const = 0;
  /// Whether changes may be named that do it by the rules of each core; the parameters are numbers of all.
  virtual bool approves(std::vector<Change> const& changes) = 0;

  std::uint32_t number(Spot spot) const;
  Spot spot(std::uint32_t number) const;
};
/// As advise(), of changes to all of the cores, by numbers of all.
Advice advise(Wish const& wish, Effort effort, Around& around);
/// The record, with other names for what is changed.
Record record_of(Core const& core, Wish const& wish, Advice const& advice,
                 std::function<std::string(std::uint32_t)> const& name);

/// A condition on a state; what is not met needs one of some changes.
struct Condition {
  enum class Kind : std::uint8_t { enabled, in_range, permitted, message, no_fault, finding };
  Kind kind;
  std::uint32_t subject;      ///< a parameter; of a fault a step
  std::uint32_t message = 0;  ///< number; of a finding the search
};
bool is_met(Insight const& insight, Condition const& condition);

/// Finds for a condition that a state does not meet the changes of which at least one is in every set that meets it.
class Needs {
 public:
  Needs(Core const& core, Terms& terms, Candidates& candidates, Baseline const& baseline)
      : core_(core), terms_(terms), candidates_(candidates), baseline_(baseline) {}

  /// Ascending. `effort` grows by what was looked at.
  std::vector<Choice> of(Instance const& state, Condition const& condition, std::uint64_t& effort);

 private:
  using Test = std::function<bool(Cell)>;  // empty: any other value
  using Choices = std::vector<Choice>;

  Choices term(Term const& term, Test const& test);
  Choices parts(Term const& term);
  Choices chain(Term const& term, bool wanted);
  Choices comparison(Term const& term, bool wanted);
  Choices conditional(Term const& term, Test const& test);
  Choices slot(std::uint32_t slot, Test const& test);
  Choices user(std::uint32_t parameter, Test const& test);
  Choices given(std::uint32_t parameter, Test const& test);
  Choices step(std::uint32_t step, Test const& test);
  Choices searched(std::uint32_t parameter);
  Choices search(std::uint32_t number, std::uint32_t parameter);
  Choices anything(std::span<std::uint32_t const> slots);
  Choices range(std::uint32_t parameter);
  std::vector<std::uint32_t> const& influences(std::uint32_t slot);

  Core const& core_;
  Terms& terms_;
  Candidates& candidates_;
  Baseline const& baseline_;
  std::map<std::uint32_t, std::vector<std::uint32_t>> influences_;  // parameters by slot
  Insight* insight_ = nullptr;                                      // of the state in question
  std::uint64_t looks_ = 0;
};

}  // namespace kdi::cores
