// The boot program: its C sources over registers that behave, natively and, cross built, under an emulator; and the
// building of it.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <functional>

#include "kdi/cdo/Cdo.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/common/host/MessageHost.h"
#include "kdi/common/host/ParamHost.h"
#include "kdi/cores/RegisterMemory.h"
#include "kdi/cores/Store.h"
#include "kdi/hsm/HHSMSwManager.h"
#include "tests/support/foreign_locale.h"
#include "tests/support/places.h"
#include "tests/support/program.h"
#include "tests/support/random.h"
#include "tests/support/sanitized.h"
#include "tests/support/scratch.h"

extern "C" {
#include "data/software/tavrel_plm/access.h"
#include "data/software/tavrel_plm/cdo.h"
void plm_main(void);
extern std::uint32_t plm_window[1 << 18];
std::uint32_t plm_window[1 << 18];
}

namespace {

namespace cdo = kdi::cdo;
using namespace kdi::cores;
using kdi::cores::RegisterFault;
using kdi::cores::RegisterMemory;
using test_support::Random;
using Texts = std::vector<std::string>;

// ---------------------------------------------------------------------------------------------- the program, natively

RegisterMemory* memory = nullptr;  // none: nothing may be touched
std::uint32_t now = 0;
int touched = 0;

struct Ended {
  plm_report report;
};

// What a run of the program over a memory comes to. What hardware would not do ends it with a fault of its own.
struct Came {
  std::uint32_t fault, command;
  std::vector<std::uint32_t> words;
  bool operator==(Came const&) const = default;
};
std::ostream& operator<<(std::ostream& out, Came const& came) { return out << came.fault << " at " << came.command; }

constexpr std::uint32_t kNoRegister = 0xFFFFFFFE;

void load(std::string const& bytes) {
  static std::size_t used = std::size(plm_window);  // words that do not hold the pattern of an empty window
  ASSERT_LE(bytes.size(), sizeof plm_window);
  std::fill_n(std::begin(plm_window), used, 0xA5A5A5A5);
  used = (bytes.size() + 3) / 4;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const std::size_t shift = i % 4 * 8;
    plm_window[i / 4] = (plm_window[i / 4] & ~(0xFFU << shift)) |
                        static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i])) << shift;
  }
}

Came run(std::string const& bytes, RegisterMap const& map) {
  load(bytes);
  RegisterMemory registers(map);
  memory = &registers;
  touched = 0;
  Came came{0, 0, {}};
  try {
    plm_main();
    ADD_FAILURE() << "came back";
  } catch (Ended const& ended) {
    EXPECT_EQ(ended.report.magic, PLM_REPORT);
    came = {ended.report.fault, ended.report.command, registers.words()};
  } catch (RegisterFault const&) {
    came = {kNoRegister, 0, registers.words()};
  }
  memory = nullptr;
  return came;
}

enum cdo_fault check(std::string const& bytes, std::uint32_t* command = nullptr) {
  load(bytes);
  std::uint32_t own = 0;
  return cdo_check(plm_window, static_cast<std::uint32_t>(bytes.size() / 4), command == nullptr ? &own : command);
}

}  // namespace

extern "C" {
std::uint32_t plm_read(std::uint32_t address) {
  ++touched;
  return memory->read(address);
}
void plm_write(std::uint32_t address, std::uint32_t value) {
  ++touched;
  memory->write(address, value);
}
std::uint32_t plm_microseconds(void) { return now++; }
void plm_end(plm_report const* report) { throw Ended{*report}; }
}

namespace {

struct Configured {
  explicit Configured(std::string const& name = "psxl")
      : core(core_description(name, core_versions(name).back())), instance(core), map(RegisterMap::of(core)) {}
  cdo::Commands commands() const { return plain(RegisterImage(*map, instance).commands(map->outputs())); }

  std::shared_ptr<Core const> core;
  Instance instance;
  std::shared_ptr<RegisterMap const> map;
};

// Sets a few parameters at random, of those that have a few values.
void shuffle(Configured& core, Random& random) {
  for (int i = 0; i < 8; ++i) {
    const auto number = random.below(static_cast<unsigned>(core.core->parameters().size()));
    const Texts range = core.instance.range(number);
    if (range.size() < 2 || range.size() > 30) continue;
    core.instance.set({{number, range[random.below(static_cast<unsigned>(range.size()))]}});
  }
}

// Cores that configure hardware by commands, whoever puts them into a file.
Texts const& cores_with_commands() {
  static const Texts names = [] {
    Texts all = core_names();
    if (test_support::kSanitized) all = {"pspmc", "ps_pmc", "psxl", "xram", "cpm5"};  // reading all is slow
    std::erase_if(all, [](std::string const& name) { return Configured(name).commands().empty(); });
    return all;
  }();
  return names;
}

bool is_long() { return std::getenv("IPTASKS_LONG") != nullptr; }

// IPTASKS_LONG in the environment makes it many configurations.
TEST(BootProgram, BringsRegistersOfEveryCoreToWhatItsConfigurationSays) {
  Random random(3);
  std::size_t most = 0;
  EXPECT_GE(cores_with_commands().size(), test_support::kSanitized ? 5U : 18U);
  for (std::string const& name : cores_with_commands()) {
    Configured core(name);
    for (int round = 0; round < (is_long() ? 200 : 2); ++round) {
      const cdo::Commands commands = core.commands();
      RegisterMemory expected(*core.map);
      expected.run(commands);
      const std::string bytes = cdo::to_binary(commands);
      most = std::max(most, bytes.size());
      ASSERT_EQ(run(bytes, *core.map), (Came{CDO_FINE, static_cast<std::uint32_t>(commands.size()), expected.words()}))
          << name;
      shuffle(core, random);
    }
  }
  EXPECT_LT(most, sizeof plm_window / 4) << "there is room to grow";
  RecordProperty("most_bytes", static_cast<int>(most));
}

TEST(BootProgram, NeedsEachStepOfAPllInItsOrder) {
  const Configured core("pspmc");
  const cdo::Commands commands = core.commands();
  const Came right = run(cdo::to_binary(commands), *core.map);
  ASSERT_EQ(right.fault, static_cast<std::uint32_t>(CDO_FINE));
  const auto is_other = [&](cdo::Commands const& changed) {
    const Came came = run(cdo::to_binary(changed), *core.map);
    return came.fault != CDO_FINE || came.words != right.words;
  };
  int removed = 0, swapped = 0;
  std::size_t step = 0;
  bool is_pll = false;
  for (std::size_t i = 0; i < commands.size(); ++i, ++step) {
    if (auto const* const section = std::get_if<cdo::Section>(&commands[i])) {
      is_pll = section->name == "PLL RPLL";
      step = 0;
      continue;
    }
    if (!is_pll) continue;
    // After a reset it is bypassed and held already; and the last step locks again what nothing writes behind it.
    if (step > 2 && step != 7) {
      cdo::Commands without = commands;
      without.erase(without.begin() + static_cast<std::ptrdiff_t>(i));
      EXPECT_TRUE(is_other(without)) << "without step " << step;
      ++removed;
    }
    if (step > 2 && step < 6) {
      cdo::Commands other = commands;
      std::swap(other[i], other[i + 1]);
      EXPECT_TRUE(is_other(other)) << "steps swapped from " << step;
      ++swapped;
    }
  }
  EXPECT_GE(removed, 4);
  EXPECT_GE(swapped, 3);
}

TEST(BootProgram, StopsAtAPollThatIsInVainAndDoesNothingBehindIt) {
  const Configured core;
  Register const& status = core.map->registers()[core.map->plls().at(0).status_reg];
  std::uint32_t free = 0;  // a register that no lock guards
  for (Register const& reg : core.map->registers())
    if (reg.block != status.block && std::none_of(core.map->locks().begin(), core.map->locks().end(),
                                                  [&](auto const& lock) { return lock.block == reg.block; }))
      free = reg.address;
  ASSERT_NE(free, 0U);
  const cdo::Commands commands = {cdo::Section{"s"}, cdo::Write{free, 0x5}, cdo::Poll{status.address, 1, 1, 1000},
                                  cdo::Write{free, 0x3}};
  now = 0xFFFFFF00;  // and the counter runs over meanwhile
  const Came came = run(cdo::to_binary(commands), *core.map);
  EXPECT_EQ(came.fault, static_cast<std::uint32_t>(CDO_TIMEOUT));
  EXPECT_EQ(came.command, 3U);
  EXPECT_EQ(came.words[*core.map->find(free)], 0x5U);
  EXPECT_GE(now + 0x100, 1000U);
  EXPECT_LE(now + 0x100, 1100U);
}

TEST(BootProgram, WaitsAtLeastAsLongAsItIsTold) {
  const Configured core;
  now = 7;
  EXPECT_EQ(run(cdo::to_binary({cdo::Delay{12345}}), *core.map).fault, static_cast<std::uint32_t>(CDO_FINE));
  EXPECT_GE(now - 7, 12345U);
  EXPECT_EQ(touched, 0);
}

// --------------------------------------------------------------------------------------------------------- damaged
// files

TEST(BootProgram, TouchesNothingForAFileThatIsDamaged) {
  const Configured core;
  const std::string bytes = cdo::to_binary(core.commands());
  Random random(9);
  for (int i = 0; i < 60; ++i) {
    std::string damaged = bytes;
    damaged[random.below(static_cast<unsigned>(bytes.size()))] ^= static_cast<char>(1 + random.below(255));
    EXPECT_NE(run(damaged, *core.map).fault, static_cast<std::uint32_t>(CDO_FINE));
    EXPECT_EQ(touched, 0);
  }
  const std::string small = cdo::to_binary({cdo::Section{"s"}, cdo::Write{4, 5}, cdo::BlockWrite{8, {1, 2}}});
  for (std::size_t at = 0; at < small.size(); ++at)
    for (int change = 1; change < 256; ++change) {
      std::string damaged = small;
      damaged[at] ^= static_cast<char>(change);
      EXPECT_NE(check(damaged), CDO_FINE) << at << " " << change;
    }
  for (std::size_t size = 0; size < small.size(); size += 4) EXPECT_NE(check(small.substr(0, size)), CDO_FINE) << size;
  EXPECT_EQ(check(small), CDO_FINE);
  EXPECT_EQ(check(small + std::string(400, 'x')), CDO_FINE) << "what is behind it in the window is nothing of it";
}

std::string word(std::uint32_t value) {
  std::string bytes;
  for (int i = 0; i < 4; ++i) bytes += static_cast<char>(value >> (8 * i));
  return bytes;
}
std::uint32_t crc_of(std::string_view bytes) {
  std::uint32_t crc = 0xFFFFFFFF;
  for (const char c : bytes) {
    crc ^= static_cast<unsigned char>(c);
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xEDB88320U : 0);
  }
  return ~crc;
}
// A file of these words between the head and the checksum, which is right.
std::string file_of(std::vector<std::uint32_t> const& body, std::uint32_t count, std::uint32_t version = 1) {
  std::string bytes = "CDO1" + word(version) + word(static_cast<std::uint32_t>(body.size() + 5)) + word(count);
  for (const std::uint32_t value : body) bytes += word(value);
  return bytes + word(crc_of(bytes));
}

TEST(BootProgram, TellsWhatIsWrongWithACommand) {
  constexpr std::uint32_t kWrite = 2 << 24 | 2, kMask = 3 << 24 | 3, kPoll = 4 << 24 | 4, kDelay = 5 << 24 | 1;
  struct {
    std::vector<std::uint32_t> body;
    std::uint32_t count;
    enum cdo_fault fault;
    std::uint32_t command;
  } const rows[] = {
      {{kWrite, 4, 1, 0}, 1, CDO_FINE, 0},
      {{0}, 0, CDO_FINE, 0},
      {{kWrite, 4, 1, 0}, 2, CDO_END, 0},
      {{kWrite, 4, 1, 0, 0}, 1, CDO_END, 0},
      {{kWrite, 4, 1}, 1, CDO_END, 0},
      {{kDelay, 1, kWrite, 5, 1, 0}, 2, CDO_ADDRESS, 2},
      {{2 << 24 | 1, 4, 0}, 1, CDO_SIZE, 1},
      {{2 << 24 | 200, 4, 0}, 1, CDO_SIZE, 1},
      {{7 << 24, 0}, 1, CDO_UNKNOWN, 1},
      {{255U << 24, 0}, 1, CDO_UNKNOWN, 1},
      {{kMask, 4, 1, 2, 0}, 1, CDO_BITS, 1},
      {{kMask, 6, 1, 1, 0}, 1, CDO_ADDRESS, 1},
      {{kPoll, 4, 1, 1, 60000001, 0}, 1, CDO_TIME, 1},
      {{kPoll, 4, 1, 3, 5, 0}, 1, CDO_BITS, 1},
      {{kDelay, 60000001, 0}, 1, CDO_TIME, 1},
      {{kDelay, 60000000, 0}, 1, CDO_FINE, 0},
      {{6 << 24 | 1, 4, 0}, 1, CDO_SIZE, 1},
      {{6 << 24 | 3, 0xFFFFFFFC, 1, 2, 0}, 1, CDO_ADDRESS, 1},
      {{6 << 24 | 3, 0xFFFFFFF8, 1, 2, 0}, 1, CDO_FINE, 0},
      {{1 << 24 | 2, 1, 'a', 0}, 1, CDO_FINE, 0},
      {{1 << 24 | 2, 1, 'a' | 'b' << 8, 0}, 1, CDO_NAME, 1},
      {{1 << 24 | 2, 1, '"', 0}, 1, CDO_NAME, 1},
      {{1 << 24 | 2, 0, 0, 0}, 1, CDO_NAME, 1},
      {{1 << 24 | 2, 201, 0, 0}, 1, CDO_NAME, 1},
      {{1 << 24 | 3, 1, 'a', 0, 0}, 1, CDO_SIZE, 1},
      {{1 << 24 | 1, 1, 0}, 1, CDO_SIZE, 1},
  };
  for (auto const& row : rows) {
    std::uint32_t command = 77;
    EXPECT_EQ(check(file_of(row.body, row.count), &command), row.fault) << row.body[0];
    EXPECT_EQ(command, row.command) << row.body[0];
  }
  EXPECT_EQ(check(file_of({0}, 0, 2)), CDO_VERSION);
  EXPECT_EQ(check("CDO2" + file_of({0}, 0).substr(4)), CDO_NO_FILE);
  EXPECT_EQ(check(""), CDO_LENGTH);
}

TEST(BootProgram, AgreesWithTheReaderOfTheTools) {
  Random random(21);
  int taken = 0;
  for (int i = 0; i < 5000; ++i) {
    std::vector<std::uint32_t> body;
    std::uint32_t count = 0;
    for (unsigned n = random.below(4); n > 0; --n, ++count) {
      const std::uint32_t code = random.below(8),
                          size = random.one_in(4) ? random.below(6) : std::array{0U, 2U, 2U, 3U, 4U, 1U, 3U, 1U}[code];
      body.push_back(code << 24 | size);
      for (std::uint32_t j = 0; j < size; ++j) {
        const std::array<std::uint32_t, 8> values{1, 4, 8, 'a', 0xFFFFFFFC, 0xFFFFFFFF, 100, 60000001};
        body.push_back(values[random.below(8)]);
      }
    }
    if (!random.one_in(10)) body.push_back(0);
    if (random.one_in(10)) ++count;
    const std::string bytes = file_of(body, count, random.one_in(20) ? 2 : 1);
    bool is_taken = true;
    try {
      cdo::from_binary(bytes, "b");
    } catch (cdo::CdoError const&) {
      is_taken = false;
    }
    EXPECT_EQ(check(bytes) == CDO_FINE, is_taken);
    taken += is_taken ? 1 : 0;
  }
  EXPECT_GT(taken, 100);
}

// -------------------------------------------------------------------------------------------------------------
// building

bool is_there(std::string const& program) {
  for (std::string_view const folder : kdi::text::split(std::getenv("PATH"), ':'))
    if (::access((std::string(folder) + "/" + program).c_str(), X_OK) == 0) return true;
  return false;
}

class Building : public testing::Test {
 protected:
  ~Building() override { param_host::unset("software.compiler"); }
  bool build(std::string const& application = "tavrel_plm", std::string const& processor = "psv_pmc_0",
             bool whole = true) {
    hsi::hsi_ps_interface hsi(nullptr);
    const bool is_well = HHSMSwManager::getHsmSwManager()->generateAppForPMC(
        &hsi, "p1", processor, "u1", folder_.folder(), application, "tavrel_cips", whole);
    hsi.finish();
    return is_well;
  }
  // The one error that was told, without what it is about.
  std::string told(std::string const& application = "tavrel_plm") {
    const Texts lines = capture_.lines();
    capture_.clear();
    const std::string front = "ERROR: [software] " + application + " of tavrel_cips \"u1\" on \"p1\": ";
    EXPECT_EQ(lines.size(), 1U);
    if (lines.size() != 1) return {};
    EXPECT_TRUE(lines[0].starts_with(front)) << lines[0];
    return lines[0].substr(front.size());
  }
  // A data root with an application of its own: the shipped one, changed.
  void use_own(std::function<void(std::string const& folder)> const& change) {
    const std::string folder = root_.path("software/tavrel_plm");
    std::filesystem::create_directories(root_.path("software"));
    std::filesystem::copy(places::source("data/software/tavrel_plm"), folder, std::filesystem::copy_options::recursive);
    change(folder);
    ::setenv("KDI_DATA_DIR", root_.folder().c_str(), 1);
  }
  void TearDown() override { ::unsetenv("KDI_DATA_DIR"); }
  static void append(std::string const& path, std::string const& text) {
    kdi::write_file(path, kdi::read_file(path) + text);
  }

  Scratch folder_, root_;
  message_host::Capture capture_;
};

TEST_F(Building, NeedsACompilerAndSaysWhatToInstall) {
  for (char const* const name : {"no-such-clang", "clang; touch made", "/nowhere/gcc"}) {
    param_host::set("software.compiler", name);
    EXPECT_FALSE(build());
    EXPECT_EQ(told(), "the compiler \"" + std::string(name) +
                          "\" cannot be started: No such file or directory; install clang and lld, or "
                          "gcc-arm-none-eabi and name arm-none-eabi-gcc in the parameter software.compiler");
  }
  param_host::set("software.compiler", "");
  EXPECT_FALSE(build());
  EXPECT_EQ(told(), "the parameter software.compiler names no compiler");
  param_host::set("software.compiler", "/usr/bin/tcc");
  EXPECT_FALSE(build());
  EXPECT_EQ(told(),
            "the parameter software.compiler names \"/usr/bin/tcc\", which is none of the compilers that the "
            "sources are for: clang, gcc");
  EXPECT_EQ(folder_.names(), Texts{});
}

TEST_F(Building, TellsWhatTheSystemRefusesInOneLanguage) {
  folder_.file("tavrel_plm", "a file");
  const ForeignLocale turkish("tr_TR", "ISO-8859-9");
  param_host::set("software.compiler", "no-such-clang");
  EXPECT_FALSE(build());
  EXPECT_NE(told().find("cannot be started: No such file or directory;"), std::string::npos);
  EXPECT_FALSE(HHSMSwManager::getHsmSwManager()->generateAppForPMC(
      nullptr, "p1", "psv_pmc_0", "u1", folder_.path("none"), "tavrel_plm", "tavrel_cips", true));
  EXPECT_EQ(told(), folder_.path("none") + ": nothing can be built there: No such file or directory");
  EXPECT_FALSE(HHSMSwManager::getHsmSwManager()->generateAppForPMC(nullptr, "p1", "psv_pmc_0", "u1", folder_.folder(),
                                                                   "tavrel_plm", "tavrel_cips", false));
  EXPECT_EQ(told(), folder_.path("tavrel_plm") + ": cannot be made: File exists");
}

TEST_F(Building, LeavesNothingOfWhatACompilerDidNotMake) {
  const std::string silent = root_.file("silent-clang", "#!/bin/sh\nexit 0\n"),
                    loud = root_.file("loud-clang", "#!/bin/sh\necho no\necho more >&2\nexit 1\n"),
                    other = root_.file("other-clang",
                                       "#!/bin/sh\nwhile [ \"$1\" != -o ]; do shift; done\necho text > \"$2\"\n");
  for (std::string const& path : {silent, loud, other}) ::chmod(path.c_str(), 0755);
  for (auto const& [path, reason] :
       {std::pair{silent, "it told nothing"}, {loud, "no\nmore"}, {other, "it told nothing"}}) {
    param_host::set("software.compiler", path);
    EXPECT_FALSE(build());
    EXPECT_EQ(told(), "the compiler \"" + path + "\" made no program: " + reason);
    EXPECT_EQ(folder_.names(), Texts{});
  }
}

TEST_F(Building, RefusesWhatItDoesNotKnow) {
  EXPECT_FALSE(build("tavrel_plm", "psv_pmc_1"));
  EXPECT_EQ(told(), "\"tavrel_plm\" is not for the processor \"psv_pmc_1\" but for psv_pmc_0");
  EXPECT_FALSE(build("other"));
  EXPECT_EQ(told("other"), "no data root has the application \"other\"");
  EXPECT_FALSE(build("../tavrel_plm"));
  EXPECT_EQ(told("../tavrel_plm"), "\"../tavrel_plm\" is no application");
  EXPECT_FALSE(HHSMSwManager::getHsmSwManager()->generateAppForPMC(nullptr, "p1", "psv_pmc_0", "u1", "", "tavrel_plm",
                                                                   "tavrel_cips", true));
  EXPECT_EQ(told(), "no folder to build in");
  EXPECT_FALSE(HHSMSwManager::getHsmSwManager()->generateAppForPMC(
      nullptr, "p1", "psv_pmc_0", "u1", folder_.path("none"), "tavrel_plm", "tavrel_cips", true));
  EXPECT_EQ(told(), folder_.path("none") + ": nothing can be built there: No such file or directory");
}

TEST_F(Building, TellsFileLineAndFieldOfABadDescription) {
  std::string path;
  use_own([&](std::string const& folder) { path = folder + "/application.json"; });
  const std::string good = kdi::read_file(path);
  for (auto const& [from, to, complaint] :
       {std::array{"\"start.c\"", "\"../start.c\"",
                   ":4: sources[0]: expected the name of a file in the folder, found the text \"../start.c\""},
        std::array{"\"tavrel_plm.ld\"", "\"\"",
                   ":6: linker_script: expected the name of a file in the folder, found the text \"\""},
        std::array{"[\"psv_pmc_0\"]", "[]", ":3: processors: expected 1 to 200 texts, found a list"},
        std::array{"\"psv_pmc_0\"", "\"\"", ":3: processors[0]: expected a word, found the text \"\""},
        std::array{"\"format\": 1", "\"format\": 2",
                   ":2: format: expected an integer from 1 to 1, found the number 2"}}) {
    std::string bad = good;
    bad.replace(bad.find(from), std::string(from).size(), to);
    kdi::write_file(path, bad);
    EXPECT_FALSE(build());
    EXPECT_EQ(told(), path + complaint);
  }
  EXPECT_EQ(folder_.names(), Texts{});
}

TEST_F(Building, IsNotThereWithoutSoftware) {
  ::setenv("KDI_DATA_DIR", root_.folder().c_str(), 1);
  EXPECT_NE(HHSMSwManager::getHsmSwManager(), nullptr) << "that beside the library";
}

TEST_F(Building, LaysTheSourcesOut) {
  EXPECT_TRUE(build("tavrel_plm", "psv_pmc_0", false));
  for (char const* const name :
       {"start.c", "main.c", "cdo.c", "access.c", "memory.c", "access.h", "cdo.h", "tavrel_plm.ld"})
    EXPECT_EQ(folder_.content(std::string("tavrel_plm/") + name),
              kdi::read_file(places::source("data/software/tavrel_plm/") + name))
        << name;
  // all, or none
  const Scratch other;
  use_own([&](std::string const& folder) { std::filesystem::remove(folder + "/memory.c"); });
  EXPECT_FALSE(HHSMSwManager::getHsmSwManager()->generateAppForPMC(nullptr, "p1", "psv_pmc_0", "u1", other.folder(),
                                                                   "tavrel_plm", "tavrel_cips", false));
  EXPECT_EQ(other.names(), Texts{});
}

#define NEEDS(program) \
  if (!is_there(program)) GTEST_SKIP() << program << " is not installed: what needs it was not looked at"

TEST_F(Building, MakesAProgramOfItsOwnSources) {
  NEEDS("clang");
  NEEDS("ld.lld");
  ASSERT_TRUE(build()) << told();
  const std::string program = folder_.content("tavrel_plm/executable.elf");
  EXPECT_EQ(program.substr(0, 4),
            "\x7F"
            "ELF");
  EXPECT_EQ(program[18], 40) << "of an ARM processor";
  EXPECT_LT(program.size(), 16384U);
  EXPECT_EQ(folder_.names(), Texts{"tavrel_plm"});
  ASSERT_TRUE(build());
  EXPECT_EQ(folder_.content("tavrel_plm/executable.elf"), program) << "equal bytes for equal sources";
  EXPECT_EQ(capture_.lines(), Texts{});
}

TEST_F(Building, TellsOfSourcesThatAreNoneAndOfAProgramThatDoesNotFit) {
  NEEDS("clang");
  NEEDS("ld.lld");
  use_own([](std::string const& folder) { append(folder + "/cdo.c", "\nint broken("); });
  EXPECT_FALSE(build());
  EXPECT_NE(told().find("cdo.c:"), std::string::npos);
  kdi::write_file(root_.path("software/tavrel_plm/cdo.c"),
                  kdi::read_file(places::source("data/software/tavrel_plm/cdo.c")) +
                      "\n__attribute__((used)) const char large[17000] = {1};\nvoid *plm_use(void); void "
                      "*plm_use(void) { return (void *)large; }\n");
  append(root_.path("software/tavrel_plm/main.c"), "");
  std::string json = kdi::read_file(root_.path("software/tavrel_plm/application.json"));
  json.replace(json.find("\"-Wl,--gc-sections\", "), 21, "");
  kdi::write_file(root_.path("software/tavrel_plm/application.json"), json);
  EXPECT_FALSE(build());
  const std::string reason = told();
  EXPECT_NE(reason.find("will not fit in region 'program'"), std::string::npos) << reason;
  EXPECT_EQ(folder_.names(), Texts{});
}

// ------------------------------------------------------------------------------------------------- under an emulator

class Emulated : public Building {
 protected:
  // Runs a program with a file of commands in its window; what it writes.
  std::string emulate(std::string const& program, std::string const& commands, Texts const& more,
                      std::string const& input = {}) {
    const std::string file = folder_.file("commands.bin", commands);
    Texts words{"/usr/bin/qemu-system-arm",
                "-M",
                "mps2-an385",
                "-display",
                "none",
                "-serial",
                "none",
                "-kernel",
                program,
                "-device",
                "loader,file=" + file + ",addr=0x20100000,force-raw=on"};
    words.insert(words.end(), more.begin(), more.end());
    Surroundings around;
    around.input = input;
    const Outcome outcome = run_program(words, around);
    return outcome.out + outcome.err;
  }
};

// The report is read by the emulator's monitor, again and again until the program must have ended.
TEST_F(Emulated, TheProgramThatIsPackedReportsWhatItDid) {
  NEEDS("clang");
  NEEDS("ld.lld");
  NEEDS("qemu-system-arm");
  ASSERT_TRUE(build()) << told();
  const auto report = [&](std::string const& commands) {
    std::string input;
    for (int i = 0; i < 3000; ++i) input += "xp /3xw 0x20000000\n";
    const std::string shown =
        emulate(folder_.path("tavrel_plm/executable.elf"), commands, {"-monitor", "stdio"}, input + "quit\n");
    const std::size_t at = shown.rfind("20000000: ");
    return at == std::string::npos ? shown
                                   : std::string(kdi::text::split(shown.substr(at + 10, 36), '\r')[0].substr(0, 32));
  };
  EXPECT_EQ(report(cdo::to_binary({cdo::Section{"a"}, cdo::Section{"b"}})), "0x504c4d52 0x00000000 0x00000002");
  std::string damaged = cdo::to_binary({cdo::Section{"a"}});
  damaged[20] ^= 1;
  EXPECT_EQ(report(damaged), "0x504c4d52 0x00000003 0x00000000");
  EXPECT_EQ(report("nothing of the kind"), "0x504c4d52 0x00000001 0x00000000");
}

std::string hex(std::uint32_t value) { return "0x" + kdi::number::hexadecimal(value, 8) + "u"; }

// The tables of emulated_registers.c.
std::string tables_of(RegisterMap const& map) {
  const auto mask = [&](std::uint32_t reg, std::uint32_t field) {
    return hex(map.registers()[reg].fields[field].mask());
  };
  std::string text = "#define REGISTERS " + std::to_string(map.registers().size()) + "\n#define PLLS " +
                     std::to_string(map.plls().size()) + "\n#define LOCKS " + std::to_string(map.locks().size()) +
                     "\n#define READS_TO_LOCK " + std::to_string(RegisterMemory::kReadsToLock) +
                     "\nstatic const struct { uint32_t address, reset, block; } registers[] = {\n";
  for (Register const& reg : map.registers())
    text += "{" + hex(reg.address) + ", " + hex(reg.reset) + ", " + std::to_string(reg.block) + "},\n";
  text += "};\nstatic const struct { uint32_t block, reg, key; } locks[] = {\n";
  for (RegisterLock const& lock : map.locks())
    text += "{" + std::to_string(lock.block) + ", " + std::to_string(lock.reg) + ", " + hex(lock.key) + "},\n";
  text +=
      "};\nstatic const struct { uint32_t reg, bypass, reset, status_reg, status, settings_count, settings[16]; } "
      "pll_tables[] = {\n";
  for (RegisterPll const& pll : map.plls()) {
    EXPECT_LE(pll.settings.size(), 16U);
    text += "{" + std::to_string(pll.reg) + ", " + mask(pll.reg, pll.bypass) + ", " + mask(pll.reg, pll.reset) + ", " +
            std::to_string(pll.status_reg) + ", " + mask(pll.status_reg, pll.status) + ", " +
            std::to_string(pll.settings.size()) + ", {";
    for (const std::uint32_t reg : pll.settings) text += std::to_string(reg) + ", ";
    text += "0}},\n";
  }
  return text + "};\n";
}

// The sources, cross built, over the registers of a core.
class EmulatedCores : public Emulated {
 protected:
  // Builds them; the program.
  std::string built_for(Configured const& core) {
    const std::string tables = folder_.file("tables.h", tables_of(*core.map));
    // the registers and their tables need more room than the controller has
    std::string script = kdi::read_file(places::source("data/software/tavrel_plm/tavrel_plm.ld"));
    for (auto const& [from, to] : {std::pair{"LENGTH = 16K", "LENGTH = 1M"}, {"LENGTH = 8K", "LENGTH = 256K"}})
      script.replace(script.find(from), std::string(from).size(), to);
    const std::string sources = places::source("data/software/tavrel_plm/"), program = folder_.path("program");
    const Outcome compiled = run_program({"/usr/bin/clang",
                                          "--target=thumbv7m-none-eabi",
                                          "-fuse-ld=lld",
                                          "-std=c11",
                                          "-Os",
                                          "-Wall",
                                          "-Wextra",
                                          "-Werror",
                                          "-ffreestanding",
                                          "-fno-builtin",
                                          "-nostdlib",
                                          "-static",
                                          "-fno-unwind-tables",
                                          "-fno-asynchronous-unwind-tables",
                                          "-I" + sources,
                                          "-I" + places::source("."),
                                          "-DEMULATED_TABLES=\"" + tables + "\"",
                                          "-T" + folder_.file("large.ld", script),
                                          sources + "start.c",
                                          sources + "main.c",
                                          sources + "cdo.c",
                                          sources + "memory.c",
                                          places::source("tests/support/emulated_registers.c"),
                                          "-o",
                                          program});
    EXPECT_EQ(compiled.status, 0) << compiled.err;
    return program;
  }

  Came emulated(std::string const& program, std::string const& bytes) {
    const std::string shown = emulate(program, bytes, {"-semihosting"});
    Came came{kNoRegister, kNoRegister, {}};
    for (std::string_view line : kdi::text::lines(shown)) {
      std::uint32_t* place = nullptr;
      if (line.starts_with("fault ")) place = &came.fault;
      if (line.starts_with("command ")) place = &came.command;
      const std::size_t blank = line.find(' ');
      const auto value =
          static_cast<std::uint32_t>(std::stoul(std::string(line.substr(blank == line.npos ? 0 : blank)), nullptr, 16));
      if (place != nullptr)
        *place = value;
      else
        came.words.push_back(value);
    }
    return came;
  }
};

// IPTASKS_LONG in the environment makes it every core that has commands.
TEST_F(EmulatedCores, ComeToTheSameRegisters) {
  NEEDS("clang");
  NEEDS("ld.lld");
  NEEDS("qemu-system-arm");
  Random random(17);
  for (std::string const& name : is_long() ? cores_with_commands() : Texts{"psxl"}) {
    Configured core(name);
    const std::string program = built_for(core);
    for (int round = 0; round < 2; ++round) {
      const std::string bytes = cdo::to_binary(core.commands());
      const Came here = run(bytes, *core.map);
      EXPECT_EQ(here.fault, static_cast<std::uint32_t>(CDO_FINE));
      EXPECT_EQ(emulated(program, bytes), here) << name;
      std::string damaged = bytes;
      damaged[random.below(static_cast<unsigned>(bytes.size()))] ^= 0x10;
      const Came refused = emulated(program, damaged);
      EXPECT_NE(refused.fault, static_cast<std::uint32_t>(CDO_FINE));
      EXPECT_EQ(refused.fault, run(damaged, *core.map).fault);
      shuffle(core, random);
    }
  }
}

TEST_F(EmulatedCores, StopAtAPllThatIsNotLetOut) {
  NEEDS("clang");
  NEEDS("ld.lld");
  NEEDS("qemu-system-arm");
  const Configured core;
  const std::string program = built_for(core);
  // a PLL whose poll is never true, since it was not let out of reset
  cdo::Commands commands = core.commands();
  std::erase_if(commands, [&](cdo::Command const& command) {
    auto const* const write = std::get_if<cdo::MaskedWrite>(&command);
    return write != nullptr && core.map->find(write->address) == core.map->find("PPLL.CONTROL");
  });
  const std::string bytes = cdo::to_binary(commands);
  EXPECT_EQ(emulated(program, bytes), run(bytes, *core.map));
  EXPECT_EQ(emulated(program, bytes).fault, static_cast<std::uint32_t>(CDO_TIMEOUT));
}

}  // namespace
