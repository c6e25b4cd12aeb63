#include "host/kdish/journal.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <tcl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "host/kdish/terminal.h"
#include "kdi/common/KdiFile.h"

namespace kdish {
namespace {

constexpr std::string_view kHeader = "# kdish journal 1\n";
constexpr std::string_view kOk = "#= ok";
constexpr std::string_view kError = "#= error";
constexpr std::string_view kUnknown = "#= unknown";

[[noreturn]] void fail(std::string const& path, char const* what) {
  throw std::runtime_error(path + ": " + what + ": " + std::strerror(errno));
}

std::string quoted(std::string const& script) {
  char const* const word = script.c_str();
  char* const list = Tcl_Merge(1, &word);
  std::string text = list;
  Tcl_Free(list);
  return text;
}

std::vector<JournalEntry> entries_of(std::string_view bytes) {
  std::vector<JournalEntry> entries;
  JournalEntry entry;
  int line_number = 0;
  for (std::size_t at = 0; at < bytes.size();) {
    const std::size_t end = bytes.find('\n', at);
    const bool is_cut = end == std::string_view::npos;
    const std::string line(bytes.substr(at, end - at));
    at = is_cut ? bytes.size() : end + 1;
    ++line_number;
    const bool is_whole = Tcl_CommandComplete(entry.script.c_str()) != 0;
    if (is_whole && !entry.script.empty() && (line == kOk || line == kError || line == kUnknown)) {
      entry.ending = line == kOk      ? JournalEntry::Ending::ok
                     : line == kError ? JournalEntry::Ending::error
                                      : JournalEntry::Ending::unknown;
      entries.push_back(entry);
      entry = {};
    } else if (is_whole && entry.script.empty() && (line.empty() || line.starts_with('#'))) {
      continue;  // the header of this run, and remarks
    } else if (is_whole && (line.starts_with("#>") || line.starts_with("#="))) {
      continue;  // how it ended, half of it, if it is the last line
    } else {
      if (entry.script.empty()) entry.line = line_number;
      entry.script += line + "\n";
      if (is_cut) entry.ending = JournalEntry::Ending::cut;
    }
  }
  if (Tcl_CommandComplete(entry.script.c_str()) == 0) entry.ending = JournalEntry::Ending::cut;
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
  constexpr mode_t kMode = 0666;
  if (is_at(path)) return;  // it goes on
  struct stat status {};
  Journal opened;
  opened.path_ = path;
  do opened.descriptor_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY, kMode);
  while (!opened.is_open() && errno == EINTR);
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
  struct stat before {};
  const bool can_shrink = ::fstat(descriptor_, &before) == 0 && S_ISREG(before.st_mode);
  if (write_all(descriptor_, text)) return;
  const int error = errno;
  // Half a line would be taken for a command; if it stays, a reader sees that the journal breaks off.
  if (can_shrink && ::ftruncate(descriptor_, before.st_size) != 0) errno = error;
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
  const std::string bytes = kdi::read_file(path);
  if (!std::string_view(bytes).starts_with(kHeader)) throw std::runtime_error(path + ": is no journal");
  return entries_of(bytes);
}

}  // namespace kdish
