// Advice, carried out on instances of its own and held against every smaller set of the same candidates.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include "platform/cores/why/advice_parts.h"
#include "tests/support/clock_core.h"
#include "tests/support/made_up_core.h"
#include "tests/support/places.h"
#include "tests/support/random.h"
#include "tests/support/sanitized.h"

namespace {

using namespace kdi::cores;

std::shared_ptr<Core const> xram() { return Core::read(places::data("cores"), "xram", "1.0"); }

std::uint32_t number(Core const& core, std::string const& name) {
  const auto found = core.find(name);
  EXPECT_TRUE(found) << name;
  return found.value_or(0);
}

// Advice as a person would note it down.
std::string told(Core const& core, Advice const& advice) {
  constexpr char const* kOutcomes[] = {"fulfilled", "found", "none", "not within"};
  std::string text = kOutcomes[static_cast<std::size_t>(advice.outcome)];
  for (Change const& change : advice.changes)
    text += " " + core.parameters()[change.parameter].name + "=" + change.text.value_or("(taken back)");
  return text;
}

Instance made(std::shared_ptr<Core const> const& core, std::vector<std::pair<std::string, std::string>> const& values) {
  Instance instance(core);
  for (auto const& [name, text] : values) instance.set({{number(*core, name), text}});
  return instance;
}

TEST(Advice, OfTheMemoryBlock) {
  const auto core = xram();
  const auto advice = [&](std::vector<std::pair<std::string, std::string>> const& values, Wish::Kind kind,
                          std::string const& name, std::string const& message = {}) {
    return told(*core, advise(made(core, values), {kind, number(*core, name), message}));
  };
  using enum Wish::Kind;
  EXPECT_EQ(advice({}, enabled, "XRAM_SIZE_MB"), "fulfilled");
  EXPECT_EQ(advice({}, enabled, "XRAM_PORT2_TRAFFIC_MBPS"), "found XRAM_PORT2_ENABLE=1");
  EXPECT_EQ(advice({}, enabled, "XRAM_ECC_SCRUB_PERIOD_MS"), "found XRAM_ECC_SCRUB_ENABLE=1");
  EXPECT_EQ(advice({{"XRAM_ECC_ENABLE", "0"}}, enabled, "XRAM_ECC_SCRUB_PERIOD_MS"),
            "found XRAM_ECC_ENABLE=1 XRAM_ECC_SCRUB_ENABLE=1");
  EXPECT_EQ(advice({{"XRAM_REF_CTRL_FREQMHZ", "900"}}, permitted, "XRAM_REF_CTRL_FREQMHZ"), "found XRAM_ECC_ENABLE=0");
  EXPECT_EQ(advice({{"XRAM_REF_CTRL_FREQMHZ", "990"}}, permitted, "XRAM_REF_CTRL_FREQMHZ"), "none");
  EXPECT_EQ(advice({{"XRAM_REF_CTRL_FREQMHZ", "990"}}, cleared, "XRAM_REF_CTRL_FREQMHZ", "range"),
            "found XRAM_REF_CTRL_FREQMHZ=800");
  EXPECT_EQ(advice({{"XRAM_SIZE_MB", "2"}}, cleared, "XRAM_SIZE_MB", "banks_idle"), "found XRAM_SIZE_MB=(taken back)");
  EXPECT_THROW(advice({}, cleared, "XRAM_SIZE_MB", "nothing"), std::invalid_argument);
}

// ------------------------------------------------------------------------------------------------- random cases

// A parameter may have several conflicts of one kind; one more is a new one.
using Errors = std::multiset<std::string>;
Errors errors(Instance& instance) {
  Errors all;
  for (Due const& due : instance.messages())
    if (due.severity == Severity::error)
      all.insert(std::to_string(due.parameter) + " " + (due.name == "rule" ? due.text : due.name));
  return all;
}

bool is_fulfilled(Instance& instance, Wish const& wish) {
  if (wish.kind == Wish::Kind::enabled) return instance.is_enabled(wish.parameter);
  for (Due const& due : instance.messages())
    if (due.parameter == wish.parameter && due.name == (wish.kind == Wish::Kind::cleared ? wish.message : "range"))
      return false;
  if (wish.kind == Wish::Kind::cleared) return true;
  // A disabled parameter says nothing of its range: the plain reading.
  const auto value = read_value(instance.core().parameters()[wish.parameter].type, instance.backup(wish.parameter));
  return value && Insight(instance).permits(wish.parameter, *value);
}

// Whether the changes do what advice promises; by what can be asked of an instance from outside.
bool works(Instance const& start, Errors const& before, Wish const& wish, std::vector<Change> const& changes) {
  Instance instance = start;
  for (Change const& change : changes)
    if (change.text)
      instance.set({{change.parameter, *change.text}});
    else
      instance.take_back({change.parameter});
  if (!is_fulfilled(instance, wish)) return false;
  for (Change const& change : changes)
    if (!instance.is_enabled(change.parameter)) return false;
  const Errors after = errors(instance);
  return std::includes(before.begin(), before.end(), after.begin(), after.end());
}

// All candidates, and all sets of them of a size.
class Exhaustive {
 public:
  Exhaustive(Instance const& start, Wish const& wish)
      : start_(start), state_(start), wish_(wish), terms_(start.core()) {
    before_ = errors(state_);
    const bool keeps = wish.kind == Wish::Kind::permitted;
    const auto value = read_value(start.core().parameters()[wish.parameter].type, start.backup(wish.parameter));
    Candidates candidates(start, terms_, keeps ? wish.parameter : Core::kNoStep,
                          keeps && value ? std::vector{*value} : std::vector<Value>());
    for (std::uint32_t i = 0; i < start.core().parameters().size(); ++i)
      for (Candidate const& candidate : candidates.of(i)) all_.push_back({i, candidate.text});
  }

  std::size_t candidates() const { return all_.size(); }

  // The first of the best sets of this size; empty if there is none.
  std::vector<Change> best(std::size_t size) {
    found_.clear();
    extend(0, size);
    std::vector<Change> best;
    std::size_t fewest = 0;
    for (auto const& [parameters, changes] : found_) {
      Instance instance = start_;
      const std::size_t moves = make_changes(instance, changes).size();
      if (!best.empty() && moves >= fewest) continue;
      fewest = moves;
      best = changes;
    }
    return best;
  }

 private:
  void extend(std::size_t from, std::size_t more) {
    if (more == 0) {
      if (!holds()) return;
      std::vector<std::uint32_t> parameters;
      for (Change const& change : set_) parameters.push_back(change.parameter);
      found_.emplace(parameters, set_);  // the first of these parameters
      return;
    }
    for (std::size_t i = from; i < all_.size(); ++i) {
      if (!set_.empty() && set_.back().parameter == all_[i].parameter) continue;
      set_.push_back(all_[i]);
      make_changes(state_, {all_[i]});
      extend(i + 1, more - 1);
      make_changes(state_, {{all_[i].parameter, start_.given(all_[i].parameter)}});
      set_.pop_back();
    }
  }

  bool holds() {
    for (Change const& change : set_)
      if (!state_.is_enabled(change.parameter)) return false;
    if (!is_fulfilled(state_, wish_)) return false;
    const Errors after = errors(state_);
    return std::includes(before_.begin(), before_.end(), after.begin(), after.end());
  }

  Instance start_, state_;
  Wish wish_;
  Terms terms_;
  Errors before_;
  std::vector<Change> all_, set_;
  std::map<std::vector<std::uint32_t>, std::vector<Change>> found_;
};

// Looks for smaller sets on cores that have too many candidates for trying all sets: one change of a set has a part in
// what the wish asks for, and another one in what is not met behind the first, by what rules and searches read alone.
class ByCones {
 public:
  ByCones(Instance const& start, Wish const& wish, std::size_t most_sets)
      : start_(start), state_(start), wish_(wish), terms_(start.core()), left_(most_sets) {
    before_ = errors(state_);
    const bool keeps = wish.kind == Wish::Kind::permitted;
    const auto value = read_value(start.core().parameters()[wish.parameter].type, start.backup(wish.parameter));
    candidates_.emplace(start, terms_, keeps ? wish.parameter : Core::kNoStep,
                        keeps && value ? std::vector{*value} : std::vector<Value>());
  }

  /// A set of at most `most` changes that does it; empty if there is none.
  std::vector<Change> within(std::size_t most) {
    extend(most);
    return found_;
  }
  /// Whether it looked at all sets that it had to.
  bool is_proof() const { return left_ > 0; }

 private:
  using Slots = std::vector<std::uint32_t>;

  void extend(std::size_t more) {
    const std::optional<Slots> unmet = first_unmet();
    if (!unmet) found_ = set_;
    if (!unmet || more == 0) return;
    for (const std::uint32_t parameter : cone(*unmet)) {
      if (std::any_of(set_.begin(), set_.end(), [&](Change const& one) { return one.parameter == parameter; }))
        continue;
      for (Candidate const& candidate : candidates_->of(parameter)) {
        if (left_ == 0 || --left_ == 0) break;
        set_.push_back({parameter, candidate.text});
        make_changes(state_, {set_.back()});
        extend(more - 1);
        set_.pop_back();
        if (!found_.empty()) return;
      }
      make_changes(state_, {{parameter, start_.given(parameter)}});
      if (left_ == 0) return;
    }
  }

  // The slots that decide about something that the state does not meet.
  std::optional<Slots> first_unmet() {
    if (!is_fulfilled(state_, wish_)) {
      if (wish_.kind == Wish::Kind::enabled) return Slots{Core::slot(wish_.parameter, Core::kEnabled)};
      return of_message(wish_.parameter, wish_.kind == Wish::Kind::cleared ? wish_.message : "range");
    }
    for (Change const& change : set_)
      if (!state_.is_enabled(change.parameter)) return Slots{Core::slot(change.parameter, Core::kEnabled)};
    for (Due const& due : state_.messages())
      if (due.severity == Severity::error &&
          !before_.contains(std::to_string(due.parameter) + " " + (due.name == "rule" ? due.text : due.name)))
        return of_message(due.parameter, due.name);
    return std::nullopt;
  }

  Slots of_message(std::uint32_t parameter, std::string const& name) const {
    Core const& core = start_.core();
    Slots all;
    for (std::uint32_t number = 0; number < core.steps().size(); ++number) {
      Step const& step = core.steps()[number];
      const bool is_its = name == "rule" ? is_of(step, parameter)
                                         : step.kind == Step::Kind::message && step.parameter == parameter &&
                                               core.parameters()[parameter].messages()[step.message].name == name;
      if (is_its) all.insert(all.end(), core.reads(number).begin(), core.reads(number).end());
    }
    for (auto const& search : core.searches())
      if (search->message() == name) all.insert(all.end(), search->reads.begin(), search->reads.end());
    if (name != "range") return all;
    for (const auto aspect : {Core::kUser, Core::kGiven, Core::kValue, Core::kEnabled})
      all.push_back(Core::slot(parameter, aspect));
    if (core.parameters()[parameter].range) all.push_back(core.range_slot(parameter));
    return all;
  }

  // The parameters that have a part in one of the slots.
  std::set<std::uint32_t> cone(Slots open) const {
    Core const& core = start_.core();
    std::set<std::uint32_t> seen, parameters;
    while (!open.empty()) {
      const std::uint32_t slot = open.back();
      open.pop_back();
      if (!seen.insert(slot).second) continue;
      const std::uint32_t parameter = slot / Core::kSlots, aspect = slot % Core::kSlots;
      if (parameter < core.parameters().size() && (aspect == Core::kUser || aspect == Core::kGiven))
        parameters.insert(parameter);
      if (const std::uint32_t step = core.writer(slot); step != Core::kNoStep)
        open.insert(open.end(), core.reads(step).begin(), core.reads(step).end());
    }
    return parameters;
  }

  Instance start_, state_;
  Wish wish_;
  Terms terms_;
  std::optional<Candidates> candidates_;
  Errors before_;
  std::size_t left_;  // sets that it may still try
  std::vector<Change> set_, found_;
};

std::vector<Wish> wishes(Instance& instance) {
  std::vector<Wish> all;
  for (std::uint32_t i = 0; i < instance.core().parameters().size(); ++i) {
    if (!instance.is_enabled(i)) all.push_back({Wish::Kind::enabled, i});
    if (!Insight(instance).is_permitted(i)) all.push_back({Wish::Kind::permitted, i});
  }
  for (Due const& due : instance.messages()) all.push_back({Wish::Kind::cleared, due.parameter, due.name});
  return all;
}

struct Figures {
  int cases = 0, by_size[4] = {}, none = 0, not_within = 0, proven = 0, proven_first = 0;
};

// Carries out the advice, and returns it.
Advice expect_to_work(Instance& instance, Wish const& wish, Figures& figures) {
  const Advice advice = advise(instance, wish);
  const std::string words = told(instance.core(), advice);
  ++figures.cases;
  EXPECT_NE(advice.outcome, Advice::Outcome::fulfilled);
  figures.none += advice.outcome == Advice::Outcome::none;
  figures.not_within += advice.outcome == Advice::Outcome::not_within;
  const bool is_found = advice.outcome == Advice::Outcome::found;
  if (is_found) {
    ++figures.by_size[advice.changes.size()];
    EXPECT_TRUE(works(instance, errors(instance), wish, advice.changes)) << words;
    Instance copy = instance;
    EXPECT_EQ(make_changes(copy, advice.changes), advice.moves);
  }
  return advice;
}

void expect_advice(Instance& instance, Wish const& wish, std::size_t most_sets, Figures& figures) {
  const Advice advice = expect_to_work(instance, wish, figures);
  const std::string words = told(instance.core(), advice);
  const bool is_found = advice.outcome == Advice::Outcome::found;
  Exhaustive all(instance, wish);
  std::size_t sets = 1;
  const std::size_t sizes = is_found ? advice.changes.size() : 3;
  for (std::size_t size = 1; size <= sizes; ++size) {
    sets *= all.candidates();
    if (sets > most_sets) return;
    const std::vector<Change> best = all.best(size);
    if (is_found && size == sizes) {
      if (advice.is_first) {
        ASSERT_EQ(best, advice.changes) << words;
      }
      figures.proven_first += advice.is_first;
    } else {
      ASSERT_TRUE(best.empty()) << words << ", and yet " << told(instance.core(), {Advice::Outcome::found, best, {}});
    }
  }
  ++figures.proven;
}

void expect_advice_for_all(Instance& instance, std::size_t most_sets, Figures& figures) {
  for (Wish const& wish : wishes(instance)) {
    std::string given;
    for (std::uint32_t i = 0; i < instance.core().parameters().size(); ++i)
      if (instance.given(i)) given += " " + instance.core().parameters()[i].name + "=" + *instance.given(i);
    SCOPED_TRACE(instance.core().parameters()[wish.parameter].name + " " +
                 (wish.kind == Wish::Kind::enabled ? "enabled" : wish.message) + " with" + given);
    expect_advice(instance, wish, most_sets, figures);
    if (testing::Test::HasFatalFailure()) return;
  }
}

// Sets that an exhaustive look may take in each case; IPTASKS_LONG in the environment asks for more.
std::size_t most_sets() { return std::getenv("IPTASKS_LONG") != nullptr ? 300'000 : 2'000; }

void print(Figures const& figures) {
  std::printf("%d cases: 1 change %d, 2 changes %d, 3 changes %d, none %d, not within %d; %d proven, %d the first\n",
              figures.cases, figures.by_size[1], figures.by_size[2], figures.by_size[3], figures.none,
              figures.not_within, figures.proven, figures.proven_first);
}

// Where every step is watched the same is looked at less often.
constexpr int kPart = test_support::kSanitized ? 10 : 1;

TEST(Advice, WorksAndIsSmallestOnMadeUpCores) {
  Figures figures;
  for (std::uint64_t seed = 1; figures.by_size[1] + figures.by_size[2] + figures.by_size[3] < 2000 / kPart; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    test_support::MadeUpCore made(seed, 5 + static_cast<int>(seed % 14));
    Instance instance(Core::parse(made.text(), "made.json"));
    std::vector<Parameter> const& parameters = instance.core().parameters();
    for (int change = 0; change < 4; ++change) {
      const auto parameter = static_cast<std::uint32_t>(made.below(parameters.size()));
      instance.set({{parameter, made.value(parameters[parameter])}});
    }
    expect_advice_for_all(instance, most_sets(), figures);
    if (HasFatalFailure()) FAIL() << made.text();
  }
  print(figures);
  EXPECT_GE(figures.by_size[2] + figures.by_size[3], 300 / kPart);
  EXPECT_GE(figures.by_size[3], 50 / kPart);
  EXPECT_EQ(figures.not_within, 0);
  EXPECT_GE(figures.proven, 1000 / kPart);
}

TEST(Advice, WorksOnTheMemoryBlock) {
  const auto core = xram();
  Figures figures;
  test_support::Random random(5);
  for (int round = 0; round < 40 / kPart; ++round) {
    Instance instance(core);
    for (int change = 0; change < 8; ++change) {
      const unsigned i = random.below(static_cast<unsigned>(core->parameters().size()));
      Parameter const& parameter = core->parameters()[i];
      const std::vector<std::string> range = instance.range(i);
      std::string text = std::to_string(random.below(2));
      if (!range.empty()) text = random.one_in(3) ? std::to_string(random.below(30'000)) : range[random.below(2)];
      instance.set({{i, parameter.type == Type(Kind::truth) ? "1" : text}});
    }
    expect_advice_for_all(instance, most_sets(), figures);
    if (HasFatalFailure()) return;
  }
  print(figures);
  EXPECT_GE(figures.by_size[1], 200 / kPart);
  EXPECT_GE(figures.by_size[2], 10 / kPart);
  EXPECT_GE(figures.proven, 200 / kPart);
}

// Cores of thousands of parameters; in the long form of several families, with more sets.
struct Shipped {
  char const* core;
  char const* version;
};

void expect_advice_of(Shipped const& shipped, int cases, std::size_t most, Figures& figures) {
  const auto core = Core::read(places::data("cores"), shipped.core, shipped.version);
  test_support::Random random(7);
  for (const int last = figures.cases + cases; figures.cases < last;) {
    Instance instance(core);
    for (int change = 0; change < 30; ++change) {
      const unsigned i = random.below(static_cast<unsigned>(core->parameters().size()));
      const std::vector<std::string> range = instance.range(i);
      std::string text = std::to_string(random.below(2));
      if (!range.empty()) text = random.one_in(8) ? "77" : range[random.below(static_cast<unsigned>(range.size()))];
      instance.set({{i, text}});
    }
    std::vector<Wish> some = wishes(instance);
    for (int question = 0; question < 15 && !some.empty(); ++question) {
      Wish const& wish = some[random.below(static_cast<unsigned>(some.size()))];
      SCOPED_TRACE(std::string(shipped.core) + " " + core->parameters()[wish.parameter].name + " " + wish.message);
      const Advice advice = expect_to_work(instance, wish, figures);
      if (testing::Test::HasFailure()) return;
      if (advice.outcome == Advice::Outcome::not_within) continue;
      const std::size_t size = advice.outcome == Advice::Outcome::found ? advice.changes.size() : 4;
      ByCones cones(instance, wish, most);
      const std::vector<Change> smaller = cones.within(size - 1);
      ASSERT_TRUE(smaller.empty()) << told(*core, advice) << ", and yet "
                                   << told(*core, {Advice::Outcome::found, smaller, {}});
      figures.proven += cones.is_proof() ? 1 : 0;
      if (advice.outcome != Advice::Outcome::found) continue;
      // What finds no smaller set finds one as large.
      ByCones as_large(instance, wish, most);
      ASSERT_TRUE(!as_large.within(size).empty() || !as_large.is_proof()) << told(*core, advice);
    }
  }
}

TEST(Advice, WorksAndIsSmallestOnProcessingSystems) {
  const bool is_long = std::getenv("IPTASKS_LONG") != nullptr;
  const std::vector<Shipped> few = {{"pspmc", "1.0"}};
  const std::vector<Shipped> many = {
      {"pspmc", "1.4"}, {"psxl", "1.0"}, {"psu", "1.0"}, {"ps7", "1.4"}, {"cpm5", "1.0"}};
  Figures all;
  for (Shipped const& shipped : is_long ? many : few) {
    Figures figures;
    expect_advice_of(shipped, is_long ? 400 : 300 / kPart, is_long ? 5'000 : 100, figures);
    if (HasFailure()) return;
    std::printf("%s %s: ", shipped.core, shipped.version);
    print(figures);
    std::fflush(stdout);
    all.by_size[2] += figures.by_size[2] + figures.by_size[3];
    all.proven += figures.proven;
  }
  EXPECT_GE(all.by_size[2], is_long ? 300 : 50 / kPart);
  EXPECT_GE(all.proven, is_long ? 1500 : 100 / kPart);
}

// Clocks above their limit, dividers that a search gives, and modes that leave them to the user.
TEST(Advice, WorksThroughSearches) {
  const auto core = Core::parse(clock_core::core(), "made.json");
  Figures figures;
  test_support::Random random(9);
  for (int round = 0; round < 60 / kPart; ++round) {
    Instance instance(core);
    for (int change = 0; change < 6; ++change) {
      const unsigned i = random.below(static_cast<unsigned>(core->parameters().size()));
      const std::vector<std::string> range = instance.range(i);
      std::string text = std::to_string(random.below(2));
      if (!range.empty())
        text = random.one_in(3) ? std::to_string(random.below(99))
                                : range[random.below(static_cast<unsigned>(range.size()))];
      instance.set({{i, text}});
    }
    expect_advice_for_all(instance, 300, figures);
    if (HasFatalFailure()) return;
  }
  print(figures);
  EXPECT_GE(figures.by_size[1], 40 / kPart);
  EXPECT_GE(figures.proven, 40 / kPart);
}

TEST(Advice, EndsWithinItsEffort) {
  std::string parameters;
  for (int i = 0; i < 24; ++i)
    parameters +=
        (i > 0 ? "," : "") + std::string("{\"name\": \"P") + std::to_string(i) +
        R"(", "type": "integer", "widget": "EDIT", "description": "one", "default": "0", "limits": ["0", "9"]})";
  std::string sum = "P0";
  for (int i = 1; i < 24; ++i) sum += " + P" + std::to_string(i);
  const std::string text = R"({"format": 1, "core": "made", "version": "1.0", "parameters": [)" + parameters +
                           R"(, {"name": "GOAL", "type": "truth", "widget": "CHECKBOX", "description": "one",
                           "default": "0", "enabled": ")" +
                           sum + R"( > 30"}]})";
  Instance instance(Core::parse(text, "made.json"));
  const Advice some = advise(instance, {Wish::Kind::enabled, 24}, {1'000, 3, 0});
  EXPECT_EQ(some.outcome, Advice::Outcome::not_within);
  EXPECT_TRUE(some.changes.empty());
  EXPECT_LT(some.trials, 100U);
  const Advice hasty = advise(instance, {Wish::Kind::enabled, 24}, {100'000'000, 3, 1e-6});
  EXPECT_EQ(hasty.outcome, Advice::Outcome::not_within);
  EXPECT_EQ(advise(instance, {Wish::Kind::enabled, 24}, {100'000'000, 3, 0}).outcome, Advice::Outcome::none);
}

}  // namespace
