// The output of a real core while the system's calls fail one by one: what is there afterwards is whole, new or as it
// was before; a package has what it says it has; and what failed is told.
#include <gtest/gtest.h>
#include <tcl.h>

#include <cerrno>
#include <cstdlib>
#include <set>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJson.h"
#include "kdi/hdf/host/HardwareDefinition.h"
#include "tests/support/fault_runs.h"
#include "tests/support/scratch.h"

extern "C" int Kdi_iptasks_Init(Tcl_Interp* interp);

namespace {

namespace fs = std::filesystem;
using file_faults::Call;
using Files = std::map<std::string, std::string>;

constexpr Call kWrites[] = {Call::status, Call::open, Call::read, Call::write, Call::close, Call::rename};

struct Command {
  char const* name;
  std::string script;  ///< %s stands for the folder
  int step = 1;        ///< one in so many calls fails, unless the run may be long
};
std::ostream& operator<<(std::ostream& out, Command const& command) { return out << command.name; }

const std::string kPart = " part brvn3716-die-2LHP-e-S-es1";
const Command kCommands[] = {
    {"target", "Ip_config_kdi_tcltasks_GenerateTarget -context {ps_core_name xram instance_name u1" + kPart +
                   "} -params {} -path %s -data NONE"},
    {"files_for_software",
     "Ip_config_kdi_tcltasks_generateSDKSpecificFiles -context {ps_core_name xram instance_name u1" + kPart +
         "} -params {} -path %s"},
    {"a_block",
     "Ip_config_kdi_tcltasks_GenerateTarget -context {ps_core_name cpm5n instance_name u1" + kPart +
         "} -params {CPM_PCIE0_MODES PCIE} -path %s -data NONE",
     3},
    {"a_small_core",
     "Ip_config_kdi_tcltasks_generateSDKSpecificFiles -context {ps_core_name visp instance_name u1} -params {} -path "
     "%s"},
    {"a_larger_system",
     "Ip_config_hardip_tcltasks_GenerateTarget -context {ps_core_name psxl instance_name u1" + kPart +
         "} -params {} -path %s -data NONE",
     19},
};

class OutputFaults : public testing::TestWithParam<Command> {
 protected:
  // The command's result, and what is there then, from a folder that holds an older output.
  Outcome outcome(std::function<void()> const& watch) const {
    fs::remove_all(folder_);
    for (auto const& [name, content] : before_) scratch_.file("data/" + name, content);
    scratch_.file("data/visp_config.cdo", "a line\n");
    return in_a_process(scratch_, watch, [this] { return answer_below(folder_); });
  }
  std::string answer_below(std::string const& folder) const {
    Tcl_FindExecutable(nullptr);
    Tcl_Interp* const interp = Tcl_CreateInterp();
    Kdi_iptasks_Init(interp);
    std::string script = GetParam().script;
    script.replace(script.find("%s"), 2, folder);
    const int code = Tcl_Eval(interp, script.c_str());
    std::string answer = std::to_string(code) + " " + Tcl_GetStringResult(interp);
    Tcl_DeleteInterp(interp);
    return answer;
  }
  // Each process after this has descriptions and core, so that it does little but write.
  void SetUp() override { answer_below(scratch_.path("before")); }
  Files files() const {
    Files all;
    for (auto const& entry : fs::recursive_directory_iterator(folder_))
      if (entry.is_regular_file())
        all[fs::relative(entry.path(), folder_).string()] = kdi::read_file(entry.path().string());
    return all;
  }

  // A state file is written before anything is known of pads, and again with them.
  static bool is_state_without_pads(std::string const& name, std::string const& content) {
    return name == "u1_state.json" && kdi::JsonFile(content, name).root().member("mio").members().empty();
  }
  // A definition has the names of files without their folders.
  static std::string named(Files const& files, std::string const& name) {
    const auto file = std::find_if(files.begin(), files.end(),
                                   [&](auto const& one) { return fs::path(one.first).filename() == name; });
    return file == files.end() ? "nowhere" : file->second;
  }

  Scratch scratch_;
  std::string folder_ = scratch_.path("data");
  Files before_ = {{"hdl/u1.hwdef", "before"}, {"u1.hwh", "before"}};
};

INSTANTIATE_TEST_SUITE_P(Of, OutputFaults, testing::ValuesIn(kCommands),
                         [](auto const& one) { return one.param.name; });

TEST_P(OutputFaults, LeaveWholeFilesAndAreTold) {
  const Outcome calm = outcome([&] { file_faults::watch(folder_); });
  ASSERT_TRUE(calm.ended) << calm.told;
  EXPECT_EQ(calm.value.substr(0, 1), "0") << calm.value;
  const Files good = files();
  ASSERT_NE(good.at("hdl/u1.hwdef"), "before");
  const kdi::hdf::HardwareDefinition whole = kdi::hdf::unpacked(good.at("hdl/u1.hwdef"), "whole");
  const auto check = [&](Outcome const& of, int error) {
    ASSERT_TRUE(of.ended) << of.told;
    const Files after = files();
    for (auto const& [name, content] : after) {
      ASSERT_TRUE(good.contains(name)) << name << " was left behind";
      const bool is_old = before_.contains(name) && content == before_.at(name);
      if (name != "hdl/u1.hwdef") {
        EXPECT_TRUE(is_old || content == good.at(name) || is_state_without_pads(name, content)) << name;
      } else if (!is_old) {
        for (kdi::hdf::PackedFile const& file : kdi::hdf::unpacked(content, name).files) {
          if (file.is_missing) continue;
          const bool is_listed = std::any_of(whole.files.begin(), whole.files.end(),
                                             [&](kdi::hdf::PackedFile const& one) { return one.name == file.name; });
          EXPECT_TRUE(is_listed && file.content == named(good, file.name)) << file.name;
        }
      }
    }
    // that a folder cannot be made is an error without the system's reason
    const std::string all = of.value + of.told;
    const bool is_told =
        all.find(reason(error)) != std::string::npos || all.find("cannot create director") != std::string::npos;
    EXPECT_TRUE(after == good || is_told) << all;
    EXPECT_TRUE(after == good || of.value.starts_with("1 ")) << "the command has no error: " << all;
  };
  const int step = std::getenv("IPTASKS_LONG") == nullptr ? GetParam().step : 1;
  const int runs = fail_each_call(
      calm, {std::begin(kWrites), std::end(kWrites)}, {EIO},
      [&](file_faults::Plan const& plan) { return outcome([&] { file_faults::watch(folder_, plan); }); },
      [&](file_faults::Plan const& plan, Outcome const& of) { check(of, plan.error); }, step);
  EXPECT_GE(runs, 10);
  std::size_t bytes = 0;
  for (auto const& [name, content] : good) bytes += content.size();
  const std::size_t more = 1 + bytes / (step == 1 ? 12U : 5U);
  for (std::size_t room = 0; room < bytes; room += more)
    check(outcome([&] { file_faults::watch_with_room_for(folder_, room); }), ENOSPC);
}

TEST_P(OutputFaults, AFolderThatIsGoneIsMadeOrTold) {
  fs::remove_all(folder_);
  before_.clear();
  const Outcome of = outcome([&] {
    fs::remove_all(folder_);
    file_faults::watch(folder_);
  });
  ASSERT_TRUE(of.ended);
  EXPECT_TRUE(fs::exists(folder_ + "/hdl/u1.hwdef")) << of.value << of.told;
}

}  // namespace
