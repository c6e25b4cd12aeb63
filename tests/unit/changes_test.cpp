// Changes tried, undone, compared, carried to other versions, and written and read back.
#include <gtest/gtest.h>
#include <tcl.h>

#include <algorithm>
#include <functional>
#include <map>

#include "kdi/common/KdiJson.h"
#include "kdi/cores/Carry.h"
#include "kdi/cores/Compare.h"
#include "kdi/cores/History.h"
#include "kdi/cores/Settings.h"
#include "tests/support/made_up_core.h"
#include "tests/support/places.h"
#include "tests/support/random.h"
#include "tests/support/scratch.h"

namespace {

using namespace kdi::cores;
using test_support::MadeUpCore;

std::uint32_t number(Core const& core, std::string const& name) {
  const auto found = core.find(name);
  EXPECT_TRUE(found) << name;
  return found.value_or(0);
}

std::vector<Shown> all_shown(Instance const& instance) {
  std::vector<Shown> all;
  for (std::uint32_t i = 0; i < instance.core().parameters().size(); ++i) all.push_back(shown(instance, i));
  return all;
}

std::vector<Change> all_given(Instance const& instance) {
  std::vector<Change> all;
  for (std::uint32_t i = 0; i < instance.core().parameters().size(); ++i) all.push_back(given_to(instance, i));
  return all;
}

std::vector<Change> some_changes(MadeUpCore& made, Core const& core) {
  std::vector<Change> changes;
  for (std::uint64_t i = made.below(4) + 1; i > 0; --i) {
    const auto parameter = static_cast<std::uint32_t>(made.below(core.parameters().size()));
    Change change{parameter, made.value(core.parameters()[parameter]), static_cast<Origin>(1 + made.below(3))};
    if (made.below(4) == 0) change = {parameter, std::nullopt};
    if (std::none_of(changes.begin(), changes.end(), [&](Change const& one) { return one.parameter == parameter; }))
      changes.push_back(std::move(change));
  }
  return changes;
}

TEST(Changes, TriedTellWhatMakingThemDoes) {
  std::size_t moves = 0, come = 0, go = 0;
  for (std::uint64_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    MadeUpCore made(seed, 12);
    Instance instance(Core::parse(made.text(), "made.json"));
    for (int round = 0; round < 8; ++round) {
      const std::vector<Change> changes = some_changes(made, instance.core());
      const std::vector<Shown> before = all_shown(instance);
      const std::vector<Due> messages = instance.messages();
      const Trial trial = try_changes(instance, changes);
      EXPECT_EQ(all_shown(instance), before);
      make_changes(instance, changes);
      const std::vector<Shown> after = all_shown(instance);
      std::vector<Shown> told = before;
      for (Trial::Move const& move : trial.moves) {
        EXPECT_EQ(move.before, before[move.parameter]);
        EXPECT_FALSE(move.before == move.after);
        told[move.parameter] = move.after;
      }
      EXPECT_EQ(told, after);
      // What was due, less what goes, and with what comes, is due.
      std::vector<Due> due = messages;
      for (Due const& gone : trial.go) std::erase(due, gone);
      for (auto const& [was, is] : trial.reworded) std::replace(due.begin(), due.end(), was, is);
      due.insert(due.end(), trial.come.begin(), trial.come.end());
      const std::vector<Due> now = instance.messages();
      EXPECT_TRUE(std::is_permutation(due.begin(), due.end(), now.begin(), now.end()));
      moves += trial.moves.size();
      come += trial.come.size();
      go += trial.go.size();
    }
  }
  EXPECT_GT(moves, 500U);
  EXPECT_GT(come, 30U);
  EXPECT_GT(go, 30U);
}

TEST(Changes, AsARecord) {
  const auto core = Core::read(places::data("cores"), "xram", "1.0");
  EXPECT_EQ(record_of({{number(*core, "XRAM_SIZE_MB"), "3"}, {number(*core, "XRAM_ECC_ENABLE"), std::nullopt}},
                      [&](std::uint32_t parameter) { return core->parameters()[parameter].name; })
                .json(),
            R"([
  {
    "parameter": "XRAM_SIZE_MB",
    "change": "set",
    "value": "3"
  },
  {
    "parameter": "XRAM_ECC_ENABLE",
    "change": "take back"
  }
]
)");
}

TEST(Changes, TriedAsARecord) {
  const auto core = Core::read(places::data("cores"), "xram", "1.0");
  const Instance instance(core);
  const Trial trial =
      try_changes(instance, {{number(*core, "XRAM_ECC_ENABLE"), "0"}, {number(*core, "XRAM_SIZE_MB"), "3"}});
  EXPECT_EQ(record_of(*core, trial).json(), R"({
  "moves": [
    {
      "parameter": "XRAM_SIZE_MB",
      "value": {
        "before": "4",
        "after": "3"
      },
      "origin": {
        "before": "default",
        "after": "user"
      }
    },
    {
      "parameter": "XRAM_REF_CTRL_FREQMHZ",
      "range": {
        "before": [
          "50",
          "800"
        ],
        "after": [
          "50",
          "950"
        ]
      }
    },
    {
      "parameter": "XRAM_ECC_ENABLE",
      "value": {
        "before": "1",
        "after": "0"
      },
      "origin": {
        "before": "default",
        "after": "user"
      }
    },
    {
      "parameter": "XRAM_ECC_SCRUB_ENABLE",
      "value": {
        "before": "0",
        "after": "SKIP"
      },
      "enabled": {
        "before": "1",
        "after": "0"
      }
    }
  ],
  "come": [
    {
      "parameter": "XRAM_SIZE_MB",
      "message": "range",
      "severity": "error",
      "text": "PARAM XRAM_SIZE_MB::3 is out of range  { 1,2,4 }"
    },
    {
      "parameter": "XRAM_SIZE_MB",
      "message": "banks_idle",
      "severity": "info",
      "text": "4 MiB are powered and no port reaches them"
    }
  ],
  "go": [],
  "reworded": []
}
)");
}

// --------------------------------------------------------------------------------------------------------- history

TEST(Changes, UndoneAndRedoneInAnyOrder) {
  int undone = 0, redone = 0;
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    MadeUpCore made(seed, 12);
    Instance instance(Core::parse(made.text(), "made.json"));
    History history(instance);
    std::vector<std::vector<Change>> states{all_given(instance)};
    std::size_t at = 0;
    for (int round = 0; round < 60; ++round) {
      const std::uint64_t what = made.below(4);
      if (what == 0 && history.can_undo()) {
        history.undo();
        --at;
        ++undone;
      } else if (what == 1 && history.can_redo()) {
        history.redo();
        ++at;
        ++redone;
      } else if (what > 1) {
        history.record();  // what the round before may have left
        make_changes(instance, some_changes(made, instance.core()));
        const bool is_other = all_given(instance) != states[at];
        EXPECT_EQ(history.can_undo(), is_other || at > 0);
        // At times left for undo to notice.
        if (made.below(3) != 0) {
          EXPECT_EQ(history.record(), is_other);
        }
        if (is_other) {
          states.resize(++at);  // what was undone is gone
          states.push_back(all_given(instance));
        }
      }
      ASSERT_EQ(all_given(instance), states[at]);
      Instance anew(Core::parse(made.text(), "made.json"));
      make_changes(anew, states[at]);
      ASSERT_EQ(all_shown(instance), all_shown(anew));
    }
  }
  EXPECT_GT(undone, 100);
  EXPECT_GT(redone, 30);
}

TEST(Changes, UndoneInACoreAndItsSubCore) {
  const auto core = Core::read(places::data("cores"), "xram", "1.0");
  Instance whole(core), sub(core);
  History history(std::vector{&whole, &sub});
  whole.set({{0, "2"}});
  sub.set({{0, "1"}, {2, "0"}});
  EXPECT_TRUE(history.record());
  sub.take_back({0});
  const std::vector<History::Place> moved = history.undo();
  EXPECT_EQ(sub.value(0), "1");
  EXPECT_EQ(whole.value(0), "2");
  EXPECT_EQ(moved, (std::vector<History::Place>{{1, 0}}));
  EXPECT_EQ(history.undo().front(), (History::Place{0, 0}));
  EXPECT_FALSE(whole.given(0) || sub.given(0) || sub.given(2));
  EXPECT_FALSE(history.can_undo());
  history.redo();
  history.redo();
  EXPECT_EQ(whole.value(0), "2");
  EXPECT_EQ(sub.value(0), "4");
  EXPECT_EQ(sub.value(2), "0");
}

TEST(Changes, HistoryForgetsItsOldest) {
  const auto core = Core::read(places::data("cores"), "xram", "1.0");
  Instance instance(core);
  History history(instance, 3);
  for (int i = 10; i < 20; ++i) {
    instance.set({{number(*core, "XRAM_ECC_SCRUB_PERIOD_MS"), std::to_string(i)}});
    EXPECT_TRUE(history.record());
    EXPECT_FALSE(history.record());
  }
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(history.undo().empty());
  EXPECT_FALSE(history.can_undo());
  EXPECT_TRUE(history.undo().empty());
  EXPECT_EQ(instance.backup(number(*core, "XRAM_ECC_SCRUB_PERIOD_MS")), "16");
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(history.redo().empty());
  EXPECT_TRUE(history.redo().empty());
  EXPECT_EQ(instance.backup(number(*core, "XRAM_ECC_SCRUB_PERIOD_MS")), "19");
}

// ------------------------------------------------------------------------------------------------------ comparison

// With the differences of what was given taken away one after another, what they are reasons for goes.
TEST(Comparisons, ReasonsAreEnough) {
  std::size_t differences = 0;
  for (std::uint64_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    MadeUpCore made(seed, 12);
    const auto core = Core::parse(made.text(), "made.json");
    Instance first(core), second(core);
    for (int round = 0; round < 4; ++round) {
      make_changes(first, some_changes(made, *core));
      make_changes(second, some_changes(made, *core));
      const Comparison comparison = compare(first, second);
      const std::vector<Shown> a = all_shown(first), b = all_shown(second);
      std::vector<char> told(a.size());
      for (Difference const& difference : comparison.differences) {
        ASSERT_EQ(difference.first, difference.second);
        const std::uint32_t i = *difference.first;
        told[i] = 1;
        EXPECT_EQ(difference.before, a[i]);
        EXPECT_EQ(difference.after, b[i]);
        EXPECT_FALSE(difference.reasons.empty());
        Instance instance = first;
        for (Reason const& reason : difference.reasons) {
          ASSERT_EQ(reason.kind, Reason::Kind::given);
          make_changes(instance, {given_to(second, number(*core, reason.name))});
        }
        EXPECT_EQ(shown(instance, i), b[i]) << core->parameters()[i].name;
        ++differences;
      }
      for (std::size_t i = 0; i < a.size(); ++i) EXPECT_EQ(told[i] != 0, !(a[i] == b[i]));
    }
  }
  EXPECT_GT(differences, 500U);
}

constexpr char const* kFirst = R"J({"format": 1, "core": "made", "version": "1.0",
"device": [{"word": "most_mhz", "type": "integer", "without": "100"}],
"definitions": {"FAST": "MODE == 'fast'"}, "parameters": [
{"name": "MODE", "type": "text", "widget": "COMBO", "description": "one", "default": "slow", "values": ["slow", "fast"]},
{"name": "CLOCK", "type": "integer", "widget": "EDIT", "description": "one", "default": "50",
 "range": "[1, if FAST then device('most_mhz') else 60]"},
{"name": "OLD", "type": "truth", "widget": "CHECKBOX", "description": "one", "default": "0"},
{"name": "GONE", "type": "truth", "widget": "CHECKBOX", "description": "one", "default": "0"},
{"name": "LIMIT", "type": "integer", "widget": "EDIT", "description": "one", "default": "5", "limits": ["0", "10"]},
{"name": "TWICE", "type": "integer", "widget": "EDIT", "description": "one", "default": "100", "derived": "CLOCK * 2"}
]})J";
constexpr char const* kSecond = R"J({"format": 1, "core": "made", "version": "1.1", "extends": "1.0",
"retired": ["GONE"], "renamed": {"OLD": "FRESH"},
"changed": [{"name": "LIMIT", "limits": ["0", "7"], "default": "6"},
            {"name": "MODE", "enabled": "not FRESH"}],
"parameters": [{"name": "MORE", "type": "truth", "widget": "CHECKBOX", "description": "one", "default": "1"}]})J";

struct TwoVersions {
  TwoVersions() {
    scratch.file("made/1.0.json", kFirst);
    scratch.file("made/1.1.json", kSecond);
    first = Core::read(scratch.folder(), "made", "1.0");
    second = Core::read(scratch.folder(), "made", "1.1");
  }
  Scratch scratch;
  std::shared_ptr<Core const> first, second;
};

std::string told(Record const& differences) {
  std::string all;
  for (Record const& one : differences.items()) {
    all += one.find("parameter")->text() + " in " + one.find("in")->text() + ":";
    for (Record const& reason : one.find("reasons")->items()) {
      for (Record const& part : reason.items()) all += " <" + part.text() + ">";
      all += ";";
    }
    all += "\n";
  }
  return all;
}

TEST(Comparisons, OfTwoVersionsAndTwoDevices) {
  const TwoVersions cores;
  Instance first(cores.first), second(cores.second, {{"most_mhz", "200"}});
  first.set({{number(*cores.first, "MODE"), "fast"}, {number(*cores.first, "CLOCK"), "90"}});
  second.set({{number(*cores.second, "MODE"), "fast"}, {number(*cores.second, "CLOCK"), "150"}});
  const Record record = record_of(*cores.first, *cores.second, compare(first, second));
  EXPECT_EQ(told(*record.find("differences")),
            "CLOCK in both: <given> <CLOCK> <90> <150>; <device> <most_mhz> <100> <200>;\n"
            "LIMIT in both: <rule> <LIMIT> <0, 10> <0, 7>; <default> <LIMIT> <5> <6>;\n"
            "TWICE in both: <given> <CLOCK> <90> <150>; <device> <most_mhz> <100> <200>;\n"
            "MORE in second: <absent> <MORE> <> <>;\n"
            "GONE in first: <absent> <GONE> <> <>;\n");
}

TEST(Carrying, ToAnotherVersion) {
  const TwoVersions cores;
  Instance from(cores.first, {{"most_mhz", "300"}}), to(cores.second, {{"most_mhz", "200"}});
  from.set({{0, "fast"}, {1, "250"}, {4, "9"}});
  from.set({{2, "1"}, {3, "1"}}, Origin::board);
  to.set({{number(*cores.second, "MORE"), "0"}});
  const Carried carried = carry(from, to);
  std::string notes;
  const Record record = record_of(from, to, carried);
  for (Record const& note : record.find("notes")->items()) {
    for (std::size_t i = 0; i < note.keys().size(); ++i) {
      Record const& item = note.items()[i];
      notes += (i > 0 ? " " : "") + item.text();
      for (Record const& one : item.items()) notes += one.text() + ",";
    }
    notes += "\n";
  }
  EXPECT_EQ(notes,
            "disabled MODE MODE fast\n"
            "refused CLOCK CLOCK 250 1,200,\n"
            "renamed OLD FRESH 1\n"
            "retired GONE 1\n"
            "refused LIMIT LIMIT 9 0,7,\n");
  EXPECT_EQ(to.value(number(*cores.second, "FRESH")), "1");
  EXPECT_EQ(to.origin(number(*cores.second, "FRESH")), Origin::board);
  EXPECT_FALSE(to.given(number(*cores.second, "MORE")));
  EXPECT_EQ(carried.comparison.only_second.size(), 2U);  // two out of range

  // Back again, but for what was retired.
  Instance back(cores.first, {{"most_mhz", "300"}});
  carry(to, back);
  from.take_back({3});
  EXPECT_EQ(all_given(back), all_given(from));
}

TEST(Carrying, BetweenVersionsAsShipped) {
  using Fate = Carried::Note::Fate;
  const auto first = Core::read(places::data("cores"), "pspmc", "1.0");
  const auto last = Core::read(places::data("cores"), "pspmc", "1.4");
  test_support::Random random(13);
  std::map<Fate, int> fates;
  std::size_t differences = 0;
  for (int round = 0; round < 4; ++round) {
    const bool forward = round % 2 == 0;
    Instance from(forward ? first : last), to(forward ? last : first);
    for (int change = 0; change < 150; ++change) {
      const unsigned i = random.below(static_cast<unsigned>(from.core().parameters().size()));
      const std::vector<std::string> range = from.range(i);
      from.set({{i, range.empty() ? "1" : range[random.below(static_cast<unsigned>(range.size()))]}});
    }
    const Carried carried = carry(from, to);
    for (Carried::Note const& note : carried.notes) {
      ++fates[note.fate];
      std::string const& name = from.core().parameters()[note.from].name;
      ASSERT_EQ(note.to.has_value(), note.fate != Fate::retired) << name;
      if (!note.to) continue;
      EXPECT_EQ(to.given(*note.to), note.text) << name;
      if (note.fate == Fate::kept) {
        EXPECT_EQ(to.core().parameters()[*note.to].name, name);
      }
    }
    for (Difference const& difference : carried.comparison.differences)
      EXPECT_FALSE(difference.reasons.empty())
          << to.core().parameters()[difference.second.value_or(0)].name << " differs without a reason";
    differences += carried.comparison.differences.size();
  }
  EXPECT_GT(fates[Fate::kept], 300);
  EXPECT_GT(fates[Fate::renamed] + fates[Fate::retired], 0);
  EXPECT_GT(differences, 20U);
}

TEST(Carrying, ToTheSameIsNoChange) {
  MadeUpCore made(3, 14);
  const auto core = Core::parse(made.text(), "made.json");
  for (int round = 0; round < 20; ++round) {
    Instance from(core), to(core);
    make_changes(from, some_changes(made, *core));
    make_changes(to, some_changes(made, *core));
    const Carried carried = carry(from, to);
    EXPECT_EQ(all_given(to), all_given(from));
    EXPECT_TRUE(carried.comparison.differences.empty());
    for (Carried::Note const& note : carried.notes) EXPECT_EQ(note.fate, Carried::Note::Fate::kept);
  }
}

// -------------------------------------------------------------------------------------------------------- settings

std::string some_text(test_support::Random& random) {
  constexpr char const* kPieces[] = {"a", "7",    " ",    "\t",       "\n",           "\r",  "{", "}",
                                     "[", "]",    "$x",   "\"",       "\\",           "\\n", ";", "#",
                                     "'", "\x01", "\x7F", "\xC3\xA9", "\xE2\x82\xAC", "\v",  "*", "\\\n"};
  std::string text;
  for (unsigned i = random.below(8); i > 0; --i) text += kPieces[random.below(std::size(kPieces))];
  return text;
}

int keep(ClientData data, Tcl_Interp*, int objc, Tcl_Obj* const objv[]) {
  std::vector<std::string> words;
  for (int i = 1; i < objc; ++i) words.emplace_back(Tcl_GetString(objv[i]));
  static_cast<std::vector<std::vector<std::string>>*>(data)->push_back(std::move(words));
  return TCL_OK;
}

TEST(SettingsFiles, ReadBackEqualHereAndByTcl) {
  Tcl_Interp* const interp = Tcl_CreateInterp();
  std::vector<std::vector<std::string>> kept;
  Tcl_CreateObjCommand(interp, "put", keep, &kept, nullptr);
  test_support::Random random(11);
  for (int round = 0; round < 400; ++round) {
    Settings settings{"made", "1.0", {}};
    for (unsigned i = random.below(6); i > 0; --i)
      settings.all.push_back({"P" + std::to_string(i), some_text(random), static_cast<Origin>(1 + random.below(3))});
    EXPECT_EQ(read_settings_json(settings_json(settings), "made.json"), settings);
    const std::string script = settings_script(settings, "put $here");
    EXPECT_EQ(read_settings_script(script, "made.tcl", "put $here"), settings) << script;
    kept.clear();
    Tcl_SetVar(interp, "here", "core", 0);
    ASSERT_EQ(Tcl_Eval(interp, script.c_str()), TCL_OK) << script << Tcl_GetStringResult(interp);
    ASSERT_EQ(kept.size(), settings.all.size());
    for (std::size_t i = 0; i < kept.size(); ++i) {
      Setting const& setting = settings.all[i];
      std::vector<std::string> expected{"core", setting.parameter, setting.text};
      if (setting.from != Origin::user) expected.emplace_back(word_of(setting.from));
      EXPECT_EQ(kept[i], expected) << script;
    }
  }
  Tcl_DeleteInterp(interp);
}

// Scripts that people wrote are read as Tcl reads them, or refused.
TEST(SettingsFiles, ScriptsByHandAreReadAsTclReadsThem) {
  Tcl_Interp* const interp = Tcl_CreateInterp();
  std::vector<std::vector<std::string>> kept;
  Tcl_CreateObjCommand(interp, "put", keep, &kept, nullptr);
  constexpr char const* kPieces[] = {"a",     " ",   "{",    "}", "\"", "\\",   ";",     "\n",      "\\u41", "\\x4a",
                                     "\\101", "\\{", "\\\"", "#", "{}", "\"\"", "{a b}", "\"a b\"", "\\n"};
  test_support::Random random(12);
  int read = 0, refused = 0;
  for (int round = 0; round < 4000; ++round) {
    std::string word;
    for (unsigned i = random.below(5) + 1; i > 0; --i) word += kPieces[random.below(std::size(kPieces))];
    const std::string script = "put A " + word;
    kept.clear();
    const bool is_tcl = Tcl_Eval(interp, script.c_str()) == TCL_OK && kept.size() == 1 && kept[0].size() == 2;
    try {
      const Settings settings = read_settings_script(script, "made.tcl", "put");
      if (settings.all.size() != 1 || settings.all[0].from != Origin::user) continue;
      if (word.find('\n') != std::string::npos) continue;  // a command of its own
      ASSERT_TRUE(is_tcl) << script;
      EXPECT_EQ(settings.all[0].text, kept[0][1]) << script;
      ++read;
    } catch (SettingsError const&) {
      ++refused;
    }
  }
  Tcl_DeleteInterp(interp);
  EXPECT_GT(read, 1000);
  EXPECT_GT(refused, 500);
}

std::string refusal(std::function<void()> const& call) {
  try {
    call();
  } catch (SettingsError const& error) {
    return error.what();
  }
  return "none";
}

TEST(SettingsFiles, SlipsAreToldWithTheirPlace) {
  const std::pair<char const*, char const*> errors[] = {
      {"set X 1", "f.tcl:1: expected put"},
      {"\n\nput A", "f.tcl:3: expected put parameter value ?origin?"},
      {"put A 1 user 4", "f.tcl:1: expected put parameter value ?origin?"},
      {"put A 1 rule", "f.tcl:1: expected user, preset or board, found \"rule\""},
      {"put A 1\nput A 2", "f.tcl:2: the parameter \"A\" is set already"},
      {"put A $x", "f.tcl:1: a value is text alone, without $ and ["},
      {"put A [x]", "f.tcl:1: a value is text alone, without $ and ["},
      {"put A {x", "f.tcl:1: the script ends within a word"},
      {"put A \"x", "f.tcl:1: the script ends within a word"},
      {"put A {x}y", "f.tcl:1: expected a blank between words"},
      {"putA 1", "f.tcl:1: expected a blank between words"},
      {"put A \\ud800", "f.tcl:1: half a character"},
      {"put A \\U10FFFF", "f.tcl:1: expected at most four digits, as \\u has"},
      {"put A {x\\\ny}", "f.tcl:1: a line that goes on within braces"},
      {"put A x\\\ny", "f.tcl:1: a line that goes on within a word"},
      {"# settings of xram\n", "f.tcl:1: expected # settings of core version"},
      {"put A \xFF", "f.tcl: it is no UTF-8"},
  };
  for (auto const& [script, words] : errors) {
    try {
      read_settings_script(script, "f.tcl", "put");
      ADD_FAILURE() << script;
    } catch (SettingsError const& error) {
      EXPECT_STREQ(error.what(), words);
    }
  }
  const std::pair<char const*, char const*> json[] = {
      {R"({"format": 2, "core": "a", "version": "1", "settings": []})",
       "f.json:1: format: expected an integer from 1 to 1, found the number 2"},
      {R"({"format": 1, "core": "a", "version": "1", "settings": [{"parameter": "A", "value": "1", "origin": "rule"}]})",
       "f.json:1: settings[0].origin: expected one of user, preset, board, found the text \"rule\""},
      {"{\"format\": 1, \"core\": \"a\", \"version\": \"1\", \"settings\": [{\"parameter\": \"A\", \"value\": \"1\"},\n"
       "{\"parameter\": \"A\", \"value\": \"1\"}]}",
       "f.json:2: settings[1].parameter: expected a parameter that is not set yet, found the text \"A\""},
  };
  for (auto const& [text, words] : json) {
    try {
      read_settings_json(text, "f.json");
      ADD_FAILURE() << text;
    } catch (kdi::JsonError const& error) {
      EXPECT_STREQ(error.what(), words);
    }
  }
  const Settings no_text = {"a", "1", {{"A", "\xFF"}}};
  EXPECT_EQ(refusal([&] { settings_script(no_text, "put"); }), "the value of A is no UTF-8");
  EXPECT_EQ(refusal([&] { settings_json(no_text); }), "the value of A is no UTF-8");
  EXPECT_EQ(refusal([&] { settings_script({"a b", "1", {}}, "put"); }), "\"a b\" is no name of a core or version");
  EXPECT_EQ(refusal([&] { settings_script({"a", "", {}}, "put"); }), "\"\" is no name of a core or version");
}

// Whatever JSON may hold, a script may: names that no core has are told by whoever is given them.
TEST(SettingsFiles, NamesAreWordsLikeValues) {
  const Settings settings = {"", "", {{"A b", "1"}, {"", "2"}, {"{", "3"}}};
  const std::string script = settings_script(settings, "put");
  EXPECT_EQ(script, "put {A b} 1\nput {} 2\nput \\{ 3\n");
  EXPECT_EQ(read_settings_script(script, "made.tcl", "put"), settings);
}

TEST(SettingsFiles, OfACoreMakeItAgain) {
  const auto core = Core::read(places::data("cores"), "xram", "1.0");
  Instance instance(core);
  instance.set({{number(*core, "XRAM_PORT1_ENABLE"), "true"}, {number(*core, "XRAM_REF_CTRL_FREQMHZ"), "two {words}"}});
  instance.set({{number(*core, "XRAM_SIZE_MB"), "2"}}, Origin::preset);
  const Settings settings = settings_of(instance);
  EXPECT_EQ(settings_script(settings, "put"),
            "# settings of xram 1.0\n"
            "put XRAM_SIZE_MB 2 preset\n"
            "put XRAM_REF_CTRL_FREQMHZ two\\ \\{words\\}\n"
            "put XRAM_PORT1_ENABLE 1\n");
  EXPECT_EQ(settings_json(settings), R"({
  "format": 1,
  "core": "xram",
  "version": "1.0",
  "settings": [
    {"parameter": "XRAM_SIZE_MB", "value": "2", "origin": "preset"},
    {"parameter": "XRAM_REF_CTRL_FREQMHZ", "value": "two {words}"},
    {"parameter": "XRAM_PORT1_ENABLE", "value": "1"}
  ]
}
)");
  Instance again(core);
  again.set({{number(*core, "XRAM_ECC_ENABLE"), "0"}});
  make_changes(again, changes_for(again, settings));
  EXPECT_EQ(all_given(again), all_given(instance));
  EXPECT_EQ(all_shown(again), all_shown(instance));
  Settings other = settings;
  other.all.push_back({"XRAM_CLOCK_MHZ", "1"});  // another name of one that is set
  EXPECT_EQ(refusal([&] { changes_for(again, other); }), "the parameter \"XRAM_CLOCK_MHZ\" is set twice");
  other.all.back().parameter = "NONE";
  EXPECT_EQ(refusal([&] { changes_for(again, other); }), "xram 1.0 has no parameter \"NONE\"");
}

}  // namespace
