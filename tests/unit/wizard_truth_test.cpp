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
    for (Composite const& composite : configuration_.core().composites())
      if (Configuration* const sub = configuration_.sub_core(composite.sub_core))
        texts_.push_back({&composite, sub, {}});
  }

  bool has_texts() const { return !texts_.empty(); }

  std::string change() {
    Held& held = texts_[below(texts_.size())];
    Core const& core = held.of->core();
    switch (below(4)) {
      case 0: {
        const std::uint32_t i = some_member(*held.of);
        const std::string value = some_value(*held.of, i);
        held.given[core.parameters()[i].name] = value;
        configuration_.set({{{held.of, i}, value}});
        return core.parameters()[i].name + " " + value;
      }
      case 1:
        for (Held& each : texts_) each.given.clear();
        configuration_.take_all_back();
        return "all taken back";
      default:
        return give_text(held, below(2) == 0);
    }
  }

  void hold() {
    for (Held& held : texts_) {
      Given given;
      for (std::uint32_t i = 0; i < held.of->core().parameters().size(); ++i)
        if (auto const& text = held.of->instance().given(i); text && !held.of->is_composite(i))
          given[held.of->core().parameters()[i].name] = *text;
      ASSERT_EQ(given, held.given);
      ASSERT_EQ(configuration_.value(held.composite->parameter), text_of(given));
      PlainRules& rules = *rules_.at(&held.of->core());
      ASSERT_EQ(
          plain_rules::difference(held.of->core(), plain_rules::seen(held.of->instance()),
                                  plain_rules::computed_anew(rules, plain_rules::given(held.of->instance()), facts_)),
          "");
      Given shown;
      for (std::uint32_t i = 0; i < held.of->core().parameters().size(); ++i) {
        Parameter const& parameter = held.of->core().parameters()[i];
        if (!held.of->core().is_settable(i) || held.of->is_composite(i)) continue;
        if (parameter.skips && !held.of->instance().is_enabled(i)) continue;
        shown[parameter.name] = held.of->instance().value(i);
      }
      ASSERT_EQ(configuration_.value(*held.composite->internal), text_of(shown));
    }
  }

 private:
  struct Held {
    Composite const* composite;
    Configuration* of;
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

  std::uint32_t some_member(Configuration const& of) {
    for (;;) {
      const auto i = static_cast<std::uint32_t>(below(of.core().parameters().size()));
      if (of.core().is_settable(i) && !of.is_composite(i)) return i;
    }
  }

  // As the engine writes truths.
  std::string some_value(Configuration const& of, std::uint32_t i) {
    const std::string value = plain_rules::valid_text(random_, of.instance(), i);
    return value == "true" ? "1" : value == "false" ? "0" : value;
  }

  // A text has all that is given; an internal one what differs from the defaults.
  std::string give_text(Held& held, bool internal) {
    Core const& core = held.of->core();
    Given pairs;
    if (below(2) == 0) pairs = held.given;
    for (std::uint64_t count = below(6); count > 0; --count) {
      const std::uint32_t i = some_member(*held.of);
      pairs[core.parameters()[i].name] = some_value(*held.of, i);
    }
    held.given = pairs;
    if (internal)
      for (auto const& [name, value] : pairs)
        if (value == value_text(core.parameters()[*core.find(name)].default_value)) held.given.erase(name);
    const std::uint32_t parameter = internal ? *held.composite->internal : held.composite->parameter;
    configuration_.set({{{&configuration_, parameter}, text_of(pairs)}});
    return configuration_.core().parameters()[parameter].name + " " + text_of(pairs);
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
}

INSTANTIATE_TEST_SUITE_P(Of, WizardTruth,
                         testing::Values(Wizard{"psxl_wizard", "1.0"}, Wizard{"psx_wizard", "9.99.z"},
                                         Wizard{"ps_wizard", "1.0"}, Wizard{"ps_wizard", "99.0"}),
                         [](auto const& one) { return std::string(one.param.core) + std::to_string(one.index); });

}  // namespace
