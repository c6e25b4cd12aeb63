// What is written to the terminal while a command runs: its output, messages, and a line that says it still runs.
#pragma once

#include <tcl.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace kdish {

/// Writes all of `bytes`; false if that fails, as for a pipe that nobody reads any more.
bool write_all(int descriptor, std::string_view bytes);

/// The columns of the terminal that standard output is; `otherwise` where it is none.
std::size_t terminal_width(std::size_t otherwise = 80);

/// Whether to colour what goes to `descriptor`: it is a terminal that can, and the environment has no NO_COLOR.
bool wants_colour(int descriptor);

/// A line on the terminal that comes up when a command has run for a second, and goes when the command ends.
class ProgressLine {
 public:
  /// `descriptor` is a terminal.
  explicit ProgressLine(int descriptor);
  ~ProgressLine();
  ProgressLine(ProgressLine const&) = delete;
  ProgressLine& operator=(ProgressLine const&) = delete;

  /// Between begin and end the line is there, with `what` and the seconds since.
  void begin(std::string what);
  void end();
  /// Replaces `what` until the command ends.
  void report(std::string what);
  /// Begins a new line on the terminal if what was written to it last has not ended one.
  void begin_line();
  /// That the bytes in front of `last` have been written to the terminal.
  void has_written(char last) { within_line_ = last != '\n'; }
  /// Runs `write` with the line out of the way.
  void around(std::function<void()> const& write);

 private:
  void run();
  void draw(long seconds);
  void erase();

  int descriptor_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::string what_;
  unsigned long command_ = 0;  // counts begin and end; odd while a command runs
  bool is_drawn_ = false;
  bool within_line_ = false;  // of a command's output; the main thread's
  bool ends_ = false;
  std::thread thread_;
};

/// Puts channels in the place of Tcl's standard output and error that keep clear of `progress`, which has to outlive
/// the interpreter.
void guard_output_channels(Tcl_Interp* interp, ProgressLine& progress);

}  // namespace kdish
