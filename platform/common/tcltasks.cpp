#include "kdi/common/tcltasks.h"

#include <tcl.h>

#include <atomic>
#include <limits>
#include <utility>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/HTCTclInterp.h"
#include "kdi/common/host/TclHost.h"
#include "kdi/tcl/values.h"
#include "platform/common/callees.h"

namespace hdi::tcltasks {
namespace {

using JournalCall = std::function<void(std::string const&)>;

// Never destroyed: commands may be evaluated while the process ends.
struct Journals {
  kdi::Callees<JournalCall> all;  // one, but while it is changed
  std::atomic<int> number = 0;
};

Journals& the_journals() {
  static Journals& instance = *new Journals;
  return instance;
}

void record(std::string const& command) {
  the_journals().all.each([&command](JournalCall const& journal) {
    try {
      journal(command);
    } catch (...) {
      // the journal has nobody to report its own failure to
    }
  });
}

struct Outcome {
  int status;
  std::string result;
};

Outcome evaluate(std::string const& script, Tcl_Interp* interp, bool recorded) {
  if (interp == nullptr) interp = HTCTclInterp::getDefaultInterp();
  if (script.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
    Tcl_SetResult(interp, const_cast<char*>("the command is longer than Tcl takes"), TCL_STATIC);
    return {TCL_ERROR, Tcl_GetStringResult(interp)};
  }
  if (recorded) record(script);

  Tcl_Preserve(interp);  // the script may delete it
  const int status = Tcl_EvalEx(interp, script.data(), static_cast<int>(script.size()), TCL_EVAL_GLOBAL);
  Outcome answer{status, tcl::text_of(Tcl_GetObjResult(interp))};
  Tcl_Release(interp);
  return answer;
}

thread_local std::string last_result;

}  // namespace

int task_manager::eval_in_tcl(std::string const& script, Tcl_Interp* interp, bool record) {
  Outcome answer = evaluate(script, interp, record);
  last_result = std::move(answer.result);
  return answer.status;
}

std::string task_manager::tcl_get_result() { return last_result; }

int tclcmdobj(Tcl_Interp* interp, std::string const& command, task_manager::record_mode record, bool quiet) {
  const Outcome answer = evaluate(command, interp, record == task_manager::record_command);
  if (answer.status == TCL_ERROR && !quiet)
    ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, "tcltasks", ComMsgMgr::MSG_ERROR, "%s", answer.result.c_str());
  return answer.status;
}

}  // namespace hdi::tcltasks

void tcl_host::set_journal(std::function<void(std::string const&)> journal) {
  hdi::tcltasks::Journals& known = hdi::tcltasks::the_journals();
  const int added = journal ? known.all.add(std::move(journal)) : 0;
  known.all.remove(known.number.exchange(added));
}
