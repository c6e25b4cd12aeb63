// Fuzzes the commands that take their words one by one: the clock and the block memory families, and memory
// controllers. Each line of the input is a command and its words, with tabs between them; a command that is none of
// these is passed over. Solvers and controllers live on from line to line and end with the input. Beside not crashing
// or hanging, a command ends well or with an error, and a block memory figure is an integer.
#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tests/fuzz/tcl_target.h"

namespace {

constexpr std::size_t kMostLines = 8;
constexpr std::string_view kPrefixes[] = {
    "Ip_Clocking_",  "Ip_blk_mem_gen_", "Init_Clkwiz",        "UnInit_Clkwiz", "Get",      "SetClkwizProperty",
    "MMCMCalculate", "PLLCalculate",    "ChangeCompInstName", "mig::",         "mig_mig_", "memory::",
    "memory_v1_",    "advwiz::"};

std::vector<std::string> split(std::string const& text, char separator) {
  std::vector<std::string> parts(1);
  for (const char c : text) {
    if (c == separator)
      parts.emplace_back();
    else
      parts.back() += c;
  }
  return parts;
}

bool is_fuzzed(std::string_view command) {
  return std::any_of(std::begin(kPrefixes), std::end(kPrefixes),
                     [command](std::string_view prefix) { return command.starts_with(prefix); });
}

void run(Tcl_Interp* interp, std::string const& line) {
  const std::vector<std::string> words = split(line, '\t');
  if (!is_fuzzed(words[0])) return;
  Tcl_CmdInfo known;
  if (Tcl_GetCommandInfo(interp, words[0].c_str(), &known) == 0) return;
  int figure = 0;
  if (fuzz::call(interp, words) && words[0].starts_with("Ip_blk_mem_gen_"))
    fuzz::require(Tcl_GetIntFromObj(nullptr, Tcl_GetObjResult(interp), &figure) == TCL_OK, "no integer", line);
  Tcl_ResetResult(interp);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size > fuzz::kLongestText) return 0;
  Tcl_Interp* const interp = fuzz::interpreter();
  std::vector<std::string> lines = split(std::string(reinterpret_cast<char const*>(data), size), '\n');
  if (lines.size() > kMostLines) lines.resize(kMostLines);
  for (std::string const& line : lines) run(interp, line);
  // what the lines made
  for (std::string const& line : lines) {
    const std::vector<std::string> words = split(line, '\t');
    if (words.size() > 2 && words[0] == "Init_Clkwiz") run(interp, "UnInit_Clkwiz\t" + words[1] + "\t" + words[2]);
  }
  for (char const* all :
       {"mig_mig_v7_0_Ip_Mig_unLoadPkg", "mig_mig_v7_1_Ip_Mig_unLoadPkg", "memory_v1_Ip_memory_unLoadPkg"})
    run(interp, all);
  return 0;
}
