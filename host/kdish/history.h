// The commands that were typed, kept from one session to the next.
//
// One file is shared by all sessions: each command is added to its end, under a lock, so that no session takes away
// what another one wrote. A command is a line, in which \n stands for a line end and \\ for a backslash.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace kdish {

class HistoryFile {
 public:
  /// `path` may name a file that is not there yet; empty: nothing is kept. At most `most_commands` come back.
  HistoryFile(std::string path, std::size_t most_commands) : path_(std::move(path)), most_commands_(most_commands) {}

  /// The commands, the oldest first; one that was not written to its end is left out. A file that has grown to twice
  /// what comes back is cut down to that. Throws std::runtime_error if the file cannot be read, or holds something
  /// else; then it stays as it is.
  std::vector<std::string> load() const;

  /// Adds a command. Throws std::runtime_error if it cannot be stored to its end; then the file is as it was. A file
  /// that holds something else is left alone.
  void add(std::string const& command) const;

 private:
  std::string path_;
  std::size_t most_commands_;
};

}  // namespace kdish
