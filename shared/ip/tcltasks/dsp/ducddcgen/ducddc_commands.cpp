#include <cstdio>

#include "kdi/tcl/command.h"
#include "tcltasks/dsp/ducddcgen/ducddc_catalogue.h"
#include "tcltasks/dsp/ducddcgen/ducddc_text.h"
#include "tcltasks/dsp/ducddcgen/ducddcgen.h"

namespace ducddcgen_init {
namespace {

enum class Failure { kDatabase = 1, kGeneral = 2, kUnknown = 3 };

// Runs `body`; an exception goes to `fail(kind, text)`, whose value is returned. The three texts stand here alone.
template <class Body, class Fail>
int guarded(Body body, Fail fail) {
  try {
    return body();
  } catch (DUCDDCException const& exception) {
    return fail(Failure::kDatabase, std::string("Database error: ") + exception.what());
  } catch (std::runtime_error const& exception) {
    return fail(Failure::kGeneral, std::string("General error: ") + exception.what());
  } catch (...) {
    return fail(Failure::kUnknown, "Unknown error in ducddcgen!");
  }
}

int ducddcgen_cmd(ClientData, Tcl_Interp* interp, int /*objc*/, Tcl_Obj* const objv[]) {
  const std::string_view name = tcl::text_view(objv[1]);
  const int selector = tcl::int_of(objv[2]).value_or(0);  // sic: 0 as well where the word is no integer
  return guarded(
      [&] {
        TextBuffer buffer;
        Record const& record = require_record(name);
        return tcl::succeed(interp, file_text(record, selector, buffer));
      },
      [&](Failure kind, std::string text) {
        if (kind == Failure::kUnknown) text += ' ';  // sic: the command's text has it, the function's has not
        return tcl::fail(interp, text + '\n');
      });
}

constexpr tcl::Row kCommands[] = {
    {"ducddcgen", ducddcgen_cmd, tcl::exactly(2, "Invalid number of arguments.Expected are 2")},  // sic: no blank
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr,
                 "\nducddcgen (%s)\n"
                 "Writes .cfg and .coe files for a specified DUC/DDC configuration.\n\n"
                 "Usage: %s config [directory]\n"
                 "       Config strings look like 'duc_chbw10_C4_pb40_if0_frf92_os3'.\n"
                 "       Use -l switch to list all configurations.\n"
                 "       Output is to current working directory unless otherwise specified.\n\n",
                 verstr, argc > 0 ? argv[0] : "ducddcgen");
    return 0;
  }
  if (argc == 2 && argv[1][0] == '-' && (argv[1][1] == 'l' || argv[1][1] == 'L')) {
    std::printf("Database (%s) contains %zu entries:\n", verstr, kRecords);
    for (Record const& record : database) std::puts(name_of(record).c_str());
    std::fflush(stdout);
    return 0;
  }
  return ducddcgen(argv[1], argc > 2 ? argv[2] : ".");
}

void init(Tcl_Interp* interp) { tcl::register_all<kCommands>(interp); }

void uninit() {}

}  // namespace ducddcgen_init

extern "C" int ducddcgen(char const* config, char const* directory) {
  using namespace ducddcgen_init;
  return guarded(
      [&] {
        DUCDDCConfig(config).write_files(directory == nullptr ? "." : directory);
        return 0;
      },
      [](Failure kind, std::string const& text) {
        std::fprintf(stderr, "%s\n", text.c_str());
        return static_cast<int>(kind);
      });
}
