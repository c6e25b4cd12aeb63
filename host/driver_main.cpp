// cdo_driver: the package's stand-alone driver, from a file of parameters to configuration data as C sources. What it
// does is the `main` that the library exports (tcltasks/psmodels/driver.h); this one looks at the words first.
#include <dlfcn.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <string_view>

#include "host/streams.h"

namespace {

constexpr char kHelp[] = R"(NAME
       cdo_driver - configuration data of a processing system as C sources

SYNOPSIS
       cdo_driver PARAMETERS OUTPUT

DESCRIPTION
       Reads a file of parameters, brings the model of the processing system to
       them, and writes C sources that configure its registers into the folder
       OUTPUT. A line of the file is a parameter, a comma and its value; among
       them device, part, ps_core_name (psxl, pmcps or ps11), ps_core_ver,
       family, language, package and speedgrade say which core is meant. The
       state of the core is left in the working directory.

OPTIONS
       --help, --version

EXIT STATUS
       0 done; 1 the file cannot be read, or the parameters make no
       configuration; 2 a mistake in the words.

EXAMPLE
       cdo_driver parameters.txt sources
)";

constexpr int kFailed = 1, kMisused = 2;

int printed(std::string_view text) {
  const bool is_whole = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  return std::fflush(stdout) == 0 && is_whole ? 0 : kFailed;
}

int told(std::string const& text) {
  std::fprintf(stderr, "cdo_driver: %s\n", text.c_str());
  return kFailed;
}

using Main = int (*)(int, char**);

}  // namespace

int main(int argc, char** argv) {
  host::fill_standard_streams();
  std::signal(SIGXFSZ, SIG_IGN);
  const std::string_view first = argc > 1 ? argv[1] : "";
  if (first == "--help" || first == "-h") return printed(kHelp);
  if (first == "--version") return printed("cdo_driver " IPTASKS_VERSION "\n");
  if (argc != 3) {
    told("a file of parameters and a folder are needed");
    std::fputs("cdo_driver --help tells the words\n", stderr);
    return kMisused;
  }
  auto* const driver = reinterpret_cast<Main>(::dlsym(RTLD_NEXT, "main"));  // the library's, behind this one
  if (driver == nullptr) return told("the library has no driver");
  try {
    return driver(argc, argv) == 0 ? 0 : kFailed;
  } catch (std::exception const& error) {
    return told(error.what());
  } catch (std::string const& text) {
    return told(text);
  } catch (char const* text) {
    return told(text);
  }
}
