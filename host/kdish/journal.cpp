#include "host/kdish/journal.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <tcl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <stdexcept>
#include <utility>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"

namespace kdish {
namespace {

constexpr std::string_view kHeader = "# kdish journal 1\n";
constexpr std::string_view kOk = "#= ok";
constexpr std::string_view kError = "#= error";
constexpr std::string_view kUnknown = "#= unknown";

[[noreturn]] void fail(std::string const& path, char const* what) {
  throw std::runtime_error(path + ": " + what + ": " + kdi::text::system_reason(errno));
}

std::string quoted(std::string const& script) {
  char const* const word = script.c_str();
  char* const list = Tcl_Merge(1, &word);
  std::string text = list;
  Tcl_Free(list);
  return text;
}

std::optional<JournalEntry::Ending> ending_of(std::string_view line) {
  if (line == kOk) return JournalEntry::Ending::ok;
  if (line == kError) return JournalEntry::Ending::error;
  if (line == kUnknown) return JournalEntry::Ending::unknown;
  return std::nullopt;
}

// Tells where in a script the commands of an entry end. Each is parsed once: asked at each of its lines whether it is
// whole, a long command would take time by the square of its length.
class CommandEnds {
 public:
  explicit CommandEnds(std::string_view script) : script_(script) {}

  // The commands from here on are another entry's.
  void begin(std::size_t at) {
    at_ = at;
    fault_end_.reset();
  }
  // Nothing up to here is a command's.
  void skip_to(std::size_t at) { at_ = at; }

  // Whether the commands before `at` are whole there. Else the one that is not goes on at `at`.
  bool are_whole(std::size_t at) {
    while (at_ < at && !fault_end_) pass_one(at);
    return fault_end_.value_or(at_) <= at;
  }

 private:
  // Goes behind one comment or command, or to `at` if only blanks stand before it.
  void pass_one(std::size_t at) {
    bool goes_on = false;  // a line that ends in a backslash does
    for (; at_ < at; at_ += goes_on ? 2 : 1) {
      goes_on = script_.substr(at_).starts_with("\\\n");
      if (!goes_on && !kdi::text::is_blank(script_[at_])) break;
    }
    if (at_ >= at && !goes_on) return;
    if (script_[at_] == '#') return pass_comment();
    Tcl_Parse parse;
    char const* const begin = script_.data();
    const bool is_command =
        Tcl_ParseCommand(nullptr, begin + at_, static_cast<int>(script_.size() - at_), 0, &parse) == TCL_OK;
    if (parse.incomplete != 0)
      at_ = script_.size();
    else if (is_command)
      at_ = static_cast<std::size_t>(parse.commandStart + parse.commandSize - begin);
    else  // to Tcl a command with a fault is whole behind the line of the fault, and so is all that follows
      fault_end_ = std::min(script_.find('\n', static_cast<std::size_t>(parse.term - begin)), script_.size() - 1) + 1;
    Tcl_FreeParse(&parse);
  }

  // A line that ends in a backslash goes on.
  void pass_comment() {
    bool is_escaped = false;
    for (; at_ < script_.size(); ++at_) {
      if (script_[at_] == '\n' && !is_escaped) break;
      is_escaped = script_[at_] == '\\' && !is_escaped;
    }
  }

  std::string_view script_;
  std::size_t at_ = 0;
  std::optional<std::size_t> fault_end_;
};

std::vector<JournalEntry> entries_of(std::string_view bytes) {
  using Ending = JournalEntry::Ending;
  std::vector<JournalEntry> entries;
  JournalEntry entry;
  CommandEnds commands(bytes);
  int line_number = 0;
  for (std::size_t at = 0, next = 0; at < bytes.size(); at = next) {
    const std::size_t end = bytes.find('\n', at);
    const bool is_cut = end == std::string_view::npos;
    const std::string_view line = bytes.substr(at, end - at);
    next = is_cut ? bytes.size() : end + 1;
    ++line_number;
    const bool is_first = entry.script.empty();
    const auto ending = ending_of(line);
    if (is_first ? line.empty() || line.starts_with('#')
                 : (line.starts_with("#>") || line.starts_with("#=")) && commands.are_whole(at)) {
      if (ending && !is_first) {
        entry.ending = *ending;
        entries.push_back(std::exchange(entry, {}));
      }  // else the header of a run, a remark, or half of an ending, if it is the last line
      commands.skip_to(next);
      continue;
    }
    if (is_first) {
      entry.line = line_number;
      commands.begin(at);
    }
    entry.script.append(line) += '\n';
    if (is_cut) entry.ending = Ending::cut;
  }
  if (Tcl_CommandComplete(entry.script.c_str()) == 0) entry.ending = Ending::cut;
  if (!entry.script.empty()) entries.push_back(entry);
  return entries;
}

// What has to stand in front of the next command of the journal in the file `path`.
std::string continuation(std::string const& path) {
  const std::string bytes = kdi::read_file(path);
  if (!std::string_view(bytes).starts_with(kHeader))
    throw std::runtime_error(path + ": holds something else than a journal, and is left alone");
  const std::vector<JournalEntry> entries = entries_of(bytes);
  std::string text = bytes.back() == '\n' ? "" : "\n";
  if (entries.empty()) return text;
  if (entries.back().ending == JournalEntry::Ending::cut)
    throw std::runtime_error(path + ":" + std::to_string(entries.back().line) +
                             ": the journal breaks off in the middle of this command, and is left alone");
  if (entries.back().ending == JournalEntry::Ending::unknown) text += std::string(kUnknown) + "\n";
  return text;
}

}  // namespace

Journal::~Journal() { give_up(); }

bool Journal::is_at(std::string const& path) const {
  struct stat asked {};
  struct stat open_one {};
  return is_open() && ::stat(path.c_str(), &asked) == 0 && ::fstat(descriptor_, &open_one) == 0 &&
         asked.st_dev == open_one.st_dev && asked.st_ino == open_one.st_ino;
}

void Journal::open(std::string const& path) {
  constexpr mode_t kPrivate = 0600;  // what a person does with the tools is theirs
  if (is_at(path)) return;           // it goes on
  struct stat status {};
  Journal opened;
  opened.path_ = path;
  opened.descriptor_ = kdi::open_file(path, O_RDWR | O_CREAT | O_APPEND | O_NOCTTY, kPrivate);
  if (!opened.is_open() || ::fstat(opened.descriptor_, &status) != 0) fail(path, "cannot be written");
  std::string begin(kHeader);
  if (S_ISREG(status.st_mode)) {
    // there are file systems without locks
    if (::flock(opened.descriptor_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
      throw std::runtime_error(path + ": this journal is being written by another process");
    if (::fstat(opened.descriptor_, &status) != 0) fail(path, "cannot be written");
    if (status.st_size != 0) begin = continuation(path);
  }
  opened.write(begin);
  close();
  descriptor_ = std::exchange(opened.descriptor_, -1);
  path_ = path;
}

void Journal::close() {
  if (is_open() && ::close(std::exchange(descriptor_, -1)) != 0 && errno != EINTR)
    fail(path_, "the end of the journal cannot be written");
}

void Journal::give_up() noexcept {
  if (is_open()) ::close(std::exchange(descriptor_, -1));
}

void Journal::write(std::string_view text) {
  if (!is_open() || text.empty()) return;
  // Half a line would be taken for a command; if it stays, a reader sees that the journal breaks off.
  if (kdi::append_whole(descriptor_, text)) return;
  const int error = errno;
  give_up();
  errno = error;
  fail(path_, "the journal ends here: it cannot be written");
}

void Journal::command(std::string const& script) {
  if (script.empty()) return;
  const bool goes_on = Tcl_CommandComplete(script.c_str()) == 0 || script.back() == '\\';
  if (goes_on || script.find("\n#=") != std::string::npos || script.find("\n#>") != std::string::npos)
    write("eval " + quoted(script) + "\n");
  else
    write((script[0] == '#' ? ";" : "") + script + "\n");  // a command may begin behind a comment
}

void Journal::ended(bool is_ok) { write(std::string(is_ok ? kOk : kError) + "\n"); }

void Journal::remark(std::string const& text) {
  std::string lines = "#> ";
  for (const char c : text) lines += c == '\n' ? std::string("\n#> ") : std::string(1, c);
  if (lines.ends_with('\\')) lines += ' ';  // or the next line would be part of the comment
  write(lines + "\n");
}

std::vector<JournalEntry> read_journal(std::string const& path) {
  const std::string bytes = kdi::read_input(path);
  if (!std::string_view(bytes).starts_with(kHeader)) throw std::runtime_error(path + ": is no journal");
  return entries_of(bytes);
}

}  // namespace kdish
