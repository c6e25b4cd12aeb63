#include "tcltasks/frame/engine_rows.h"

namespace engine_rows::detail {
namespace {

// A debug kind has its level's number.
int level_of(Trace const& trace) { return static_cast<int>(trace.mask - ComMsgMgr::MSG_DEBUG0); }

template <class... Arguments>
void send(Trace const& trace, char const* format, Arguments... arguments) {
  ComMsgMgr::sendScopedMsg::eval(level_of(trace), __FILE__, __LINE__, frame::kMessageCategory, trace.channel,
                                 trace.mask, format, arguments...);
}

}  // namespace

std::string no_value(Call call, Tcl_Obj* word) {
  const std::string command = mutils::util::tcl2cpp(call[0]);
  const std::size_t scope = command.rfind("::");
  return command.substr(scope == std::string::npos ? 0 : scope + 2) + " : no value for " +
         kdi::text::shown(tcl::text_of(word));
}

bool Trace::is_on() const { return ComMsgMgr::isShown(channel, level_of(*this)); }

void Trace::enter(Call call) const {
  send(*this, "\t %s- objc: %d first: %s Enter\n", name, static_cast<int>(call.size()),
       call.size() > 1 ? Tcl_GetString(call[1]) : "");
}

void Trace::options(ParamMap const& options) const {
  std::string shown;
  for (auto const& [key, value] : options) shown.append(key).append(" [").append(value).append("] ");
  send(*this, "\t\t arguments: %s\n", shown.c_str());
}

void Trace::exit(int code, Tcl_Interp* interp) const {
  send(*this, "\t %s- result: %d %s Exit\n", name, code, Tcl_GetString(Tcl_GetObjResult(interp)));
}

}  // namespace engine_rows::detail
