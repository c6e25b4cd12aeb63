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
// A command is written before it runs, so that the last command of a journal is the one that a crash took along.
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
  /// holds something else.
  void open(std::string const& path);
  void close();
  bool is_open() const { return descriptor_ != -1; }
  std::string const& path() const { return path_; }

  /// Write a command before it runs, how it ended, and what the tools ran on its behalf. A journal that can no more be
  /// written is closed; then they throw std::runtime_error, once.
  void command(std::string const& script);
  void ended(bool is_ok);
  void remark(std::string const& text);

 private:
  void write(std::string_view text);

  int descriptor_ = -1;
  std::string path_;
};

struct JournalEntry {
  enum class Ending { ok, error, unknown };  ///< unknown: the journal breaks off
  std::string script;
  Ending ending = Ending::unknown;
  int line = 0;
};

/// Reads a journal. Throws std::runtime_error or kdi::file_error if `path` holds none.
std::vector<JournalEntry> read_journal(std::string const& path);

}  // namespace kdish
