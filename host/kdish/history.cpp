#include "host/kdish/history.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"

namespace kdish {
namespace {

constexpr std::string_view kHeader = "# kdish history 1\n";
// Behind a line that breaks off: no line that was written to its end has it, whatever stands in front.
constexpr std::string_view kBrokenOff = " \\?\n";

[[noreturn]] void fail(std::string const& path, char const* what) {
  throw std::runtime_error(path + ": the history cannot be " + what + ": " + kdi::text::system_reason(errno));
}

[[noreturn]] void refuse(std::string const& path) {
  throw std::runtime_error(path + ": holds something else than a history, and is left alone");
}

std::string line_of(std::string const& command) {
  std::string line;
  for (const char c : command) {
    if (c == '\n')
      line += "\\n";
    else if (c == '\\')
      line += "\\\\";
    else
      line += c;
  }
  return line + '\n';
}

std::optional<std::string> command_of(std::string_view line) {
  std::string command;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] != '\\') {
      command += line[i];
      continue;
    }
    if (++i == line.size() || (line[i] != 'n' && line[i] != '\\')) return std::nullopt;
    command += line[i] == 'n' ? '\n' : '\\';
  }
  return command;
}

// The open file, locked against other sessions until it is closed.
class LockedFile {
 public:
  explicit LockedFile(std::string const& path) : path_(path) {
    constexpr mode_t kPrivate = 0600;
    for (;;) {
      number_ = kdi::open_file(path, O_RDWR | O_CREAT | O_APPEND | O_NOCTTY, kPrivate);
      if (number_ == -1 || ::fstat(number_, &status_) != 0) give_up();
      if (!S_ISREG(status_.st_mode)) return;
      while (::flock(number_, LOCK_EX) != 0 && errno == EINTR) continue;  // there are file systems without locks
      struct stat present {};
      if (::fstat(number_, &status_) != 0) give_up();
      const bool is_there = ::stat(path.c_str(), &present) == 0;
      if (!is_there && errno != ENOENT) give_up();
      if (is_there && present.st_ino == status_.st_ino) return;
      ::close(number_);  // another session has put a shorter file in its place
    }
  }
  LockedFile(LockedFile const&) = delete;
  LockedFile& operator=(LockedFile const&) = delete;
  ~LockedFile() {
    if (number_ != -1) ::close(number_);
  }

  bool is_regular() const { return S_ISREG(status_.st_mode); }
  off_t size() const { return is_regular() ? status_.st_size : 0; }

  bool is_history() const {
    std::array<char, kHeader.size()> begin{};
    return size() == 0 || (::pread(number_, begin.data(), begin.size(), 0) == static_cast<ssize_t>(begin.size()) &&
                           std::string_view(begin.data(), begin.size()) == kHeader);
  }
  bool breaks_off() const {
    char last = '\n';
    return size() != 0 && (::pread(number_, &last, 1, size() - 1) != 1 || last != '\n');
  }

  void append(std::string_view text) {
    // what stays of a part is left out by a reader
    if (!kdi::append_whole(number_, text) || (::close(std::exchange(number_, -1)) != 0 && errno != EINTR))
      fail(path_, "written");
  }

 private:
  // From the constructor, behind which nothing closes the file.
  [[noreturn]] void give_up() {
    const int error = errno;
    if (number_ != -1) ::close(number_);
    errno = error;
    fail(path_, "written");
  }

  std::string const& path_;
  struct stat status_ {};
  int number_ = -1;
};

std::vector<std::string> commands_of(std::string const& path) {
  const std::string bytes = kdi::read_file(path);
  if (bytes.empty()) return {};
  if (!bytes.starts_with(kHeader)) refuse(path);
  std::vector<std::string> commands;
  std::string_view rest = std::string_view(bytes).substr(kHeader.size());
  for (std::size_t end = rest.find('\n'); end != std::string_view::npos; end = rest.find('\n')) {
    if (auto command = command_of(rest.substr(0, end))) commands.push_back(std::move(*command));
    rest.remove_prefix(end + 1);
  }
  return commands;
}

}  // namespace

std::vector<std::string> HistoryFile::load() const {
  if (path_.empty() || !kdi::is_file(path_)) return {};
  std::vector<std::string> commands = commands_of(path_);
  if (commands.size() <= most_commands_) return commands;
  if (commands.size() >= 2 * most_commands_) {
    const LockedFile lock(path_);
    commands = commands_of(path_);
    std::string shorter(kHeader);
    for (auto command = commands.end() - static_cast<std::ptrdiff_t>(std::min(most_commands_, commands.size()));
         command != commands.end(); ++command)
      shorter += line_of(*command);
    kdi::write_file(path_, shorter);
  }
  const std::size_t extra = commands.size() - std::min(most_commands_, commands.size());
  commands.erase(commands.begin(), commands.begin() + static_cast<std::ptrdiff_t>(extra));
  return commands;
}

void HistoryFile::add(std::string const& command) const {
  if (path_.empty()) return;
  LockedFile file(path_);
  if (!file.is_history()) refuse(path_);
  std::string text;
  if (file.size() == 0 && file.is_regular()) text = kHeader;
  if (file.breaks_off()) text = kBrokenOff;
  file.append(text + line_of(command));
}

}  // namespace kdish
