// Fuzzes lists of parameters as scripts give them to a core: each line is one, for a question that its first letter
// picks. Beside not crashing or hanging, a command ends well or with an error, and lists of an instance do not outlive
// it.
#include <cstdint>
#include <string>
#include <string_view>

#include "tests/fuzz/tcl_target.h"

namespace {

constexpr int kMostLines = 8;
constexpr char kContext[] = "ps_core_name xram instance_name fuzzed part brvn3716-die-2LHP-e-S-es1";

void ask(Tcl_Interp* interp, std::string_view line) {
  const std::string prefix = "Ip_config_kdi_tcltasks_", list(line.empty() ? line : line.substr(1));
  switch (line.empty() ? 0 : line[0] % 5) {
    case 0:
      fuzz::call(interp, {prefix + "ip_init", "-context", kContext, "-params", list, "-strength", "10"});
      break;
    case 1:
      fuzz::call(interp, {prefix + "get_ranges", "-context", kContext, "-params", list, "-userparams", list});
      break;
    case 2:
      fuzz::call(interp, {prefix + "get_range", "-context", kContext, "-params", list});
      break;
    case 3:
      fuzz::call(interp, {prefix + "get_user_param_list", "-context", kContext + (" " + list)});
      break;
    default:
      fuzz::call(interp,
                 {prefix + "get_ranges", "-context", kContext, "-params", list, "-userparams", "", "-strength", "5"});
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size > fuzz::kLongestText) return 0;
  Tcl_Interp* const interp = fuzz::interpreter();
  std::string_view text(reinterpret_cast<char const*>(data), size);
  for (int lines = 0; lines < kMostLines && !text.empty(); ++lines) {
    const std::size_t end = text.find('\n');
    ask(interp, text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  fuzz::call(interp, {"Ip_config_kdi_tcltasks_ip_uninit", "-context", kContext});
  return 0;
}
