// The message manager: what the tools have to say to a person, beside the results of commands.
//
// A message has a category ("tcltasks" for the package), a kind and a text. Its format is a printf format, or a
// reference into the message catalogue: "@80-2@%s" is message 2 of group 80, and the conversions behind the closing @
// fill the places %1 to %9 of the catalogue's text, one each. A reference that the catalogue does not have is shown as
// it stands, followed by its arguments. Numbers are written the same under every locale. What happens to a finished
// message is the host's business (common/host/MessageHost.h).
//
// Debug messages belong to a channel, which is off until somebody switches it on; one without a channel goes nowhere.
//
// All operations may be called from several threads, and none of them throws anything but std::bad_alloc.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "kdi/common/KdiDoor.h"

class ComMsgMgrInstance;

class KDI_DOOR ComMsgMgr {
 public:
  /// Kind of a message. A caller may cast a constant to it.
  enum MsgMask : std::uint32_t {
    MSG_DEBUG0 = 0x01000000,  ///< debug kinds reach a sink only if their channel is switched on
    MSG_DEBUG1 = 0x01000001,
    MSG_DEBUG2 = 0x01000002,
    MSG_DEBUG3 = 0x01000003,
    MSG_DEBUG4 = 0x01000004,
    MSG_DEBUG5 = 0x01000005,
    MSG_INFO = 0x04000000,
    MSG_WARNING = 0x08000000,
    MSG_CRITICAL_WARNING = 0x10000000,
    MSG_ERROR = 0x20000000
  };

  /// Formats and delivers one message.
  struct sendMsg {
    [[gnu::format(printf, 6, 7)]] static void eval(int level, char const* file, int line, std::string const& category,
                                                   MsgMask mask, char const* format, ...);
  };

  /// The same under a channel. A debug message of a channel that is off, or of a level above the channel's, is dropped
  /// before it is formatted.
  struct sendScopedMsg {
    [[gnu::format(printf, 7, 8)]] static void eval(int level, char const* file, int line, std::string const& category,
                                                   std::string const& scope, MsgMask mask, char const* format, ...);
  };

  /// Whether a debug message of this channel and level would be shown: for one that costs something to make.
  static bool isShown(std::string const& scope, int level);

  /// Delivers a message that was made earlier.
  static void sendMessage(ComMsgMgrInstance const& message);

  /// Delivers `text` as it is, percent signs included, under a number of its own.
  static void sendMsgById(std::string const& category, int id, MsgMask mask, std::string const& text);
};

/// One message, made and not sent.
class KDI_DOOR ComMsgMgrInstance {
 public:
  struct createInstance {
    [[gnu::format(printf, 6, 7)]] static std::unique_ptr<ComMsgMgrInstance> eval(int level, char const* file, int line,
                                                                                 std::string const& category,
                                                                                 ComMsgMgr::MsgMask mask,
                                                                                 char const* format, ...);
  };

  /// The finished text, the catalogue's words filled in.
  std::string getMessage() const { return text; }

  int level = 1;
  char const* file = "";  ///< of the sender's source; static storage
  int line = 0;
  std::string category;
  std::string scope;  ///< channel, or empty
  ComMsgMgr::MsgMask mask = ComMsgMgr::MSG_INFO;
  std::string id;  ///< "80-2" for a message of the catalogue, or the number given, or empty
  std::string text;
};
