// The package's entry point: what it registers, once or again, and its exit handler.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <tcl.h>

extern "C" int Kdi_iptasks_Init(Tcl_Interp* interp);

namespace {

bool is_loading = false;
int registrations = 0;
int runs = 0;
Tcl_ExitProc* package_handler = nullptr;

void counting_handler(ClientData data) {
  ++runs;
  package_handler(data);
}

}  // namespace

// Stands before Tcl's own: what the package registers while it is loaded is counted on its way.
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
  is_loading = true;
  EXPECT_EQ(Kdi_iptasks_Init(interp), TCL_OK);
  is_loading = false;
}

std::string evaluate(Tcl_Interp* interp, char const* script) {
  Tcl_Eval(interp, script);
  return Tcl_GetStringResult(interp);
}

TEST(Entry, RegistersItsCommandsInEachInterpreterAndItsExitHandlerOnce) {
  Tcl_FindExecutable(nullptr);
  Tcl_Interp* first = Tcl_CreateInterp();
  Tcl_Interp* second = Tcl_CreateInterp();
  init(first);
  init(second);
  init(first);  // replaces the commands by the same ones
  constexpr char const* kCommands = "lsort [concat [info commands ::sd_fec::*] [info commands ::ldpc::*]]";
  constexpr char const* kExpected =
      "::ldpc::gen_core_params ::ldpc::gen_ldpc_params ::sd_fec::gen_core_params ::sd_fec::gen_ldpc_params "
      "::sd_fec::gen_turbo_params";
  EXPECT_EQ(evaluate(first, kCommands), kExpected);
  EXPECT_EQ(evaluate(second, kCommands), kExpected);
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
