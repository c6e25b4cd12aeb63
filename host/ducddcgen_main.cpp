// ducddcgen: writes the files of one up- or down-converter configuration, lists the catalogue, or searches it.
#include <csignal>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "host/dsptools/chain_search.h"
#include "host/streams.h"
#include "kdi/common/KdiText.h"
#include "tcltasks/dsp/ducddcgen/ducddcgen.h"

namespace {

constexpr char kHelp[] = R"(NAME
       ducddcgen - files of up- and down-converter chains

SYNOPSIS
       ducddcgen CONFIGURATION [DIRECTORY]
       ducddcgen -l
       ducddcgen --search [NAME VALUE]...

DESCRIPTION
       A catalogue of chains of filters that bring carriers from base band to
       the rate of a radio, or back. The files of a chain are its description
       (.cfg), what its stages take (.rsrc) and the coefficients of each stage
       (.coe); they are written to DIRECTORY, or to the working directory, each
       whole or not at all.

OPTIONS
       -l
              lists the names of all chains
       --search [NAME VALUE]...
              lists the chains that are as all the words say, the one with the
              fewest multipliers first
       --help, --version

SEARCH
       direction both|ddc|duc
              down- or up-converters
       bandwidth MHZ, carriers NUMBER, passband MHZ
              distance of the carriers, how many, and all of them together
       signal any|complex|real
              at the radio side
       rate MHZ, clock MHZ
              samples at the radio side, and the clock of the chain
       multipliers NUMBER, block_memories NUMBER
              the most that the chain may take
       latency CYCLES, settling MICROSECONDS
              the most that the stages may take, and that a step may settle for
       optimise area|speed, memory distributed|block
              the variant that is built, whose figures count
       sort multipliers|block_memories|latency|settling|name
              what comes first
       most NUMBER
              of so many lines

       Each number may be a range, as in carriers '2 4'.

EXIT STATUS
       0 done; 1 there is no such chain; 2 a file cannot be written, or a
       mistake in the words; 3 anything else.

EXAMPLE
       ducddcgen --search direction ddc bandwidth 10 carriers 4 rate 122.88
)";

constexpr int kNone = 1, kMisused = 2, kTrouble = 3;

int printed(std::string_view text) {
  const bool is_whole = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  return std::fflush(stdout) == 0 && is_whole ? 0 : kTrouble;
}

int search(std::vector<std::string_view> const& words) {
  try {
    const std::vector<dsptools::Chain> chains = dsptools::find_chains(words);
    if (!chains.empty()) return printed(dsptools::chain_table(chains));
    const std::string reasons = dsptools::why_none(words);
    for (const std::string_view line : kdi::text::lines(reasons))
      std::fprintf(stderr, "ducddcgen: %.*s\n", static_cast<int>(line.size()), line.data());
    return kNone;
  } catch (std::invalid_argument const& error) {
    std::fprintf(stderr, "ducddcgen: %s\nducddcgen --help tells the words\n", error.what());
    return kMisused;
  } catch (std::exception const& error) {
    std::fprintf(stderr, "ducddcgen: %s\n", error.what());
    return kTrouble;
  }
}

}  // namespace

int main(int argc, char** argv) {
  host::fill_standard_streams();
  std::signal(SIGXFSZ, SIG_IGN);  // a file that may not grow is a fault of writing it, told as such
  const std::string_view first = argc > 1 ? argv[1] : "";
  if (first == "--help" || first == "-h") return printed(kHelp);
  if (first == "--version") return printed("ducddcgen " IPTASKS_VERSION "\n");
  if (first == "--search") return search({argv + 2, argv + argc});
  if (first.starts_with("--")) {
    std::fprintf(stderr, "ducddcgen: no option %s\nducddcgen --help tells the words\n", argv[1]);
    return kMisused;
  }
  return ducddcgen_init::main(argc, argv);
}
