#include "tcltasks/frame/engine_rows.h"

namespace engine_rows::detail {
namespace {

template <class... Arguments>
void send(Trace const& trace, char const* format, Arguments... arguments) {
  ComMsgMgr::sendScopedMsg::eval(0, __FILE__, __LINE__, frame::kMessageCategory, trace.channel, trace.mask, format,
                                 arguments...);
}

}  // namespace

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
