// What the commands of coretools share: the open cores of an interpreter, and values between Tcl and C++.
#pragma once

#include <tcl.h>

#include <map>
#include <memory>
#include <string>
#include <utility>

#include "host/coretools/opened_core.h"
#include "kdi/common/KdiTypes.h"
#include "kdi/tcl/command.h"

namespace coretools {

// A core with its name and the scripts that hear of its changes.
struct Open {
  Open(std::string const& identifier, ParamMap context, kdi::ip::Customization::Begin begin)
      : core(identifier, std::move(context), std::move(begin)) {}

  OpenedCore core;
  std::string on_update, on_change;
};

// What an interpreter has open. A command that is at work on a core keeps it, whatever a script closes meanwhile.
struct Session {
  Tcl_Interp* interp;
  std::map<std::string, std::shared_ptr<Open>> cores;
  unsigned count = 0;
};

// Throws for a name by which nothing is open.
std::shared_ptr<Open> opened(Session& session, Tcl_Obj* name);

StrPairs pairs_of(tcl::Words words);
// Throws if it is no list of names and values; `what` it should be, for people.
ParamMap map_of(Tcl_Obj* list, char const* what);

Tcl_Obj* dict_of(ParamMap const& map);
Tcl_Obj* object_of(kdi::cores::Record const& record);

// The commands that ask a model for one of its operations each.
void register_model_commands(Session& session);
// The commands about registers, and about files of configuration commands.
void register_cdo_commands(Session& session);
// The commands that read the other files of a configured core.
void register_output_commands(Session& session);

}  // namespace coretools
