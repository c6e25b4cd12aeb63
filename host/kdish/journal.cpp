#include "journal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <tcl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "common/KdiFile.h"
#include "terminal.h"

namespace kdish {
namespace {

constexpr std::string_view kHeader = "# kdish journal 1\n";
constexpr std::string_view kOk = "#= ok";
constexpr std::string_view kError = "#= error";

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

}  // namespace

Journal::~Journal() { close(); }

void Journal::open(std::string const& path) {
  constexpr mode_t kMode = 0666;
  const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY, kMode);
  if (descriptor == -1) fail(path, "cannot be written");
  std::array<char, kHeader.size()> begin{};
  struct stat status {};
  const bool is_new = ::fstat(descriptor, &status) == 0 && (!S_ISREG(status.st_mode) || status.st_size == 0);
  if (!is_new && (::pread(descriptor, begin.data(), begin.size(), 0) != static_cast<ssize_t>(begin.size()) ||
                  std::string_view(begin.data(), begin.size()) != kHeader)) {
    ::close(descriptor);
    throw std::runtime_error(path + ": holds something else than a journal, and is left alone");
  }
  close();
  descriptor_ = descriptor;
  path_ = path;
  if (is_new) write(kHeader);
}

void Journal::close() {
  if (descriptor_ != -1) ::close(descriptor_);
  descriptor_ = -1;
}

void Journal::write(std::string_view text) {
  if (!is_open() || write_all(descriptor_, text)) return;
  const int error = errno;
  close();
  errno = error;
  fail(path_, "the journal ends here: it cannot be written");
}

void Journal::command(std::string const& script) {
  if (script.empty()) return;
  if (Tcl_CommandComplete(script.c_str()) == 0 || script.back() == '\\')
    write("eval " + quoted(script) + "\n");  // or it would go on in the next line
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
  std::vector<JournalEntry> entries;
  JournalEntry entry;
  int line_number = 0;
  for (std::size_t at = 0; at < bytes.size();) {
    const std::size_t end = std::min(bytes.find('\n', at), bytes.size());
    const std::string line = bytes.substr(at, end - at);
    at = end + 1;
    ++line_number;
    const bool is_whole = Tcl_CommandComplete(entry.script.c_str()) != 0;
    if (is_whole && !entry.script.empty() && (line == kOk || line == kError)) {
      entry.ending = line == kOk ? JournalEntry::Ending::ok : JournalEntry::Ending::error;
      entries.push_back(entry);
      entry = {};
    } else if (is_whole && entry.script.empty() && (line.empty() || line.starts_with('#'))) {
      continue;  // the header of this run, and remarks
    } else if (is_whole && line.starts_with("#> ")) {
      continue;
    } else {
      if (entry.script.empty()) entry.line = line_number;
      entry.script += line + "\n";
    }
  }
  if (!entry.script.empty()) entries.push_back(entry);
  return entries;
}

}  // namespace kdish
