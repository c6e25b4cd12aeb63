// The files that boot loaders of the earlier processing systems start with: both programs are run over registers that
// behave, and what they leave is read back by a reader of its own, which knows the map of registers and no rule.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <tcl.h>

#include <cmath>
#include <memory>
#include <optional>
#include <regex>
#include <set>

#include "kdi/common/KdiText.h"
#include "kdi/cores/PadSection.h"
#include "kdi/cores/RegisterMemory.h"
#include "kdi/cores/Registers.h"
#include "kdi/cores/Store.h"
#include "kdi/ippcw/PSU_Interface.h"
#include "tests/support/golden.h"
#include "tests/support/program.h"
#include "tests/support/random.h"
#include "tests/support/scratch.h"

namespace {

using kdi::cores::RegisterFault;
using kdi::cores::RegisterMap;
using kdi::cores::RegisterMemory;
using test_support::Random;

// The memory at which the compiled programs are at work. What it says of a wrong access is told afterwards, since C
// lets no exception pass.
RegisterMemory* at_work = nullptr;
std::string fault;

std::uint32_t read_word(std::uint32_t address) {
  try {
    return at_work->read(address);
  } catch (RegisterFault const& error) {
    fault = error.what();
    return 0;
  }
}
void write_word(std::uint32_t address, std::uint32_t value) {
  try {
    at_work->write(address, value);
  } catch (RegisterFault const& error) {
    fault = error.what();
  }
}

}  // namespace

extern "C" {
[[gnu::visibility("default")]] std::uint32_t ps7_init_read(std::uint32_t address) { return read_word(address); }
[[gnu::visibility("default")]] void ps7_init_write(std::uint32_t address, std::uint32_t value) {
  write_word(address, value);
}
[[gnu::visibility("default")]] void ps7_init_wait_us(std::uint32_t) {}
[[gnu::visibility("default")]] std::uint32_t psu_init_read(std::uint32_t address) { return read_word(address); }
[[gnu::visibility("default")]] void psu_init_write(std::uint32_t address, std::uint32_t value) {
  write_word(address, value);
}
[[gnu::visibility("default")]] void psu_init_wait_us(std::uint32_t) {}
}

namespace {

struct System {
  std::string name, version, part;
};
const System kPs7{"ps7", "1.4", "zrv7030-c484-1-c"}, kPsu{"psu", "1.0", "zrv9010-f900-2-i"};
void PrintTo(System const& system, std::ostream* out) { *out << system.name; }

// A configured core and its files.
class Configured {
 public:
  explicit Configured(System const& system)
      : system_(system),
        core_(kdi::cores::core_description(system.name, system.version)),
        map_(RegisterMap::of(core_)) {
    StrVec errors;
    instance_.reset(processing_system::PSU_Interface::createInstanceNonStatic(
        {{"ps_core_name", system.name}, {"part", system.part}, {"instance_name", "u"}}, errors));
    EXPECT_EQ(errors, StrVec());
  }

  RegisterMap const& map() const { return *map_; }
  kdi::cores::Core const& core() const { return *core_; }
  std::string name(std::string const& behind) const { return kdi::text::uppered(system_.name) + "_" + behind; }

  /// What is wrong, by parameter.
  ParamMap give(ParamMap const& params) {
    ParamMap messages;
    instance_->getRanges(params, shown_, messages, 10);
    return messages;
  }
  std::string value(std::string const& behind) const {
    const auto found = shown_.find(name(behind));
    return found == shown_.end() || found->second[0].empty() ? std::string() : found->second[0][0];
  }
  bool is_on(std::string const& behind) const { return value(behind) == "1"; }
  StrVec range(std::string const& behind) const { return shown_.at(name(behind))[1]; }

  using Generate = void (processing_system::PSU_Interface::*)(ParamMap const&, std::string&, StrVec&);
  std::string text(Generate operation) {
    std::string text;
    StrVec errors;
    (instance_.get()->*operation)({}, text, errors);
    EXPECT_EQ(errors, StrVec());
    return text;
  }
  ParamMap files(StrVec& errors) {
    ParamMap texts;
    instance_->generateBootLoaderFiles({}, true, texts, errors);
    return texts;
  }

 private:
  System system_;
  std::shared_ptr<kdi::cores::Core const> core_;
  std::shared_ptr<RegisterMap const> map_;
  std::unique_ptr<processing_system::PSU_Interface> instance_;
  RawResult shown_;
};

std::vector<std::uint32_t> after_c(System const& system, Configured const& configured, ParamMap const& files,
                                   std::string const& kind, std::string const& stem) {
  const Scratch scratch;
  scratch.file(stem + ".c", files.at("FSBL_" + kind + "_C"));
  scratch.file(stem + ".h", files.at("FSBL_" + kind + "_H"));
  const Outcome compiled = run_program({"/usr/bin/cc", "-std=c99", "-pedantic", "-Wall", "-Wextra", "-Werror",
                                        "-shared", "-fPIC", "-D" + configured.name("INIT_EXTERNAL_ACCESS"),
                                        scratch.path(stem + ".c"), "-o", scratch.path("init.so")});
  EXPECT_EQ(compiled.status, 0) << compiled.err;
  const Outcome plain = run_program({"/usr/bin/cc", "-std=c99", "-pedantic", "-Wall", "-Wextra", "-Werror", "-c",
                                     scratch.path(stem + ".c"), "-o", scratch.path("init.o")});
  EXPECT_EQ(plain.status, 0) << plain.err;
  void* const library = dlopen(scratch.path("init.so").c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    ADD_FAILURE() << dlerror();
    return {};
  }
  RegisterMemory memory(configured.map());
  at_work = &memory;
  fault.clear();
  const auto init = reinterpret_cast<int (*)()>(dlsym(library, (system.name + "_init").c_str()));
  EXPECT_EQ(init == nullptr ? -1 : init(), 0);
  EXPECT_EQ(fault, "");
  at_work = nullptr;
  dlclose(library);
  return memory.words();
}

// Runs the script over `memory`; what went wrong, or nothing.
std::string run_tcl(System const& system, std::string const& script, RegisterMemory& memory) {
  Tcl_FindExecutable(nullptr);
  Tcl_Interp* const interp = Tcl_CreateInterp();
  const auto access = [](ClientData data, Tcl_Interp* called, int objc, Tcl_Obj* const objv[]) -> int {
    Tcl_WideInt address = 0, value = 0;
    if (Tcl_GetWideIntFromObj(called, objv[1], &address) != TCL_OK) return TCL_ERROR;
    try {
      auto& registers = *static_cast<RegisterMemory*>(data);
      if (objc == 2) {
        Tcl_SetObjResult(called, Tcl_NewWideIntObj(registers.read(static_cast<std::uint32_t>(address))));
        return TCL_OK;
      }
      if (Tcl_GetWideIntFromObj(called, objv[2], &value) != TCL_OK) return TCL_ERROR;
      registers.write(static_cast<std::uint32_t>(address), static_cast<std::uint32_t>(value));
      return TCL_OK;
    } catch (RegisterFault const& error) {
      Tcl_SetObjResult(called, Tcl_NewStringObj(error.what(), -1));
      return TCL_ERROR;
    }
  };
  for (char const* const command : {"_init_read", "_init_write"})
    Tcl_CreateObjCommand(interp, (system.name + command).c_str(), access, &memory, nullptr);
  const std::string all = script + "\nproc " + system.name + "_init::delay us {}\n" + system.name + "_init\n";
  std::string wrong;
  if (Tcl_Eval(interp, all.c_str()) != TCL_OK) wrong = Tcl_GetStringResult(interp);
  Tcl_DeleteInterp(interp);
  return wrong;
}

// ------------------------------------------------------------------------------------------------ the reader of its
// own

// Reads a configuration from registers alone, by the page that documents them.
class Reader {
 public:
  Reader(Configured const& configured, std::vector<std::uint32_t> const& words)
      : configured_(configured), words_(words) {}

  std::uint32_t bits(std::string const& reg, int high, int low) const {
    const auto number = configured_.map().find(reg);
    if (!number) {
      ADD_FAILURE() << "no register " << reg;
      return 0;
    }
    return static_cast<std::uint32_t>(std::uint64_t{words_[*number]} >> low &
                                      ((std::uint64_t{1} << (high - low + 1)) - 1));
  }

  // In MHz; 0 for one that does not run.
  double pll(std::string const& name, double reference) const {
    if (bits(name + ".CONTROL", 0, 0) == 1 || bits(name + ".STATUS", 0, 0) == 0) return 0;
    if (bits(name + ".CONTROL", 1, 1) == 1) return reference;
    return reference * bits(name + ".DIVIDERS", 9, 0) / bits(name + ".DIVIDERS", 17, 12);
  }
  double crossing(std::string const& name, double reference) const {
    return pll(name, reference) / bits(name + ".CROSSING", 5, 0);
  }
  // `sources`: names of PLLs, those behind `/` by their crossing.
  double clock(std::string const& name, std::vector<std::string> const& sources, double reference) const {
    const std::string reg = "CLOCKS." + name + "_CTRL";
    if (bits(reg, 24, 24) == 0) return 0;
    const std::string source = sources.at(bits(reg, 2, 0));
    const double mhz = source[0] == '/' ? crossing(source.substr(1), reference) : pll(source, reference);
    return mhz / bits(reg, 17, 8);
  }

 private:
  Configured const& configured_;
  std::vector<std::uint32_t> const& words_;
};

const std::vector<std::string> kOfCpu{"CPUPLL", "DDRPLL", "/IOPLL"}, kOfIo{"IOPLL", "/CPUPLL", "/DDRPLL"};
const std::vector<std::string> kOfFpd{"APLL", "DPLL", "VPLL", "/IOPLL", "/RPLL"};
const std::vector<std::string> kOfLpd{"IOPLL", "RPLL", "/APLL", "/DPLL", "/VPLL"};

void expect_clock(Configured const& configured, Reader const& reader, std::string const& name,
                  std::vector<std::string> const& sources) {
  const double reference = std::stod(configured.value("REF_CLK_FREQMHZ"));
  const std::string shown = configured.value(name + "_CTRL_ACT_FREQMHZ");
  const double engine = shown == "SKIP" || shown.empty() ? 0 : std::stod(shown);
  EXPECT_NEAR(reader.clock(configured.name(name), sources, reference), engine, 2e-6) << name;
}

void expect_what_the_engine_says(System const& system, Configured const& configured,
                                 std::vector<std::uint32_t> const& words) {
  const Reader reader(configured, words);
  const bool is_small = system.name == "ps7";
  StrVec fast{"CPU", "DDR_REF"}, slow{"UART_REF", "SPI_REF", "CAN_REF", "I2C_REF", "SDIO_REF",  "QSPI_REF", "NAND_REF",
                                      "FCLK0",    "FCLK1",   "FCLK2",   "FCLK3",   "ENET0_REF", "ENET1_REF"};
  for (char const* const name : {"CPU_1X", "DCI"})
    if (is_small) fast.emplace_back(name);
  for (char const* const name : {"TOPSW", "DP_VIDEO", "PCIE_REF", "SATA_REF"})
    if (!is_small) fast.emplace_back(name);
  for (char const* const name : {"RPU", "LSBUS", "USB_REF", "ENET2_REF", "ENET3_REF"})
    if (!is_small) slow.emplace_back(name);
  for (std::string const& name : fast) expect_clock(configured, reader, name, is_small ? kOfCpu : kOfFpd);
  for (std::string const& name : slow) expect_clock(configured, reader, name, is_small ? kOfIo : kOfLpd);

  auto const& functions = configured.core().pads()->functions;
  const unsigned pads = is_small ? 54 : 78;
  for (unsigned pad = 0; pad < pads; ++pad) {
    const std::string reg = "PADS.PAD_" + std::to_string(pad), of = "MIO_" + std::to_string(pad);
    const std::uint32_t number = reader.bits(reg, 7, 0);
    const std::string shown = configured.value(of + "_FUNCTION");
    EXPECT_EQ(number == 0 ? "" : functions.at(number - 1).name, shown) << reg;
    EXPECT_EQ(reader.bits(reg, 8, 8), configured.is_on(of + "_PULLUP")) << reg;
    EXPECT_EQ(reader.bits(reg, 9, 9), configured.value(of + "_SLEW") == "fast") << reg;
  }

  StrVec units{"UART0", "UART1", "SPI0", "SPI1", "CAN0", "CAN1",  "I2C0",  "I2C1", "SD0",
               "SD1",   "USB0",  "USB1", "QSPI", "NAND", "ENET0", "ENET1", "TTC0", "WDT"};
  if (is_small) units.emplace_back("NOR");
  for (std::string unit : units) {
    if (unit == "WDT") unit = "WDT0";
    const std::string block = configured.name(unit);
    const bool is_on = configured.is_on(unit + "_PERIPHERAL_ENABLE");
    EXPECT_EQ(reader.bits(block + ".CONTROL", 0, 0), is_on) << block;
    EXPECT_EQ(reader.bits(block + ".RESET", 0, 0), !is_on) << block;
    EXPECT_EQ(reader.bits(block + ".CONTROL", 1, 1), configured.value(unit + "_PERIPHERAL_IO") == "EMIO") << block;
  }

  const bool has_memory = configured.is_on("DDR_ENABLE");
  EXPECT_EQ(reader.bits("DDRC.STATUS", 0, 0), has_memory);
  const auto time = [&](char const* name) { return has_memory ? std::stoul(configured.value(name)) : 0UL; };
  EXPECT_EQ(reader.bits("DDRC.TIMING0", 4, 0), time("DDR_CL"));
  EXPECT_EQ(reader.bits("DDRC.TIMING0", 15, 10), time("DDR_T_RCD"));
  EXPECT_EQ(reader.bits("DDRC.TIMING1", 7, 0), time("DDR_T_RAS_MIN"));
  EXPECT_EQ(reader.bits("DDRC.TIMING1", 23, 16), time("DDR_T_FAW"));
  EXPECT_EQ(reader.bits("DDRC.TIMING2", 11, 0), time("DDR_T_RFC"));
  EXPECT_EQ(reader.bits("DDRC.TIMING2", 27, 12), time("DDR_T_REFI"));
}

// -------------------------------------------------------------------------------------------------------------
// settings

// A configuration at random, without errors: units that have some are put into the fabric, or left out.
bool configure(Configured& configured, Random& random) {
  configured.give({});
  StrVec units{"UART0", "UART1", "SPI0", "SPI1", "CAN0", "CAN1",  "I2C0",  "I2C1", "SD0",
               "SD1",   "USB0",  "USB1", "QSPI", "NAND", "ENET0", "ENET1", "TTC0", "WDT0"};
  ParamMap params{{configured.name("REF_CLK_FREQMHZ"), random.one_in(2) ? "50" : "33.333333"}};
  for (std::string const& unit : units) {
    if (!random.one_in(3)) continue;
    params[configured.name(unit + "_PERIPHERAL_ENABLE")] = "1";
    const StrVec range = configured.range(unit + "_PERIPHERAL_IO");
    const std::string place = range.at(random.below(static_cast<unsigned>(range.size())));
    if (place != "Lane") params[configured.name(unit + "_PERIPHERAL_IO")] = place;
  }
  for (int clock = 0; clock < 4; ++clock)
    if (random.one_in(2)) params[configured.name("FCLK" + std::to_string(clock) + "_ENABLE")] = "1";
  if (random.one_in(5)) params[configured.name("DDR_ENABLE")] = "0";
  for (int change = 0; change < 6; ++change) {
    const std::string pad = std::to_string(random.below(54));
    params[configured.name("MIO_" + pad + "_PULLUP")] = "0";
    params[configured.name("MIO_" + pad + "_SLEW")] = "fast";
  }
  const std::regex of_unit("^(PS[7U]_[A-Z]+[0-9]?)_.*");
  for (int round = 0; round < 12; ++round) {
    bool is_well = true;
    for (auto const& [parameter, text] : configured.give(params)) {
      std::smatch parts;
      if (text.starts_with("Info:") || text.starts_with("Warning:")) continue;
      is_well = false;
      if (!std::regex_match(parameter, parts, of_unit)) return false;
      const std::string unit = parts[1].str();
      params[unit + "_PERIPHERAL_ENABLE"] = "0";
      if (configured.value(unit.substr(4) + "_PERIPHERAL_ENABLE").empty()) return false;
    }
    if (is_well) return true;
  }
  return false;
}

class BootLoaderFiles : public testing::TestWithParam<System> {};

// IPTASKS_LONG in the environment makes it many.
TEST_P(BootLoaderFiles, BothProgramsLeaveWhatTheEngineSays) {
  const int wanted = std::getenv("IPTASKS_LONG") != nullptr ? 500 : 4;
  Random random(test_support::fresh_seed());
  int done = 0, left_out = 0;
  while (done < wanted && left_out < 3 * wanted + 20) {
    Configured configured(GetParam());
    if (!configure(configured, random)) {
      ++left_out;
      continue;
    }
    ++done;
    StrVec errors;
    const ParamMap files = configured.files(errors);
    ASSERT_EQ(errors, StrVec());
    const auto words = after_c(GetParam(), configured, files, done % 2 == 0 ? "PSINIT" : "GPL_PSINIT",
                               GetParam().name + (done % 2 == 0 ? "_init" : "_init_gpl"));
    RegisterMemory memory(configured.map());
    EXPECT_EQ(run_tcl(GetParam(), files.at("FSBL_PSINIT_TCL"), memory), "");
    ASSERT_EQ(memory.words(), words);
    expect_what_the_engine_says(GetParam(), configured, words);
    if (HasFailure()) break;
  }
  EXPECT_EQ(done, wanted) << left_out << " were left out";
}

// A script that starts hardware, step by step: lines that call a procedure of the script.
class Steps {
 public:
  explicit Steps(System const& system, std::string script) : call_("  " + system.name + "_init::"), script_(script) {
    for (std::string_view line : kdi::text::split(script_, '\n')) lines_.emplace_back(line);
    for (std::size_t i = 0; i < lines_.size(); ++i)
      if (lines_[i].starts_with(call_) && !lines_[i].starts_with(call_ + "delay")) steps_.push_back(i);
  }

  std::size_t count() const { return steps_.size(); }
  std::string const& line(std::size_t step) const { return lines_[steps_[step]]; }
  /// Whether nothing stands between the step and the next one.
  bool goes_on(std::size_t step) const { return step + 1 < count() && steps_[step + 1] == steps_[step] + 1; }

  /// Whether the two must stand so: of a PLL and the memory from bypass to use, and the lock around everything.
  bool has_order(std::size_t step) const {
    const auto is_of = [&](std::size_t one, char const* what) { return line(one).find(what) != std::string::npos; };
    if (is_of(step, ".LOCK ") || is_of(step + 1, ".LOCK ")) return true;
    for (char const* const start : {".DIVIDERS ", "RESET=0", ".STATUS ", "HELD=0"})
      if (is_of(step, start) && !is_of(step + 1, ".CROSSING ")) return true;
    return is_of(step, "BYPASS=1") || is_of(step, "RESET=1");
  }

  std::string without(std::size_t step) const {
    std::vector<std::string> lines = lines_;
    lines[steps_[step]].clear();
    return kdi::text::joined(lines, "\n");
  }
  std::string swapped(std::size_t step) const {
    std::vector<std::string> lines = lines_;
    std::swap(lines[steps_[step]], lines[steps_[step + 1]]);
    return kdi::text::joined(lines, "\n");
  }

 private:
  std::string call_, script_;
  std::vector<std::string> lines_;
  std::vector<std::size_t> steps_;  // numbers of lines
};

// Hardware that runs already, and on which every field is another one than the script makes it: a step that changes
// nothing there is needed by nobody.
RegisterMemory in_use(System const& system, RegisterMap const& map, std::string const& script) {
  RegisterMemory memory(map);
  EXPECT_EQ(run_tcl(system, script, memory), "");
  const std::vector<std::uint32_t> running = memory.words();
  std::set<std::uint32_t> kept;  // locks, and what PLLs are started by
  const auto set = [&](std::uint32_t reg, std::uint32_t field, bool on) {
    const std::uint32_t mask = map.registers()[reg].fields[field].mask();
    memory.masked_write(map.registers()[reg].address, mask, on ? mask : 0);
  };
  for (kdi::cores::RegisterLock const& lock : map.locks()) {
    memory.write(map.registers()[lock.reg].address, lock.key);
    kept.insert(lock.reg);
  }
  for (kdi::cores::RegisterPll const& pll : map.plls()) {
    set(pll.reg, pll.bypass, true);
    set(pll.reg, pll.reset, true);
    kept.insert({pll.reg, pll.status_reg});
  }
  for (std::uint32_t i = 0; i < map.registers().size(); ++i)
    if (!kept.contains(i)) memory.write(map.registers()[i].address, ~memory.words()[i]);
  for (kdi::cores::RegisterPll const& pll : map.plls()) {
    set(pll.reg, pll.reset, false);
    const std::uint32_t ready = map.registers()[pll.status_reg].fields[pll.status].mask();
    memory.poll(map.registers()[pll.status_reg].address, ready, ready, 100);
    memory.write(map.registers()[pll.reg].address, running[pll.reg]);
  }
  for (kdi::cores::RegisterLock const& lock : map.locks()) memory.write(map.registers()[lock.reg].address, 0);
  return memory;
}

// None of the steps is there for nothing, and those of PLLs, of the memory and of locks stand in the one right order.
TEST_P(BootLoaderFiles, AStepThatIsMissingOrElsewhereShows) {
  Configured configured(GetParam());
  const bool is_small = GetParam().name == "ps7";
  configured.give({{configured.name("UART1_PERIPHERAL_ENABLE"), "1"},
                   {configured.name("UART1_PERIPHERAL_IO"), is_small ? "MIO 48 .. 49" : "MIO 20 .. 21"},
                   {configured.name("FCLK0_ENABLE"), "1"}});
  StrVec errors;
  const std::string script = configured.files(errors).at("FSBL_PSINIT_TCL");
  const Steps steps(GetParam(), script);
  const RegisterMemory before = in_use(GetParam(), configured.map(), script);
  const auto outcome = [&](std::string const& changed) {
    RegisterMemory memory = before;
    const std::string wrong = run_tcl(GetParam(), changed, memory);
    return wrong.empty() ? std::optional(memory.words()) : std::nullopt;
  };
  const auto whole = outcome(script);
  ASSERT_TRUE(whole);
  std::size_t ordered = 0;
  for (std::size_t step = 0; step < steps.count(); ++step) {
    // what starts the memory is still there from the last time
    EXPECT_TRUE(outcome(steps.without(step)) != whole || steps.line(step).find("DDRC.CONTROL START=1") != script.npos)
        << "without " << steps.line(step);
    if (!steps.goes_on(step)) continue;
    const bool shows = outcome(steps.swapped(step)) != whole;
    EXPECT_TRUE(shows || !steps.has_order(step)) << "swapped " << steps.line(step);
    ordered += shows;
  }
  EXPECT_GE(ordered, 12U);
}

// What the page and the headers are like, as they stand.
TEST_P(BootLoaderFiles, AreAsTheyWere) {
  Configured configured(GetParam());
  const bool is_small = GetParam().name == "ps7";
  EXPECT_EQ(configured.give({{configured.name("UART1_PERIPHERAL_ENABLE"), "1"},
                             {configured.name("UART1_PERIPHERAL_IO"), is_small ? "MIO 48 .. 49" : "MIO 20 .. 21"},
                             {configured.name("FCLK0_ENABLE"), "1"}}),
            ParamMap());
  StrVec errors;
  const ParamMap files = configured.files(errors);
  ASSERT_EQ(errors, StrVec());
  ASSERT_EQ(files.size(), 6U);
  const std::string of = "init/" + GetParam().name + "_init";
  test_support::expect_golden(of + ".c.txt", files.at("FSBL_PSINIT_C"));
  test_support::expect_golden(of + ".h.txt", files.at("FSBL_PSINIT_H"));
  test_support::expect_golden(of + "_gpl.h.txt", files.at("FSBL_GPL_PSINIT_H"));
  test_support::expect_golden(of + ".tcl.txt", files.at("FSBL_PSINIT_TCL"));
  test_support::expect_golden(of + ".html", files.at("FSBL_PSINIT_HTML"));
  using processing_system::PSU_Interface;
  test_support::expect_golden(of + ".xdc.txt", configured.text(&PSU_Interface::generateXdc));
  test_support::expect_golden(of + ".pads.txt", configured.text(&PSU_Interface::generateIOPadData));
  test_support::expect_golden(of + ".jitter.txt", configured.text(&PSU_Interface::generateJitterConstraints));
  test_support::expect_golden(of + ".power.json", configured.text(&PSU_Interface::generatePowerData));
  std::string gpl = files.at("FSBL_GPL_PSINIT_C"), own = files.at("FSBL_PSINIT_C");
  EXPECT_TRUE(gpl.starts_with("/* SPDX-License-Identifier: GPL-2.0-or-later */\n"));
  const auto body = [](std::string const& text) { return text.substr(text.find("_INIT_EXTERNAL_ACCESS")); };
  EXPECT_EQ(body(gpl), body(own)) << "one program under two licences";
}

// The forms are data: a site may have its own, and one that is wrong is told.
TEST(BootLoaderForms, AreToldWhenTheyAreWrong) {
  const Scratch data;
  data.file("boot_loader/init.c.in", "@core@ @colour@\n");
  const Environment here("KDI_DATA_DIR", data.folder());
  Configured configured(kPs7);
  configured.give({});
  StrVec errors;
  EXPECT_EQ(configured.files(errors), ParamMap());
  EXPECT_EQ(errors, StrVec{data.path("boot_loader/init.c.in") + ": no place \"colour\""});
}

// How fast clocks and PLLs may be is a matter of the part's speed grade.
TEST(BootLoaderClocks, AreAsFastAsTheSpeedGradeAllows) {
  Configured slow(kPs7), fast({"ps7", "1.4", "zrv7030-c484-2-c"});
  EXPECT_EQ(slow.give({}), ParamMap());
  EXPECT_EQ(slow.range("CPU_CTRL_FREQMHZ").back(), "666.666666");
  EXPECT_TRUE(slow.give({{"PS7_CPU_CTRL_FREQMHZ", "800"}}).contains("PS7_CPU_CTRL_FREQMHZ"));
  EXPECT_EQ(fast.give({{"PS7_CPU_CTRL_FREQMHZ", "800"}}), ParamMap());
  EXPECT_NEAR(std::stod(fast.value("CPU_CTRL_ACT_FREQMHZ")), 800, 1);
  Configured slow_large({"psu", "1.0", "zrv9010-f900-1-i"}), fast_large(kPsu);
  EXPECT_EQ(slow_large.give({}), ParamMap());
  EXPECT_EQ(fast_large.give({}), ParamMap());
  EXPECT_EQ(slow_large.range("RPU_CTRL_FREQMHZ").back(), "500");
  EXPECT_EQ(fast_large.range("RPU_CTRL_FREQMHZ").back(), "600");
}

// Every register that a program writes is on the page.
TEST_P(BootLoaderFiles, ThePageTellsEveryRegister) {
  Configured configured(GetParam());
  configured.give({});
  StrVec errors;
  const ParamMap files = configured.files(errors);
  const std::regex address("0x[0-9a-f]{8}");
  std::string const &page = files.at("FSBL_PSINIT_HTML"), &script = files.at("FSBL_PSINIT_TCL");
  std::size_t count = 0;
  for (std::string_view line : kdi::text::split(script, '\n')) {
    if (line.find("_init::") == std::string_view::npos || line.find("proc") != std::string_view::npos) continue;
    std::cmatch found;
    if (!std::regex_search(line.data(), line.data() + line.size(), found, address)) continue;
    EXPECT_NE(page.find("<td>" + found[0].str() + "</td>"), std::string::npos) << line;
    ++count;
  }
  EXPECT_GT(count, 20U);
}

INSTANTIATE_TEST_SUITE_P(Systems, BootLoaderFiles, testing::Values(kPs7, kPsu),
                         [](auto const& one) { return one.param.name; });

}  // namespace
