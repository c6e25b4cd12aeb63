// Registers of cores as data: what the reader refuses, what a configuration makes of them, and what hardware would make
// of the commands.
#include "kdi/cores/Registers.h"

#include <gtest/gtest.h>

#include "kdi/cdo/Cdo.h"
#include "kdi/common/KdiJson.h"
#include "kdi/cores/RegisterMemory.h"
#include "kdi/cores/Store.h"
#include "tests/support/random.h"

namespace {

using namespace kdi::cores;
namespace cdo = kdi::cdo;
using kdi::cores::RegisterFault;
using kdi::cores::RegisterMemory;

constexpr char kCore[] = R"({"format": 1, "core": "made", "version": "1.0", "parameters": [
  {"name": "ON", "type": "truth", "widget": "CHECKBOX", "description": "d", "default": "0"},
  {"name": "RATE", "type": "integer", "widget": "EDIT", "description": "d", "default": "3", "skips": true, "enabled": "ON"},
  {"name": "MHZ", "type": "decimal", "widget": "EDIT", "description": "d", "default": "1.25"},
  {"name": "MODE", "type": "text", "widget": "COMBO", "description": "d", "default": "it's", "values": ["none", "it's", "all"]},
  {"name": "FREE", "type": "text", "widget": "EDIT", "description": "d", "default": ""},
  {"name": "PLACE", "type": "text", "widget": "COMBO", "description": "d", "default": "MIO 0 .. 1", "values": ["MIO 0 .. 1", "MIO 2", "FABRIC"]}
],
"definitions": {"TWICE": "RATE * 2"},
"pads": {"banks": [{"name": "MIO", "pads": [0, 2]}],
  "functions": [{"name": "A", "enabled": "ON", "parameter": "PLACE", "groups": ["MIO 0 .. 1", "MIO 2"], "fabric": "FABRIC"},
                {"name": "B", "enabled": "RATE > 9", "groups": ["MIO 2"]}]}
})";

// A map with `fields` in the register R of the block B, and what stands behind the blocks.
std::string with_fields(std::string const& fields, std::string const& more = "") {
  return R"({"format": 1,
"blocks": [{"name": "B", "base": "0x100", "meaning": "m", "registers": [
{"name": "R", "offset": 4, "meaning": "m", "fields": [)" +
         fields + "]}]}]" + more + "}";
}

std::string field(std::string const& bits, std::string const& rest = "") {
  return R"({"name": "F", "bits": ")" + bits + R"(", "meaning": "m")" + rest + "}";
}

std::shared_ptr<Core const> core() {
  static const auto made = Core::parse(kCore, "made.json");
  return made;
}

std::string refused(std::string const& text) {
  try {
    RegisterMap::parse(*core(), text, "r.json");
  } catch (kdi::JsonError const& error) {
    return error.what();
  }
  return "accepted";
}

std::string step_refused(std::string const& step) {
  return refused(
      with_fields(field("3:0", R"(, "parameter": "RATE")") + R"(, {"name": "G", "bits": "9", "meaning": "m"})",
                  R"(, "sequences": [{"output": "o", "section": "s", "order": 1, "steps": [)" + step + "]}]"));
}

const std::string kAt = "r.json:3: blocks[0].registers[0].";

TEST(RegisterReader, RefusesFieldsThatDoNotFit) {
  EXPECT_EQ(refused(with_fields(field("3:0"))), "accepted");
  EXPECT_EQ(refused(with_fields(field("32"))),
            kAt + "fields[0].bits: expected bits from 31 to 0, such as 17:8 or 3, found the text \"32\"");
  for (const std::string bits : {"", "3:4", "x", "4:", "-1"}) EXPECT_NE(refused(with_fields(field(bits))), "accepted");
  const std::string two = field("7:4") + R"(, {"name": "G", "bits": "4", "meaning": "m"})";
  EXPECT_EQ(refused(with_fields(two)),
            kAt + "fields: expected fields that do not overlap, as F and G do, found a list");
  EXPECT_EQ(refused(with_fields(field("0") + ", " + field("1"))),
            kAt + "fields: expected fields of different names, not two F, found a list");
  EXPECT_EQ(refused(with_fields("")), kAt + "fields: expected one field or more, found a list");
  EXPECT_EQ(refused(with_fields(field("1:0", R"(, "reset": 4)"))),
            kAt + "fields[0].reset: expected a value that the field holds, found the number 4");
  EXPECT_EQ(refused(with_fields(field("1:0", R"(, "reset": "0x1g")"))),
            kAt + "fields[0].reset: expected a number of 32 bits, such as 12 or 0x1f, found the text \"0x1g\"");
  EXPECT_EQ(refused(with_fields(field("0", R"(, "value": "1", "parameter": "ON")"))),
            kAt + "fields[0]: expected one of value, parameter and pad, found an object");
  EXPECT_EQ(refused(with_fields(R"({"name": "F F", "bits": "0", "meaning": "m"})")),
            kAt + "fields[0].name: expected a name of letters, digits and _, found the text \"F F\"");
}

TEST(RegisterReader, RefusesRulesThatMeanNothing) {
  EXPECT_EQ(refused(with_fields(field("0", R"(, "value": "NONE")"))),
            kAt + "fields[0].value: column 1: unknown name NONE");
  EXPECT_EQ(refused(with_fields(field("0", R"(, "value": "MODE")"))),
            kAt + "fields[0].value: expected a rule of type truth or integer, not text, found the text \"MODE\"");
  EXPECT_EQ(refused(with_fields(field("0", R"(, "parameter": "NONE")"))),
            kAt + "fields[0].parameter: expected a parameter of made, which NONE is not, found the text \"NONE\"");
  EXPECT_EQ(
      refused(with_fields(field("0", R"(, "parameter": "FREE")"))),
      kAt + "fields[0].parameter: expected texts beside a text without a list of values, found the text \"FREE\"");
  EXPECT_EQ(refused(with_fields(field("0", R"(, "parameter": "MODE")"))),
            kAt + "fields[0].bits: expected bits enough for all values, found the text \"0\"");
  EXPECT_NE(refused(with_fields(field("0", R"(, "parameter": "MHZ")"))), "accepted") << "without a scale";
  EXPECT_EQ(refused(with_fields(field("0", R"(, "parameter": "ON", "scale": "2")"))),
            kAt + "fields[0].scale: expected a scale of a number, found the text \"2\"");
  EXPECT_EQ(refused(with_fields(field("0", R"(, "scale": "2")"))),
            kAt + "fields[0].scale: expected it beside a parameter alone, found the text \"2\"");
  for (const std::string pad : {"MIO 3", "MIO", "MIOX 1", "MIO x"})
    EXPECT_EQ(refused(with_fields(field("1:0", R"(, "pad": ")" + pad + "\""))),
              kAt + "fields[0].pad: expected a pad of the core, such as MIO 7, found the text \"" + pad + "\"");
  EXPECT_EQ(refused(with_fields(field("0", R"(, "pad": "MIO 1")"))),
            kAt + "fields[0].pad: expected bits for 2 functions, found the text \"MIO 1\"");
}

TEST(RegisterReader, RefusesMoreThanAnyDeviceHas) {
  const std::string many = R"("each": {"n": "{1..60000}"}, "step": 4, "meaning": "m", "fields": [)" + field("0") + "]}";
  EXPECT_NE(refused(R"({"format": 1, "blocks": [{"name": "B", "base": 0, "meaning": "m", "registers": [
    {"name": "A${n}", "offset": 0, )" +
                    many + R"(, {"name": "B${n}", "offset": 400000, )" + many + "]}]}")
                .find("expected at most 100000 registers"),
            std::string::npos);
  const std::string step = R"({"each": {"n": "{1..60000}"}, "delay_us": 1})";
  EXPECT_NE(step_refused(step + ", " + step).find("expected at most 100000 steps"), std::string::npos);
  const auto bare = Core::parse(R"({"format": 1, "core": "bare", "version": "1.0", "parameters": []})", "bare.json");
  EXPECT_THROW(
      {
        try {
          RegisterMap::parse(*bare, with_fields(field("0", R"(, "pad": "MIO 1")")), "r.json");
        } catch (kdi::JsonError const& error) {
          EXPECT_NE(std::string(error.what()).find("expected no pad, since the core has none"), std::string::npos);
          throw;
        }
      },
      kdi::JsonError);
}

std::string block_refused(std::string const& block) {
  return refused(R"({"format": 1, "blocks": [{"name": "A", "base": 0, "meaning": "m"},
)" + block + "]}");
}

TEST(RegisterReader, RefusesPlacesThatAreTaken) {
  EXPECT_EQ(block_refused(R"({"name": "A", "base": 16, "meaning": "m"})"),
            "r.json:2: blocks[1].base: expected a base for each block once, found the number 16");
  EXPECT_NE(block_refused(R"({"name": "C"})").find("meaning"), std::string::npos);
  EXPECT_NE(block_refused(R"({"name": "C${n}", "each": {"n": "{1..40000}"}, "meaning": "m"})")
                .find("expected a base, since there is no room left"),
            std::string::npos);
  EXPECT_EQ(block_refused(R"({"name": "C", "base": 6, "meaning": "m"})"),
            "r.json:2: blocks[1].base: expected multiples of 4 below 2^32, found the number 6");
  EXPECT_EQ(block_refused(R"({"name": "C${n}", "each": {"n": "{1..2}"}, "base": 0, "meaning": "m"})"),
            "r.json:2: blocks[1].base: expected a step beside each, found the number 0");
  const std::string reg = R"("meaning": "m", "fields": [{"name": "F", "bits": "0", "meaning": "m"}]})";
  EXPECT_EQ(block_refused(R"({"name": "A", "registers": [{"name": "R", "offset": 0, )" + reg +
                          R"(, {"name": "R", "offset": 4, )" + reg + "]}"),
            "r.json:2: blocks[1].registers[1].name: expected a name that no other register of the block has, found the "
            "text \"R\"");
  EXPECT_EQ(block_refused(R"({"name": "A", "registers": [{"name": "R", "offset": 0, )" + reg +
                          R"(, {"name": "S", "offset": 0, )" + reg + "]}"),
            "r.json:2: blocks[1].registers[1].offset: expected an address that A.R does not have, found the number 0");
  EXPECT_EQ(
      block_refused(R"({"name": "C", "base": "0xfffffffc", "meaning": "m", "registers": [{"name": "R", "offset": 4, )" +
                    reg + "]}"),
      "r.json:2: blocks[1].registers[0].offset: expected an address below 2^32, found the number 4");
}

TEST(RegisterReader, RefusesStepsThatMeanNothing) {
  const std::string at = "r.json:4: sequences[0].steps[0]";
  EXPECT_EQ(step_refused(R"({"set": "B.R"})").substr(0, 8), "accepted");
  const std::string found = ", found an object";
  EXPECT_NE(step_refused("{}").find("expected one of write, set, poll, delay_us and block" + found), std::string::npos);
  EXPECT_NE(step_refused(R"({"set": "B.X"})").find("expected a register, such as CRL.UART0_CLOCK, which B.X is not"),
            std::string::npos);
  EXPECT_NE(step_refused(R"({"set": "B.R", "fields": ["X"]})").find("expected a field of B.R, which X is not"),
            std::string::npos);
  EXPECT_NE(step_refused(R"({"set": "B.R", "fields": []})").find("expected one field or more"), std::string::npos);
  EXPECT_NE(step_refused(R"({"set": "B.R", "fields": {"F": "MODE"}})").find("type truth or integer, not text"),
            std::string::npos);
  EXPECT_NE(step_refused(R"({"write": "B.R", "fields": ["F"]})").find("expected fields beside set and poll alone"),
            std::string::npos);
  EXPECT_NE(step_refused(R"({"poll": "B.R", "fields": {"F": "1"}})").find("timeout_us"), std::string::npos);
  EXPECT_NE(step_refused(R"({"block": "B.R", "count": 2})").find("expected registers beside one another"),
            std::string::npos);
  EXPECT_NE(step_refused(R"({"delay_us": 60000001})"), "accepted");
  EXPECT_NE(step_refused(R"({"set": "B.R", "when": "RATE"})"), "accepted");
  EXPECT_NE(refused(with_fields(field("0"), R"(, "sequences": [{"output": "o", "section": "s", "order": 1,
    "steps": [{"set": "B.R"}]}])"))
                .find("expected fields, since no rule sets one of B.R"),
            std::string::npos);
  EXPECT_NE(
      refused(with_fields(field("0"), R"(, "sequences": [{"output": "o", "section": "", "order": 1, "steps": []}])"))
          .find("expected a text of which one cannot say: a section's name has 1 to 200 characters"),
      std::string::npos);
  EXPECT_NE(refused(with_fields(field("0"), R"(, "locks": [{"block": "X", "register": "B.R", "key": 1}])"))
                .find("expected a block, which X is not"),
            std::string::npos);
  EXPECT_NE(refused(R"({"format": 1, "places": {"PS": null}})")
                .find("expected what stands for the place in what names this file"),
            std::string::npos);
}

// --- what a configuration makes of them

class Configured {
 public:
  explicit Configured(std::string const& registers)
      : instance(core()), map(RegisterMap::parse(*core(), registers, "r.json")) {}
  void set(std::string const& name, std::string const& value) { instance.set({{*core()->find(name), value}}); }
  std::uint32_t word() const { return RegisterImage(*map, instance).word(0); }
  std::string fault() const {
    try {
      RegisterImage image(*map, instance);
      image.commands(map->outputs());
    } catch (RegisterError const& error) {
      return error.what();
    }
    return "none";
  }
  Instance instance;
  std::shared_ptr<RegisterMap const> map;
};

TEST(RegisterImage, HoldsParametersAsTheirTypesSay) {
  Configured made(with_fields(R"({"name": "ON", "bits": "0", "meaning": "m", "parameter": "ON"},
    {"name": "RATE", "bits": "7:4", "reset": 5, "meaning": "m", "parameter": "RATE"},
    {"name": "MHZ", "bits": "15:8", "meaning": "m", "parameter": "MHZ", "scale": "10"},
    {"name": "MODE", "bits": "17:16", "meaning": "m", "parameter": "MODE"},
    {"name": "SUM", "bits": "25:20", "meaning": "m", "value": "TWICE + 1"},
    {"name": "LEFT", "bits": "31:28", "reset": 9, "meaning": "m"})"));
  EXPECT_EQ(made.word(), 0x90710D50U) << "what is disabled, and what nothing sets, is as after a reset";
  made.set("ON", "1");
  EXPECT_EQ(made.word(), 0x90710D31U);
  made.set("MODE", "all");
  made.set("MHZ", "2.06");
  EXPECT_EQ(made.word(), 0x90721531U);
  made.set("RATE", "16");
  EXPECT_EQ(made.fault(),
            "B.R.RATE: 16 does not fit into 4 bits (the rule at r.json:4: blocks[0].registers[0].fields[1].parameter)");
  std::vector<std::string> names;
  for (const std::uint32_t number : made.map->registers()[0].fields[4].parameters)
    names.push_back(core()->parameters()[number].name);
  EXPECT_EQ(names, std::vector<std::string>{"RATE"}) << "definitions are what they are made of";
}

TEST(RegisterImage, TellsRulesThatHaveNoValue) {
  Configured made(with_fields(field("3:0", R"(, "value": "9 div (RATE - 3) + 0")")));
  EXPECT_EQ(made.fault(), "B.R.F: the rule at r.json:3: blocks[0].registers[0].fields[0].value has no value");
  Configured other(with_fields(field("0"), R"(, "sequences": [{"output": "o", "section": "s", "order": 1,
    "when": "9 div (RATE - 3) > 1", "steps": [{"write": "B.R"}]}])"));
  EXPECT_EQ(other.fault(), "the rule at r.json:4: sequences[0].when has no value");
}

TEST(RegisterImage, HoldsWhoSitsOnAPad) {
  Configured made(R"({"format": 1, "blocks": [{"name": "B", "base": 0, "meaning": "m", "registers": [
    {"each": {"n": "{1..2}"}, "name": "P${n}", "offset": 0, "step": 4, "meaning": "m", "fields": [
      {"name": "F", "bits": "1:0", "meaning": "m", "pad": "MIO ${n}"}]}]}]})");
  ASSERT_EQ(made.map->registers()[0].address, 4U) << "moved by the number";
  const auto words = [&] {
    const RegisterImage image(*made.map, made.instance);
    return std::pair(image.word(0), image.word(1));
  };
  EXPECT_EQ(words(), std::pair(0U, 0U));
  made.set("ON", "1");
  EXPECT_EQ(words(), std::pair(1U, 0U));
  made.set("PLACE", "MIO 2");
  EXPECT_EQ(words(), std::pair(0U, 1U));
  made.set("RATE", "10");
  EXPECT_EQ(made.fault(), "two functions use MIO 2");
  made.set("PLACE", "FABRIC");
  EXPECT_EQ(words(), std::pair(0U, 2U));
}

TEST(RegisterImage, MakesCommandsOfSteps) {
  Configured made(R"({"format": 1, "blocks": [{"name": "B", "base": 0, "meaning": "m", "registers": [
    {"each": {"n": "{0..1}"}, "name": "R${n}", "offset": 0, "step": 4, "meaning": "m", "fields": [
      {"name": "RATE", "bits": "7:4", "reset": 3, "meaning": "m", "parameter": "RATE"},
      {"name": "GO", "bits": "0", "reset": 1, "meaning": "m"}]},
    {"name": "ALL", "offset": 8, "meaning": "m", "fields": [{"name": "KEY", "bits": "31:0", "meaning": "m"}]}]}],
   "sequences": [
    {"output": "x", "section": "late", "order": 2, "when": "ON", "steps": [{"write": "B.R0"}]},
    {"output": "x", "section": "early", "order": 1, "steps": [
      {"set": "B.ALL", "fields": {"KEY": "4294967295"}},
      {"set": "B.R0", "fields": {"GO": "0"}}, {"set": "B.R0"}, {"set": "B.R0", "unless_reset": true},
      {"poll": "B.R1", "fields": {"GO": "ON"}, "timeout_us": 7}, {"delay_us": 3, "when": "not ON"},
      {"block": "B.R0", "count": 2}]},
    {"output": "a", "section": "nothing is left of", "order": 1, "steps": [{"set": "B.R0", "unless_reset": true}]}]})");
  EXPECT_EQ(made.map->outputs(), (std::vector<std::string>{"a", "x"}));
  const auto text = [&](std::string const& output) {
    return cdo::to_text(plain(RegisterImage(*made.map, made.instance).commands(output)));
  };
  EXPECT_EQ(text("a"), "cdo 1\nend 0\n");
  EXPECT_EQ(text("x"),
            "cdo 1\nsection \"early\"\nwrite 0x00000008 0xffffffff\nmask_write 0x00000000 0x00000001 0x00000000\n"
            "mask_write 0x00000000 0x000000f0 0x00000030\npoll 0x00000004 0x00000001 0x00000000 7\ndelay 3\n"
            "block_write 0x00000000 0x00000031 0x00000031\nend 7\n");
  made.set("ON", "1");
  made.set("RATE", "4");
  EXPECT_EQ(text("x"),
            "cdo 1\nsection \"early\"\nwrite 0x00000008 0xffffffff\nmask_write 0x00000000 0x00000001 0x00000000\n"
            "mask_write 0x00000000 0x000000f0 0x00000040\nmask_write 0x00000000 0x000000f0 0x00000040\n"
            "poll 0x00000004 0x00000001 0x00000001 7\nblock_write 0x00000000 0x00000041 0x00000041\n"
            "section \"late\"\nwrite 0x00000000 0x00000041\nend 9\n");
  const auto commands = RegisterImage(*made.map, made.instance).commands("x");
  EXPECT_EQ(words_of(*made.map, commands[1]), "B.ALL KEY=4294967295");
  EXPECT_EQ(words_of(*made.map, commands[6]), "B.R0 GO=1 RATE=4 B.R1 GO=1 RATE=4");
}

// --- what hardware makes of the commands

struct Shipped {
  explicit Shipped(std::string const& name = "pspmc", std::string const& version = "1.0")
      : core(core_description(name, version)), instance(core), map(RegisterMap::of(core)) {}
  void set(std::string const& name, std::string const& value) { instance.set({{*core->find(name), value}}); }
  std::uint64_t number(std::string const& name) const { return std::stoull(instance.value(*core->find(name))); }
  cdo::Commands commands() const { return plain(RegisterImage(*map, instance).commands(map->outputs())); }

  std::shared_ptr<Core const> core;
  Instance instance;
  std::shared_ptr<RegisterMap const> map;
};

TEST(Registers, OfAProcessingSystemComeToHoldItsConfiguration) {
  Shipped ps;
  ps.set("PS_UART0_PERIPHERAL_ENABLE", "1");
  ps.set("PS_UART0_PERIPHERAL_IO", "PMC_MIO 16 .. 17");
  ps.set("PS_UART0_BAUD_RATE", "9600");
  RegisterMemory memory(*ps.map);
  memory.run(ps.commands());
  EXPECT_EQ(memory.field("UART0.CONTROL", "ENABLE"), 1U);
  EXPECT_EQ(memory.field("UART1.CONTROL", "ENABLE"), 0U);
  EXPECT_EQ(memory.field("CRL.RESET_UART0", "HELD"), 0U);
  EXPECT_EQ(memory.field("CRL.RESET_UART1", "HELD"), 1U);
  EXPECT_EQ(memory.field("CRL.PS_CRL_UART0_REF_CTRL", "ACTIVE"), 1U);
  EXPECT_EQ(memory.field("CRL.PS_CRL_UART0_REF_CTRL", "DIVIDER"), ps.number("PS_CRL_UART0_REF_CTRL_DIVISOR0"));
  const std::uint32_t on_pad = memory.field("PMC_IOP.PAD_16", "FUNCTION");
  EXPECT_EQ(on_pad, ps.map->pad_functions().at("UART 0"));
  EXPECT_EQ(memory.field("PMC_IOP.PAD_17", "FUNCTION"), on_pad);
  EXPECT_EQ(memory.field("PMC_IOP.PAD_18", "FUNCTION"), 0U);
  EXPECT_EQ(memory.field("PPLL.DIVIDERS", "FEEDBACK"), ps.number("PMC_CRP_PPLL_CTRL_FBDIV"));
  EXPECT_EQ(memory.field("PPLL.STATUS", "LOCKED"), 1U);
  EXPECT_EQ(memory.field("PPLL.CONTROL", "BYPASS"), 0U);
  EXPECT_EQ(memory.field("CRL.LOCK", "KEY"), 0U) << "closed again";
  const double ticks = memory.field("UART0.BAUD", "DIVIDER") / 64.0;
  const double mhz = std::stod(ps.instance.value(*ps.core->find("PS_CRL_UART0_REF_CTRL_ACT_FREQMHZ")));
  EXPECT_NEAR(mhz * 1e6 / 16 / ticks, 9600, 5);
}

// What the memory is after the commands but the one left out; a fault as its text.
std::string after(Shipped const& ps, cdo::Commands const& commands, std::vector<std::uint32_t>& words) {
  RegisterMemory memory(*ps.map);
  try {
    memory.run(commands);
  } catch (RegisterFault const& fault) {
    return fault.what();
  }
  words = memory.words();
  return "";
}

TEST(Registers, NeedEachStepOfASequenceInItsOrder) {
  Shipped ps;
  ps.set("PS_UART0_PERIPHERAL_ENABLE", "1");
  const cdo::Commands commands = ps.commands();
  std::vector<std::uint32_t> right, other;
  ASSERT_EQ(after(ps, commands, right), "");
  int pll = -1;
  for (std::size_t i = 0; i < commands.size(); ++i) {
    if (auto const* const section = std::get_if<cdo::Section>(&commands[i])) {
      pll = section->name == "PLL RPLL" ? static_cast<int>(i) : -1;
      continue;
    }
    if (pll < 0) continue;
    const std::size_t step = i - static_cast<std::size_t>(pll);
    // After a reset it is bypassed and in reset already: the first two steps are for a PLL that runs.
    if (step > 2 && step != 7) {
      cdo::Commands without = commands;
      without.erase(without.begin() + static_cast<std::ptrdiff_t>(i));
      EXPECT_TRUE(!after(ps, without, other).empty() || other != right) << "without step " << step;
    }
    if (step > 2 && step < 6) {
      cdo::Commands swapped = commands;
      std::swap(swapped[i], swapped[i + 1]);
      EXPECT_TRUE(!after(ps, swapped, other).empty() || other != right) << "steps swapped from " << step;
    }
  }
}

TEST(Registers, OfLockedBlocksStayAsTheyAre) {
  Shipped ps;
  RegisterMemory memory(*ps.map);
  const std::uint32_t address = ps.map->registers()[*ps.map->find("CRL.RESET_UART0")].address;
  memory.write(address, 0);
  EXPECT_EQ(memory.read(address), 1U);
  memory.write(ps.map->registers()[*ps.map->find("CRL.LOCK")].address, ps.map->locks()[1].key);
  memory.write(address, 0);
  EXPECT_EQ(memory.read(address), 0U);
  EXPECT_THROW(memory.read(0), RegisterFault);
}

TEST(Registers, AreReadForEveryCore) {
  for (std::string const& name : core_names())
    for (std::string const& version : core_versions(name)) {
      SCOPED_TRACE(name + " " + version);
      Shipped shipped(name, version);
      RegisterMemory memory(*shipped.map);
      const cdo::Commands commands = shipped.commands();
      memory.run(commands);
      EXPECT_EQ(cdo::from_text(cdo::to_text(commands), "text"), commands);
      EXPECT_EQ(RegisterMap::of(shipped.core), shipped.map) << "read once";
    }
}

}  // namespace
