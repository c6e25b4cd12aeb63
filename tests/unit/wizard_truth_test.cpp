// The shipped wizards, changed at random by their texts and by single parameters of their sub-cores, against a plain
// account of what is given to whom: every sub-core is what computing anew gives, every text what the account says.
// IPTASKS_CORE_CHANGES in the environment asks for more changes.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <random>

#include "kdi/cores/Configuration.h"
#include "tests/support/core_texts.h"
#include "tests/support/places.h"
#include "tests/support/sanitized.h"
#include "tests/support/seen_core.h"

namespace {

using namespace kdi::cores;
using plain_rules::PlainRules;

// What is given to the parameters of one core, by name; the texts of composites are not among them.
using Given = std::map<std::string, std::string>;

class Account {
 public:
  Account(std::string const& wizard, std::string const& version, unsigned seed)
      : random_(seed),
        facts_{{"slr.count", std::to_string(1 + below(3))}},
        configuration_(description(wizard, version), facts_,
                       [this](auto const& name, auto const& its) { return description(name, its); }) {
    for (Composite const& composite : configuration_.core().composites()) {
      Configuration* const sub = configuration_.sub_core(composite.sub_core);
      if (sub == nullptr) continue;
      Held& held = texts_.emplace_back(Held{&composite, {{sub, all_members(*sub)}}, {}});
      if (composite.members.empty()) continue;
      held.parts.push_back({&configuration_, {}});
      for (auto const& member : composite.members) held.parts.back().members.push_back(member.parameter);
    }
  }

  bool has_texts() const { return !texts_.empty(); }

  std::string change() {
    Held& held = texts_[below(texts_.size())];
    switch (below(5)) {
      case 0: {
        Part const& part = some_part(held);
        const std::uint32_t i = some_member(part);
        const std::string value = some_value(*part.of, i);
        held.given[name_of(part, i)] = value;
        configuration_.set({{{part.of, i}, value}});
        return name_of(part, i) + " " + value;
      }
      case 1:
        for (Held& each : texts_) each.given.clear();
        configuration_.take_all_back();
        return "all taken back";
      case 2:
        return give_values(held);
      default:
        return give_text(held);
    }
  }

  void hold() {
    for (Held& held : texts_) {
      Given shown;
      for (Part const& part : held.parts) {
        Given expected, given;
        for (const std::uint32_t i : part.members) {
          if (auto const& text = part.of->instance().given(i)) given[name_of(part, i)] = *text;
          if (auto const known = held.given.find(name_of(part, i)); known != held.given.end()) expected.insert(*known);
        }
        ASSERT_EQ(given, expected);
        PlainRules& rules = *rules_.at(&part.of->core());
        Instance& instance = part.of->instance();
        ASSERT_EQ(plain_rules::difference(part.of->core(), plain_rules::seen(instance),
                                          plain_rules::computed_anew(rules, plain_rules::given(instance), facts_)),
                  "");
        add_shown(part, shown);
      }
      ASSERT_EQ(configuration_.value(held.composite->parameter), text_of(held.given));
      ASSERT_EQ(configuration_.value(*held.composite->internal), text_of(shown));
    }
  }

 private:
  // Members that are parameters of one core.
  struct Part {
    Configuration* of;
    std::vector<std::uint32_t> members;
  };
  struct Held {
    Composite const* composite;
    std::vector<Part> parts;
    Given given;
  };

  std::uint64_t below(std::uint64_t bound) { return random_() % bound; }

  std::shared_ptr<Core const> description(std::string const& name, std::string const& version) {
    auto& known = descriptions_[name + "/" + version];
    if (known == nullptr) {
      known = Core::read(places::data("cores"), name, version);
      rules_.emplace(known.get(), std::make_unique<PlainRules>(known));
    }
    return known;
  }

  static std::vector<std::uint32_t> all_members(Configuration const& of) {
    std::vector<std::uint32_t> members;
    for (std::uint32_t i = 0; i < of.core().parameters().size(); ++i)
      if (of.core().is_settable(i) && !of.is_composite(i)) members.push_back(i);
    return members;
  }
  static std::string name_of(Part const& part, std::uint32_t i) { return part.of->core().parameters()[i].name; }
  Part const& some_part(Held const& held) { return held.parts[below(held.parts.size())]; }
  std::uint32_t some_member(Part const& part) { return part.members[below(part.members.size())]; }

  // Nothing of a parameter that reads SKIP.
  static void add_shown(Part const& part, Given& shown) {
    for (const std::uint32_t i : part.members)
      if (!part.of->core().parameters()[i].skips || part.of->instance().is_enabled(i))
        shown[name_of(part, i)] = part.of->instance().value(i);
  }

  // As the engine writes truths.
  std::string some_value(Configuration const& of, std::uint32_t i) {
    const std::string value = plain_rules::valid_text(random_, of.instance(), i);
    return value == "true" ? "1" : value == "false" ? "0" : value;
  }

  // A text has all that is given.
  std::string give_text(Held& held) {
    Given pairs;
    if (below(2) == 0) pairs = held.given;
    for (std::uint64_t count = below(6); count > 0; --count) {
      Part const& part = some_part(held);
      const std::uint32_t i = some_member(part);
      pairs[name_of(part, i)] = some_value(*part.of, i);
    }
    held.given = pairs;
    configuration_.set({{{&configuration_, held.composite->parameter}, text_of(pairs)}});
    return configuration_.core().parameters()[held.composite->parameter].name + " " + text_of(pairs);
  }

  // The text of all values as it is, but for a few that are others or not named any more: of these alone anything
  // changes, unless a search finds them.
  std::string give_values(Held& held) {
    Given shown;
    for (Part const& part : held.parts) add_shown(part, shown);
    Given pairs = shown, others;
    std::vector<Configuration::Place> places;
    for (std::uint64_t count = below(4); count > 0; --count) {
      Part const& part = some_part(held);
      const std::uint32_t i = some_member(part);
      std::string const& name = name_of(part, i);
      if (others.contains(name) || !shown.contains(name)) continue;
      places.push_back({part.of, i});
      if (below(3) == 0)
        pairs.erase(name);
      else
        pairs[name] = some_value(*part.of, i);
      others.emplace(name, pairs.contains(name) ? pairs[name] : "not named");
    }
    const auto give = [&](Configuration::Place const& place) {
      Parameter const& parameter = place.configuration->core().parameters()[place.number];
      const auto now = pairs.find(parameter.name);
      if (now != pairs.end() && now->second == shown[parameter.name]) return;
      if (now == pairs.end() || now->second == value_text(parameter.default_value))
        held.given.erase(parameter.name);
      else
        held.given[parameter.name] = now->second;
    };
    const auto is_searched = [](Configuration::Place const& place) {
      for (auto const& search : place.configuration->core().searches())
        for (const std::uint32_t writes : search->writes)
          if (writes == place.number) return true;
      return false;
    };
    for (Configuration::Place const& place : places)
      if (!is_searched(place) || !pairs.contains(place.configuration->core().parameters()[place.number].name))
        give(place);
    const auto all_else = configuration_.copy();
    all_else->set({{{all_else.get(), held.composite->parameter}, text_of(held.given)}});
    for (Configuration::Place const& place : places) {
      std::string const& name = place.configuration->core().parameters()[place.number].name;
      const auto there = all_else->find(name).value();
      if (is_searched(place) && pairs.contains(name) &&
          there.configuration->instance().origin(there.number) != Origin::search)
        give(place);
    }
    configuration_.set({{{&configuration_, *held.composite->internal}, text_of(pairs)}});
    return configuration_.core().parameters()[*held.composite->internal].name + " " + text_of(others);
  }

  // As a Tcl list of words without anything special but blanks.
  static std::string text_of(Given const& pairs) {
    std::string text;
    for (auto const& [name, value] : pairs) {
      const bool is_bare = !value.empty() && value.find_first_of(" #") == std::string::npos;
      text += (text.empty() ? "" : " ") + name + " " + (is_bare ? value : "{" + value + "}");
    }
    return text;
  }

  std::mt19937_64 random_;
  Facts facts_;
  std::map<std::string, std::shared_ptr<Core const>> descriptions_;
  std::map<Core const*, std::unique_ptr<PlainRules>> rules_;
  Configuration configuration_;
  std::vector<Held> texts_;
};

struct Wizard {
  char const* core;
  char const* version;
};
void PrintTo(Wizard const& wizard, std::ostream* out) { *out << wizard.core << " " << wizard.version; }

class WizardTruth : public testing::TestWithParam<Wizard> {};

TEST_P(WizardTruth, TextsAndSubCoresAreOneState) {
  char const* const asked = std::getenv("IPTASKS_CORE_CHANGES");
  const int changes = asked != nullptr ? std::atoi(asked) / 100 : test_support::kSanitized ? 1 : 6;
  constexpr int kOfOne = 20;
  for (int made = 0, seed = 1; made < changes; made += kOfOne, ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Account account(GetParam().core, GetParam().version, static_cast<unsigned>(seed));
    ASSERT_TRUE(account.has_texts());
    for (int change = 0; change < std::min(kOfOne, changes - made); ++change) {
      SCOPED_TRACE(account.change());
      account.hold();
      if (HasFatalFailure()) return;
    }
  }
  if (asked != nullptr) std::printf("%s %s with sub-cores: %d changes\n", GetParam().core, GetParam().version, changes);
}

INSTANTIATE_TEST_SUITE_P(Of, WizardTruth,
                         testing::Values(Wizard{"tavrel_cips", "1.0"}, Wizard{"tavrel_cips", "3.4"},
                                         Wizard{"psxl_wizard", "1.0"}, Wizard{"psx_wizard", "9.99.z"},
                                         Wizard{"ps_wizard", "1.0"}, Wizard{"ps_wizard", "99.0"}),
                         [](auto const& one) { return std::string(one.param.core) + std::to_string(one.index); });

}  // namespace
