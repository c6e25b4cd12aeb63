// Reporting class of the performance analyser.
#pragma once

#include <string>

#include "tcltasks/fec/records.h"

namespace fec {

/// Sends the analyser's reports to a message callback, and offers a trace of named signals.
///
/// An error reaches the callback with severity 1, everything else with 0. The text is the prefix, then " ERROR: ",
/// " WARNING: " or " NOTE: ", then the report. A null callback drops it.
class XLogger {
 public:
  XLogger(MessageCallback callback, void* context, std::string prefix = {});
  virtual ~XLogger();

  virtual void error(std::string const& text);
  virtual void warning(std::string const& text);
  virtual void note(std::string const& text);

  /// Whether `signal` should be called at all. False here; a trace derives from this class.
  virtual bool traces() const;

  /// One change of a named signal ("minsum_active", "minsum_stall", "soupd_active", "total_stall_cycles") at `cycle`.
  /// Has no effect on any result.
  virtual void signal(char const* name, unsigned long long cycle, unsigned long long value);

  /// A note that carries the cycle it belongs to.
  virtual void note(unsigned long long cycle, std::string const& text);

 private:
  void send(int severity, char const* kind, std::string const& text);

  MessageCallback callback_;
  void* context_;
  std::string prefix_;
};

}  // namespace fec
