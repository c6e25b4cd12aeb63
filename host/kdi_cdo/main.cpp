// kdi_cdo: files of configuration commands, for people and for scripts: made of a configuration, changed from one form
// into the other, told with the names of registers, compared, and checked.
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "host/kdi_cdo/commands.h"
#include "host/kdi_cdo/configured.h"
#include "host/kdi_cdo/inputs.h"
#include "host/streams.h"
#include "kdi/common/KdiText.h"

namespace {

using namespace kdi_cdo;

constexpr std::size_t kWidth = 79, kIndent = 7;

// Lines of a width that a terminal has, each behind so many blanks.
std::string wrapped(std::string_view text, std::size_t indent) {
  std::string lines, line;
  for (const std::string_view word : kdi::text::words(text)) {
    if (!line.empty() && indent + line.size() + 1 + word.size() > kWidth) {
      lines += std::string(indent, ' ') + line + "\n";
      line.clear();
    }
    kdi::text::append_word(line, word);
  }
  return lines + std::string(indent, ' ') + line + "\n";
}

std::string heading(char const* title) { return std::string(title) + "\n"; }

std::string synopsis(CommandRow const& row) {
  return std::string("kdi_cdo ") + row.name + (row.options.empty() ? " " : " [OPTION]... ") + row.words;
}

constexpr char kStatuses[] =
    "0 done; 1 the files differ, the check told something, or the configuration has errors; 2 a mistake in the words; "
    "3 "
    "something cannot be read or written.";

std::string help_of(CommandRow const& row) {
  std::string text = heading("NAME") + wrapped(std::string("kdi_cdo ") + row.name + " - " + row.summary, kIndent) +
                     "\n" + heading("SYNOPSIS") + wrapped(synopsis(row), kIndent) + "\n" + heading("DESCRIPTION") +
                     wrapped(row.description, kIndent) + "\n";
  if (!row.options.empty()) text += heading("OPTIONS");
  for (Option const& option : row.options)
    text +=
        wrapped(std::string(option.name) + (option.value == nullptr ? "" : std::string(" ") + option.value), kIndent) +
        wrapped(option.meaning, 2 * kIndent) + "\n";
  return text + heading("EXIT STATUS") + wrapped(kStatuses, kIndent) + "\n" + heading("EXAMPLE") +
         wrapped(row.example, kIndent);
}

std::string help() {
  std::string text =
      heading("NAME") + wrapped("kdi_cdo - files of configuration commands", kIndent) + "\n" + heading("SYNOPSIS");
  for (CommandRow const& row : commands()) text += wrapped(synopsis(row), kIndent);
  text += "\n" + heading("DESCRIPTION") +
          wrapped(
              "A file of configuration commands says what is written to the registers of a device, and in which order. "
              "It is text, or binary with a checksum; commands that read one take either, and - for standard input. "
              "Files are written whole or not at all.",
              kIndent) +
          "\n" + heading("COMMANDS");
  for (CommandRow const& row : commands()) text += wrapped(row.name, kIndent) + wrapped(row.summary, 2 * kIndent);
  return text + "\n       kdi_cdo COMMAND --help tells more of each.\n\n" + heading("EXIT STATUS") +
         wrapped(kStatuses, kIndent);
}

Words read_words(CommandRow const& row, std::vector<std::string> const& words) {
  Words read;
  bool takes_options = true;
  for (std::size_t at = 0; at < words.size(); ++at) {
    std::string const& word = words[at];
    if (!takes_options || word.size() < 2 || word[0] != '-') {
      if (word.empty()) throw UsageError("an empty name of a file");
      read.files.push_back(word);
      continue;
    }
    if (word == "--") {
      takes_options = false;
      continue;
    }
    Option const* known = nullptr;
    for (Option const& option : row.options)
      if (word == option.name) known = &option;
    if (known == nullptr) throw UsageError(std::string(row.name) + " has no option " + word);
    if (read.has(word)) throw UsageError(word + " is given twice");
    if (known->value != nullptr && at + 1 == words.size()) throw UsageError("no value for " + word);
    read.options[word] = known->value == nullptr ? "" : words[++at];
    if (known->value != nullptr && read.options[word].empty()) throw UsageError("an empty value for " + word);
  }
  if (read.files.size() < row.least || read.files.size() > row.most) throw UsageError("should be: " + synopsis(row));
  return read;
}

int run(std::vector<std::string> const& words) {
  if (words.empty()) throw UsageError("which command?");
  if (words[0] == "--help" || words[0] == "-h") return write("-", help()), kDone;
  if (words[0] == "--version") return write("-", "kdi_cdo " IPTASKS_VERSION "\n"), kDone;
  for (CommandRow const& row : commands()) {
    if (words[0] != row.name) continue;
    const std::vector<std::string> rest(words.begin() + 1, words.end());
    for (std::string const& word : rest)
      if (word == "--help" || word == "-h") return write("-", help_of(row)), kDone;
    return row.run(read_words(row, rest));
  }
  throw UsageError("no command " + kdi::text::shown(words[0]));
}

int told(std::exception const& error, int status) {
  std::fprintf(stderr, "kdi_cdo: %s\n", kdi::text::printable(error.what()).c_str());
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  host::fill_standard_streams();
  std::signal(SIGXFSZ, SIG_IGN);  // a file that may not grow is a fault of writing it, told as such
  try {
    return run({argv + 1, argv + argc});
  } catch (UsageError const& error) {
    told(error, kMisused);
    std::fputs("kdi_cdo --help tells the commands\n", stderr);
    return kMisused;
  } catch (ConfigurationError const& error) {
    return told(error, kNo);
  } catch (std::exception const& error) {
    return told(error, kTrouble);
  }
}
