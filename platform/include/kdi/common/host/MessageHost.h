// The host's side of the message manager: where messages go, which channels are on, and the catalogue.
//
// Until a host adds a sink, messages go to standard error, one line each: `ERROR: [tcltasks 80-2] text`.
//
// Debug messages of a channel pass up to a level: the one that set_channel or the environment variable KDI_MSG_CHANNELS
// (`channel=level`, separated by commas) gave it last, else the integer tool parameter `debug.<channel>`. A channel
// that none of them names is off, and so is one of a negative level.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/KdiDoor.h"

namespace message_host {

using Sink = std::function<void(ComMsgMgrInstance const&)>;

/// Adds a sink; from the first one on, standard error is left alone. Sinks are called in the order they were added, on
/// the thread that sends, with no lock held: what a sink keeps it guards itself, and it may send messages. A sink that
/// throws is passed over. Returns a number for remove_sink.
KDI_DOOR int add_sink(Sink sink);
/// Removes a sink. When this returns, it is not called any more, from no thread: calls on other threads are waited for.
/// A sink may remove itself.
KDI_DOOR void remove_sink(int number);

/// A sink that appends one line for each message to the file `path`, which is created if need be.
/// Throws kdi::FileError (common/KdiFile.h) if it cannot be opened. A line that cannot be written goes to standard
/// error.
KDI_DOOR Sink file_sink(std::string const& path);

/// Keeps the messages that are sent while it lives. For any thread.
class KDI_DOOR Capture {
 public:
  Capture();
  Capture(Capture const&) = delete;
  Capture& operator=(Capture const&) = delete;
  ~Capture();

  std::vector<ComMsgMgrInstance> messages() const;
  /// line_of each.
  std::vector<std::string> lines() const;
  void clear();

 private:
  mutable std::mutex mutex_;
  std::vector<ComMsgMgrInstance> messages_;
  int number_;
};

/// The line of a message: kind, category and number, text without line breaks at its end.
KDI_DOOR std::string line_of(ComMsgMgrInstance const& message);

/// Lets debug messages of `channel` pass up to `level`, whatever its parameter says; a negative level switches it off.
KDI_DOOR void set_channel(std::string const& channel, int level);

/// Reads a catalogue in place of the one from the data directory. Throws std::runtime_error naming file, line and field
/// of what is wrong; the catalogue in use then stays.
KDI_DOOR void load_catalogue(std::string const& path);

}  // namespace message_host
