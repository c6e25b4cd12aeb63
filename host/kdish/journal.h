// A journal of the commands that were run, which can be run again.
//
// It is a Tcl script. Each command stands as it was given, followed by a comment line that tells how it ended:
//
//   # kdish journal 1
//   set part [lindex [list_parts] 0]
//   #= ok
//   report_part nothing
//   #= error
//
// A command is written before it runs, so that the last command of a journal is the one that a crash took along; where
// the journal goes on behind it, "#= unknown" ends it. A line that begins with "#=" or "#>" is never part of a command.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kdish {

class Journal {
 public:
  Journal() = default;
  ~Journal();
  Journal(Journal const&) = delete;
  Journal& operator=(Journal const&) = delete;

  /// Goes on with the journal in the file `path`, or begins one. Throws std::runtime_error if it cannot be written, or
  /// holds something else, breaks off in the middle of a command, or is being written by another process. Then the
  /// journal that was open stays open.
  void open(std::string const& path);
  /// Throws std::runtime_error if the last of it cannot be stored.
  void close();
  bool is_open() const { return descriptor_ != -1; }
  std::string const& path() const { return path_; }
  /// Whether it is open and `path` leads to it, from wherever the process is by now.
  bool is_at(std::string const& path) const;

  /// Write a command before it runs, how it ended, and what the tools ran on its behalf. A journal that can no more be
  /// written is closed; then they throw std::runtime_error, once.
  void command(std::string const& script);
  void ended(bool is_ok);
  void remark(std::string const& text);

 private:
  void write(std::string_view text);
  void give_up() noexcept;

  int descriptor_ = -1;
  std::string path_;
};

struct JournalEntry {
  /// Unknown: the process ended, or the journal could no more be written. Cut: the journal breaks off in the middle of
  /// the command.
  enum class Ending { ok, error, unknown, cut };
  std::string script;
  Ending ending = Ending::unknown;
  int line = 0;
};

/// Reads a journal. Throws std::runtime_error or kdi::FileError if `path` holds none.
std::vector<JournalEntry> read_journal(std::string const& path);

}  // namespace kdish
