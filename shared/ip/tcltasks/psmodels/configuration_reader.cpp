#include "tcltasks/psmodels/configuration_reader.h"

#include "kdi/common/HTCTclInterp.h"
#include "kdi/common/tcltasks.h"
#include "kdi/tcl/values.h"

namespace psmodels {
namespace {

// Whether Tcl sees one word in braces that ends with the command. A configuration with other braces would go on as
// commands of its own.
bool is_one_braced_word(std::string const& command) {
  const std::size_t begin = command.find('{');
  if (begin == std::string::npos) return false;
  Tcl_Parse parse;
  char const* end = nullptr;
  if (Tcl_ParseBraces(nullptr, command.c_str() + begin, static_cast<int>(command.size() - begin), &parse, 0, &end) !=
      TCL_OK)
    return false;
  Tcl_FreeParse(&parse);
  return end == command.c_str() + command.size();
}

}  // namespace

void read_configuration(std::string const& command, HSTVector<std::pair<std::string, std::string>>& answer) {
  using hdi::tcltasks::task_manager;
  Tcl_Interp* const interp = HTCTclInterp::getDefaultInterp();
  if (interp == nullptr || !is_one_braced_word(command)) return;
  if (hdi::tcltasks::tclcmdobj(interp, command, task_manager::dont_record_command, true) != TCL_OK) return;
  const tcl::ObjRef list(Tcl_GetObjResult(interp));
  const auto elements = tcl::elements_of(list.get());
  if (!elements) return;
  for (std::size_t i = 0; i < elements->size(); i += 2) {
    const std::string parameter = Tcl_GetString((*elements)[i]);
    std::string value = i + 1 < elements->size() ? Tcl_GetString((*elements)[i + 1]) : "";
    if (value.find_first_of("{ ") != std::string::npos) value = "{" + value + "}";
    answer.emplace_back(parameter, value);
  }
}

}  // namespace psmodels
