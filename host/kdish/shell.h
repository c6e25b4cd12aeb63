// The shell: an interpreter with the package loaded, and the ways to run commands in it.
#pragma once

#include <tcl.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/kdish/command_table.h"
#include "host/kdish/history.h"
#include "host/kdish/journal.h"
#include "host/kdish/terminal.h"

namespace kdish {

class LineEditor;

enum class Colour { automatic, always, never };

struct ShellOptions {
  bool json = false;     ///< results as JSON, alone on standard output
  bool replays = false;  ///< the file named by `script` is a journal
  Colour colour = Colour::automatic;
  std::string journal;                 ///< path; empty: none
  std::optional<std::string> command;  ///< of -c
  std::string script;                  ///< path; empty: none, `-`: standard input
  std::vector<std::string> arguments;
};

/// Lives as long as the process: `exit` in a script ends that from within.
class Shell {
 public:
  /// Makes the interpreter and loads the package. Throws std::runtime_error if something that the shell needs is not
  /// there, the journal included.
  explicit Shell(ShellOptions options);
  ~Shell() = delete;
  Shell(Shell const&) = delete;
  Shell& operator=(Shell const&) = delete;

  /// Runs what the options ask for; the exit status of the process. `exit` in a script does not return from here.
  int run();

  // For the shell's own commands.
  /// Read when it is first asked for: most scripts never do. Throws as Table does.
  Table const& table();
  Journal& journal() { return journal_; }
  /// The commands that were typed, of earlier sessions too, the oldest first.
  std::vector<std::string> typed_commands() const;
  ProgressLine* progress() { return progress_.get(); }  ///< null if there is no terminal
  /// Runs the commands of a journal; the first one that ends otherwise than it did is an error, told in the
  /// interpreter's result. A Tcl status.
  int replay(std::string const& path);

 private:
  int run_command();
  int run_whole(std::string const& script);
  int run_script();
  int run_replay();
  int run_file();
  int run_standard_input();
  int run_piece(std::string const& script, int first_line);
  int complaining(std::function<int()> const& step);
  std::string script_call();
  int run_terminal();
  void read_start_file();
  void run_typed(std::string const& text, std::string& pending);
  bool run_typed_command(std::string const& script);
  void with_history(std::function<void()> const& step);
  void become_interactive();
  int evaluate(std::string const& script);
  void with_journal(std::function<void()> const& step);
  int journalled(std::string const& script);
  int replay_entries(std::string const& path);
  int evaluate_file(std::string const& path);
  void show_result(std::string const& script);
  std::string shown(std::string const& script, Tcl_Obj* result);
  bool print(std::string const& text);
  void print_or_fail(std::string const& text);
  void begin_line();
  std::vector<std::string> names_close_to(std::string const& name);
  std::string advice_on(std::string const& error);
  /// `place`: where the script came from and its line, as `standard input:3: `.
  void report_error(bool with_trace, std::string const& place = {});
  void complain(std::string const& text, char const* colour = nullptr);
  void set_arguments(std::string const& name);

  ShellOptions options_;
  std::optional<Table> table_;
  Tcl_Interp* interp_ = nullptr;
  Journal journal_;
  std::vector<std::string> replayed_;  // the journals that are being replayed, the innermost last
  std::unique_ptr<ProgressLine> progress_;
  LineEditor* editor_ = nullptr;
  int json_descriptor_ = -1;
  bool has_colour_ = false;
  bool journal_failed_ = false;
  std::optional<HistoryFile> history_;
  std::vector<std::string> typed_;  // in the terminal's encoding
  bool keeps_history_ = true;
};

/// Registers the shell's own commands in its interpreter.
void register_shell_commands(Tcl_Interp* interp, Shell& shell);

/// The JSON of `result`, by the shape of the command that `script` ends with; text if the table does not know it.
std::string result_as_json(Table const& table, std::string const& script, Tcl_Obj* result);

}  // namespace kdish
