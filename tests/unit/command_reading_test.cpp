// What commands say of registers: told by name, compared, and carried out over registers that behave.
#include <gtest/gtest.h>

#include "kdi/cdo/Cdo.h"
#include "kdi/cores/CommandReading.h"
#include "kdi/cores/RegisterMemory.h"
#include "kdi/cores/Store.h"
#include "tests/support/random.h"
#include "tests/support/sanitized.h"

namespace {

using namespace kdi::cores;
using namespace kdi::cdo;
using kdi::cores::RegisterMemory;
using Texts = std::vector<std::string>;

constexpr char kCore[] = R"({"format": 1, "core": "made", "version": "1.0", "parameters": [
  {"name": "ON", "type": "truth", "widget": "CHECKBOX", "description": "d", "default": "1"},
  {"name": "RATE", "type": "integer", "widget": "EDIT", "description": "d", "default": "3"},
  {"name": "PLACE", "type": "text", "widget": "COMBO", "description": "d", "default": "MIO 0", "values": ["MIO 0", "FABRIC"]}],
"pads": {"banks": [{"name": "MIO", "pads": [0, 1]}],
  "functions": [{"name": "UART", "enabled": "ON", "parameter": "PLACE", "groups": ["MIO 0"], "fabric": "FABRIC"}]}})";

constexpr char kRegisters[] = R"({"format": 1, "blocks": [
  {"name": "U", "base": "0x100", "meaning": "A unit.", "registers": [
    {"name": "LOCK", "offset": 0, "meaning": "Opens it.", "fields": [{"name": "KEY", "bits": "31:0", "meaning": "The key."}]},
    {"name": "CONTROL", "offset": 4, "meaning": "What it does.", "fields": [
      {"name": "ON", "bits": "0", "meaning": "It works.", "parameter": "ON"},
      {"name": "RATE", "bits": "7:4", "reset": 2, "meaning": "How fast.", "value": "if ON then RATE else 0"}]},
    {"name": "PAD", "offset": 8, "meaning": "A pad.", "fields": [{"name": "FUNCTION", "bits": "1:0", "meaning": "Who sits there.", "pad": "MIO 0"}]},
    {"name": "STATUS", "offset": 12, "meaning": "How it is.", "fields": [{"name": "READY", "bits": "0", "meaning": "Ready."}]},
    {"name": "PLL", "offset": 16, "meaning": "Its clock.", "fields": [
      {"name": "BYPASS", "bits": "0", "meaning": "b"}, {"name": "RESET", "bits": "1", "reset": 1, "meaning": "r"}]},
    {"name": "DIVIDER", "offset": 20, "meaning": "How fast its clock is.", "fields": [{"name": "D", "bits": "3:0", "meaning": "d"}]}]}],
"locks": [{"block": "U", "register": "U.LOCK", "key": 7}],
"plls": [{"control": "U.PLL", "bypass": "BYPASS", "reset": "RESET", "status": "U.STATUS", "locked": "READY", "settings": ["U.DIVIDER"]}]})";

struct Made {
  Made() {
    subject.core = Core::parse(kCore, "made.json");
    subject.map = RegisterMap::parse(*subject.core, kRegisters, "r.json");
  }
  CommandSubject subject;
};

Commands starting() {
  return {Section{"start"},         Write{0x100, 7},          MaskedWrite{0x104, 0xF1, 0x31}, Write{0x108, 1},
          MaskedWrite{0x110, 1, 1}, MaskedWrite{0x110, 2, 0}, Poll{0x10C, 1, 1, 100},         Delay{3},
          Write{0x100, 0}};
}

Texts texts(Record const& list, char const* key) {
  Texts all;
  for (Record const& one : list.items()) all.push_back(one.find(key)->text());
  return all;
}

TEST(CommandReading, TellsRegistersFieldsAndWhatDecidesThem) {
  const Made made;
  EXPECT_EQ(disassembled(made.subject, {Section{"s"}, MaskedWrite{0x104, 0xF0, 0x30}, Write{0x108, 1}, Delay{2},
                                        BlockWrite{0x1F8, {1, 2}}}),
            "cdo 1\nsection \"s\"\nmask_write 0x00000104 0x000000f0 0x00000030\n#   U.CONTROL: What it does.\n"
            "#     7:4 RATE = 3; How fast. (ON, RATE)\nwrite 0x00000108 0x00000001\n#   U.PAD: A pad.\n"
            "#     1:0 FUNCTION = 1, UART; Who sits there. (ON, PLACE)\ndelay 2\n"
            "block_write 0x000001f8 0x00000001 0x00000002\n#   no register of made\n#   no register of made\nend 5\n");
  const Record records = command_records(made.subject, {MaskedWrite{0x104, 0xF0, 0x30}, Delay{2}});
  ASSERT_EQ(records.items().size(), 2U);
  EXPECT_EQ(texts(records, "command"), (Texts{"mask_write", "delay"}));
  EXPECT_EQ(records.items()[0].find("registers")->json(),
            Record::list()
                .add(Record::dictionary()
                         .set("register", "U.CONTROL")
                         .set("address", "0x00000104")
                         .set("fields", Record::list().add(Record::dictionary()
                                                               .set("field", "RATE")
                                                               .set("bits", "7:4")
                                                               .set("value", "3")
                                                               .set("parameters", Record::list({"ON", "RATE"})))))
                .json());
  EXPECT_EQ(disassembled({}, {Write{0x104, 1}}), "cdo 1\nwrite 0x00000104 0x00000001\nend 1\n") << "without a core";
}

TEST(CommandReading, TellsAllRegistersWithWhatAConfigurationHas) {
  const Made made;
  const Instance instance(made.subject.core);
  const RegisterImage image(*made.subject.map, instance);
  const Record with = register_records(made.subject, &image), without = register_records(made.subject, nullptr);
  EXPECT_EQ(texts(with, "register"), (Texts{"U.LOCK", "U.CONTROL", "U.PAD", "U.STATUS", "U.PLL", "U.DIVIDER"}));
  EXPECT_EQ(texts(with, "value"),
            (Texts{"0x00000000", "0x00000031", "0x00000001", "0x00000000", "0x00000002", "0x00000000"}));
  EXPECT_EQ(texts(with, "reset")[1], "0x00000020");
  EXPECT_EQ(texts(*with.items()[2].find("fields"), "function"), Texts{"UART"});
  EXPECT_EQ(texts(*with.items()[1].find("fields"), "rule")[1], "if ON then RATE else 0");
  EXPECT_EQ(without.items()[1].find("value"), nullptr);
  EXPECT_TRUE(register_records({}, nullptr).items().empty());
}

TEST(CommandReading, ComparesWhatIsLeftAndTheWayThere) {
  const Made made;
  const Record same = compare_commands(made.subject, starting(), starting());
  EXPECT_TRUE(same.find("registers")->items().empty() && same.find("commands")->items().empty());

  Commands other = starting();
  other[2] = MaskedWrite{0x104, 0x01, 0x01};
  std::swap(other[3], other[5]);
  const Record record = compare_commands(made.subject, starting(), other);
  ASSERT_EQ(texts(*record.find("registers"), "register"), Texts{"U.CONTROL"}) << "RATE stays as after a reset";
  Record const& reg = record.find("registers")->items()[0];
  EXPECT_EQ(reg.find("first")->text() + " " + reg.find("second")->text(), "0x00000031 0x00000021");
  EXPECT_EQ(texts(*reg.find("fields"), "field"), Texts{"RATE"});
  EXPECT_EQ(texts(*record.find("commands"), "line"),
            (Texts{line_of(starting()[2]), line_of(starting()[3]), line_of(starting()[4]), line_of(other[2])}));
  EXPECT_EQ(texts(*record.find("commands"), "first"), (Texts{"2", "3", "4", ""}));
  EXPECT_EQ(texts(*record.find("commands"), "second"), (Texts{"", "5", "4", "2"})) << "two moved, one has another mask";

  const Record bare = compare_commands({}, {MaskedWrite{8, 3, 1}}, {Write{8, 1}, Write{12, 0}});
  EXPECT_EQ(texts(*bare.find("registers"), "first"), (Texts{"0x00000001/0x00000003", ""}));
  EXPECT_EQ(texts(*bare.find("registers"), "second"), (Texts{"0x00000001", "0x00000000"}));
}

// Whether the lists are told to be the same, and what is left, is found out otherwise: by carrying both out.
TEST(CommandReading, ComparesAsCarryingOutDoes) {
  const Made made;
  test_support::Random random(test_support::fresh_seed());
  const auto drawn = [&] {
    Commands all;
    for (unsigned i = random.below(6); i-- > 0;) {
      const std::uint32_t address = 0x104 + 4 * random.below(2), mask = random.below(4);
      if (random.below(2) != 0)
        all.push_back(Write{address, random.below(4)});
      else
        all.push_back(MaskedWrite{address, mask, mask & random.below(4)});
    }
    return all;
  };
  for (int round = 0; round < 2000; ++round) {
    const Commands first = drawn(), second = drawn();
    const Record record = compare_commands(made.subject, first, second);
    EXPECT_EQ(record.find("commands")->items().empty(), first == second);
    RegisterMemory ours(*made.subject.map), theirs(*made.subject.map);
    for (RegisterMemory* const memory : {&ours, &theirs}) memory->write(0x100, 7);
    ours.run(first);
    theirs.run(second);
    std::size_t differing = 0;
    for (std::size_t i = 0; i < ours.words().size(); ++i) differing += ours.words()[i] != theirs.words()[i] ? 1U : 0U;
    ASSERT_EQ(record.find("registers")->items().size(), differing) << to_text(first) << to_text(second);
  }
}

TEST(CommandReading, ComparesCommandsOfEachKind) {
  const Made made;
  const Commands first{Section{"a"}, MaskedWrite{0x104, 3, 1}, Poll{0x10C, 1, 0, 100}, Delay{3},
                       BlockWrite{0x104, {1, 0}}};
  const Commands second{Section{"b"}, MaskedWrite{0x104, 2, 0}, Poll{0x10C, 1, 0, 200}, Delay{4},
                        BlockWrite{0x104, {1, 1}}};
  for (std::size_t i = 0; i < first.size(); ++i) {
    Commands other = first;
    other[i] = second[i];
    const Record record = compare_commands({}, first, other);
    EXPECT_EQ(texts(*record.find("commands"), "line"), (Texts{line_of(first[i]), line_of(second[i])}));
    EXPECT_TRUE(record.find("faults")->items().empty()) << "which are those of a core's registers";
  }
}

TEST(CommandReading, ComparesWhatHardwareWouldNotDo) {
  const Made made;
  Commands locked = starting(), early = starting();
  locked.erase(locked.begin() + 1);
  std::swap(early[5], early[6]);  // polls before the PLL is let go
  const auto told = [&](Commands const& first, Commands const& second) {
    Texts all;
    const Record record = compare_commands(made.subject, first, second);
    for (Record const& fault : record.find("faults")->items())
      all.push_back(fault.find("list")->text() + " " + fault.find("command")->text() + ": " +
                    fault.find("fault")->text());
    return all;
  };
  EXPECT_EQ(told(starting(), starting()), Texts{});
  EXPECT_EQ(told(locked, locked), Texts{}) << "both";
  EXPECT_EQ(told(starting(), early), Texts{"second 5: U.STATUS never came to be 00000001"});
  EXPECT_EQ(told(locked, starting()).front(), "first 1: U.CONTROL ignores it: its block is locked");
  EXPECT_EQ(told({Write{0x100, 7}, Write{0x10C, 1}}, {Write{0x100, 7}, Write{0x10C, 1}, Write{0x10C, 1}}),
            Texts{"second 2: U.STATUS ignores it: it is a status"})
      << "as often as one has it more";
}

TEST(CommandReading, OfSeveralCoresEachHasItsOwn) {
  const Made made, other;
  const std::vector<CommandsOf> two{{made.subject, nullptr, "one"}, {other.subject, nullptr, "two"}};
  Commands both{Section{"one"}};
  const Commands each = starting();
  both.insert(both.end(), each.begin(), each.end());
  both.insert(both.end(), {Section{"two"}, Write{0x100, 7}, Write{0x114, 3}});
  both.insert(both.end(), each.begin(), each.end());
  EXPECT_EQ(texts(check_commands(two, both), "fault"), Texts{}) << "equal addresses in different sections";
  EXPECT_EQ(texts(check_commands(made.subject, both), "fault"), Texts{"U.DIVIDER changes while its PLL runs"});
  EXPECT_EQ(texts(check_commands(two, {Write{0x300, 1}}), "fault"), Texts{"no register at 0x00000300"});
  const Instance instance(made.subject.core);
  const RegisterImage image(*made.subject.map, instance);
  const std::vector<CommandsOf> configured{{made.subject, nullptr, "one"}, {other.subject, &image, "two"}};
  both[both.size() - 7] = MaskedWrite{0x104, 0xF1, 0x41};
  EXPECT_EQ(texts(check_commands(configured, both), "fault"),
            Texts{"U.CONTROL.RATE is left at 4, and the configuration has 3"});
  EXPECT_TRUE(check_commands(std::vector<CommandsOf>(), both).items().empty());
}

TEST(CommandReading, LongListsAreComparedSoon) {
  Commands first, second;
  for (std::uint32_t i = 0; i < (test_support::kSanitized ? 20'000U : 200'000U); ++i) {
    first.push_back(Write{4 * (i % 1000), i % 7});
    second.push_back(Write{4 * ((i + 1) % 1000), (i + 1) % 7});
  }
  const Record record = compare_commands({}, first, second);
  EXPECT_LE(record.find("commands")->items().size(), 40U) << "one at each end, and the first of equal ones";
}

Texts faults(Commands const& commands, RegisterImage const* image = nullptr) {
  static const Made made;
  return texts(check_commands(made.subject, commands, image), "fault");
}

TEST(CommandReading, TellsWhatHardwareWouldNotDo) {
  EXPECT_EQ(faults(starting()), Texts{});
  Commands locked = starting();
  locked.erase(locked.begin() + 1);
  EXPECT_EQ(faults(locked).front(), "U.CONTROL ignores it: its block is locked");
  EXPECT_EQ(faults(locked).back(), "U.STATUS never came to be 00000001") << "the PLL was not let go";
  EXPECT_EQ(faults({Write{0x100, 7}, Write{0x10C, 1}}), Texts{"U.STATUS ignores it: it is a status"});
  EXPECT_EQ(faults({Write{0x100, 7}, Write{0x104, 0x131}, MaskedWrite{0x104, 0x300, 0}}),
            (Texts{"no field of U.CONTROL has the bits 0x00000100", "no field of U.CONTROL has the bits 0x00000300"}));
  Commands stopped = starting();
  stopped.insert(stopped.end() - 1, {MaskedWrite{0x110, 1, 0}, MaskedWrite{0x110, 2, 2}});
  EXPECT_EQ(faults(stopped), Texts{"U.PLL stops a PLL that is used"});
  Commands changed = starting();
  changed.insert(changed.end() - 1, Write{0x114, 3});
  EXPECT_EQ(faults(changed), Texts{"U.DIVIDER changes while its PLL runs"});
  EXPECT_EQ(faults({Write{0x200, 1}, Write{0x204, 1}}),
            (Texts{"no register at 0x00000200", "no register at 0x00000204"}));
  EXPECT_EQ(faults({Poll{0x200, 1, 1, 5}, Write{0x204, 1}}), Texts{"no register at 0x00000200"})
      << "what follows a poll that never comes true";
  EXPECT_EQ(faults({Poll{0x10C, 1, 1, kLongestTime}, Write{0x204, 1}}), Texts{"U.STATUS never came to be 00000001"});
}

TEST(CommandReading, TellsWhatDoesNotComeToBeAsConfigured) {
  const Made made;
  Instance instance(made.subject.core);
  const auto of = [&] {
    const RegisterImage image(*made.subject.map, instance);
    return texts(check_commands(made.subject, starting(), &image), "fault");
  };
  EXPECT_EQ(of(), Texts{});
  instance.set({{*made.subject.core->find("RATE"), "5"}});
  EXPECT_EQ(of(), Texts{"U.CONTROL.RATE is left at 3, and the configuration has 5"});
}

// Each core's own commands, as it is by default and with much of it switched on.
TEST(CommandReading, FindsNothingWrongWithShippedCores) {
  std::size_t commands = 0;
  for (char const* const name : {"pspmc", "psxl", "psu", "cpm5"}) {
    const auto core = core_description(name, core_versions(name).back());
    const CommandSubject subject(core);
    Instance instance(core);
    for (int round = 0; round < 2; ++round) {
      const RegisterImage image(*subject.map, instance);
      const Commands all = plain(image.commands(subject.map->outputs()));
      EXPECT_EQ(check_commands(subject, all, &image).json(), "[]\n") << name;
      EXPECT_EQ(from_text(disassembled(subject, all), "text"), all);
      EXPECT_EQ(command_records(subject, all).items().size(), all.size());
      commands += all.size();
      std::vector<std::pair<std::uint32_t, std::string>> changes;
      for (std::uint32_t i = 0; i < core->parameters().size(); ++i)
        if (core->parameters()[i].name.find("UART0_PERIPHERAL_ENABLE") != std::string::npos)
          changes.emplace_back(i, "1");
      instance.set(changes);
    }
  }
  EXPECT_GT(commands, 300U);
}

}  // namespace
