// The package's entry point: what it registers, in which order, once or again, and its exit handler.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <tcl.h>

#include <set>

#include "tests/support/contract.h"

extern "C" int Kdi_iptasks_Init(Tcl_Interp* interp);

namespace {

bool is_loading = false;
std::vector<std::string> commands;
int registrations = 0;
int runs = 0;
Tcl_ExitProc* package_handler = nullptr;

void counting_handler(ClientData data) {
  ++runs;
  package_handler(data);
}

}  // namespace

// These stand before Tcl's own: what the package registers while it is loaded is looked at on its way.
extern "C" Tcl_Command Tcl_CreateObjCommand(Tcl_Interp* interp, char const* name, Tcl_ObjCmdProc* proc, ClientData data,
                                            Tcl_CmdDeleteProc* at_end) {
  static const auto tcls_own =
      reinterpret_cast<decltype(&Tcl_CreateObjCommand)>(dlsym(RTLD_NEXT, "Tcl_CreateObjCommand"));
  if (is_loading) {
    commands.emplace_back(name);
    EXPECT_EQ(data, nullptr) << name;
    EXPECT_EQ(at_end, nullptr) << name;
  }
  return tcls_own(interp, name, proc, data, at_end);
}

extern "C" void Tcl_CreateExitHandler(Tcl_ExitProc* proc, ClientData data) {
  using CreateHandler = void (*)(Tcl_ExitProc*, ClientData);
  static const auto tcls_own = reinterpret_cast<CreateHandler>(dlsym(RTLD_NEXT, "Tcl_CreateExitHandler"));
  if (!is_loading) return tcls_own(proc, data);
  ++registrations;
  package_handler = proc;
  tcls_own(counting_handler, data);
}

namespace {

void init(Tcl_Interp* interp) {
  commands.clear();
  is_loading = true;
  EXPECT_EQ(Kdi_iptasks_Init(interp), TCL_OK);
  is_loading = false;
  EXPECT_EQ(commands, contract::commands());
}

std::string evaluate(Tcl_Interp* interp, char const* script) {
  Tcl_Eval(interp, script);
  return Tcl_GetStringResult(interp);
}

TEST(Contract, HasEighteenFamiliesOf367Commands) {
  std::set<std::string> names;
  std::size_t count = 0;
  for (contract::Family const& family : contract::families()) {
    names.insert(family.commands.begin(), family.commands.end());
    count += family.commands.size();
  }
  EXPECT_EQ(contract::families().size(), 18U);
  EXPECT_EQ(count, 367U);
  EXPECT_EQ(names.size(), count) << "a name stands twice";
}

TEST(Entry, RegistersItsCommandsInOrderInEachInterpreterAndItsExitHandlerOnce) {
  Tcl_FindExecutable(nullptr);
  Tcl_Interp* first = Tcl_CreateInterp();
  Tcl_Interp* second = Tcl_CreateInterp();
  init(first);
  init(second);
  init(first);  // replaces the commands by the same ones
  EXPECT_EQ(evaluate(first, "ldpc::gen_core_params {}"), "{12 0 AXIS_WIDTH}");
  Tcl_DeleteInterp(first);
  EXPECT_EQ(evaluate(second, "ldpc::gen_core_params {}"), "{12 0 AXIS_WIDTH}");
  Tcl_DeleteInterp(second);

  EXPECT_EQ(registrations, 1);
  EXPECT_EQ(runs, 0);
  Tcl_Finalize();
  EXPECT_EQ(runs, 1);
}

}  // namespace
