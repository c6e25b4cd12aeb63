// kdish: the process around the package, for people and for scripts.
#include <tcl.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/kdish/characters.h"
#include "host/kdish/shell.h"
#include "host/streams.h"

namespace {

constexpr char const* kUsage =
    "usage: kdish ?option ...?                      a session, or commands from standard input\n"
    "       kdish ?option ...? script ?word ...?    a script; its words are in argv\n"
    "       kdish ?option ...? -c command ?word ...?\n"
    "       kdish ?option ...? --replay journal\n"
    "\n"
    "  -c command        runs the command and prints its result\n"
    "  --json            prints results as JSON, alone on standard output; all else goes to standard error\n"
    "  --journal file    appends the commands that are run to a journal\n"
    "  --replay file     runs the commands of a journal, until one ends otherwise than it did\n"
    "  --color when      auto (default), always or never\n"
    "  --help, --version\n"
    "\n"
    "A session reads ~/.kdishrc first, or the file that KDISH_RC names; none if that is empty.\n"
    "Exit status: 0; 1 if a command fails; 2 for a mistake in these words; what `exit` says in a script.\n";

class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Invocation {
  kdish::ShellOptions options;
  bool asks_for_help = false;
  bool asks_for_version = false;
};

kdish::Colour colour_of(std::string const& word) {
  if (word == "auto") return kdish::Colour::automatic;
  if (word == "always") return kdish::Colour::always;
  if (word == "never") return kdish::Colour::never;
  throw UsageError("--color takes auto, always or never, not \"" + word + "\"");
}

Invocation read_words(std::vector<std::string> const& words) {
  Invocation read;
  kdish::ShellOptions& options = read.options;
  std::size_t at = 0;
  const auto value = [&] {
    if (at + 1 >= words.size()) throw UsageError("no value for " + words[at]);
    return words[++at];
  };
  const auto path = [&] {
    std::string name = value();
    if (name.empty()) throw UsageError("an empty name for " + words[at - 1]);
    return name;
  };
  for (; at < words.size() && words[at].size() > 1 && words[at][0] == '-'; ++at) {
    const std::string& word = words[at];
    if (word == "--") {
      ++at;
      break;
    }
    if (word == "--json")
      options.json = true;
    else if (word == "--journal")
      options.journal = path();
    else if (word == "--color" || word == "--colour")
      options.colour = colour_of(value());
    else if (word == "--help" || word == "-h")
      read.asks_for_help = true;
    else if (word == "--version")
      read.asks_for_version = true;
    else if (word == "-c") {
      options.command = value();
      ++at;
      break;
    } else if (word == "--replay") {
      options.script = path();
      options.replays = true;
      ++at;
      break;
    } else
      throw UsageError("no option " + word);
  }
  if (!options.command && !options.replays && at < words.size()) {
    options.script = words[at++];
    if (options.script.empty()) throw UsageError("an empty name of a script");
  }
  options.arguments.assign(words.begin() + static_cast<std::ptrdiff_t>(at), words.end());
  if (options.replays && !options.arguments.empty()) throw UsageError("a journal takes no words");
  return read;
}

int run(kdish::ShellOptions const& options) {
  try {
    static auto* const shell = new kdish::Shell(options);  // never deleted
    return shell->run();
  } catch (std::exception const& error) {
    std::fprintf(stderr, "kdish: %s\n", error.what());
    return 1;
  }
}

}  // namespace

int main(int argc, char** argv) {
  constexpr int kMisused = 2;
  host::fill_standard_streams();
  Tcl_FindExecutable(argv[0]);
  kdish::agree_on_characters();
  std::signal(SIGXFSZ, SIG_IGN);  // a file that may not grow is a fault of writing it, told as such
  try {
    const Invocation invocation = read_words({argv + 1, argv + argc});
    if (invocation.asks_for_help) return std::fputs(kUsage, stdout) < 0 || std::fflush(stdout) != 0 ? 1 : 0;
    if (invocation.asks_for_version) return std::puts("kdish " KDISH_VERSION) < 0 || std::fflush(stdout) != 0 ? 1 : 0;
    const int status = run(invocation.options);
    Tcl_Exit(status);
    return status;
  } catch (UsageError const& error) {
    std::fprintf(stderr, "kdish: %s\n%s", error.what(), kUsage);
    return kMisused;
  }
}
