// Debug messages of the models, each on a channel.
#pragma once

#include "kdi/common/ComMsgMgr.h"
#include "tcltasks/frame/exceptions.h"

namespace psmodels {

inline constexpr int kUsualLevel = 1;

template <class... Arguments>
void log(char const* channel, int level, char const* format, Arguments... arguments) {
  const auto mask = static_cast<ComMsgMgr::MsgMask>(ComMsgMgr::MSG_DEBUG0 + static_cast<unsigned>(level));
  ComMsgMgr::sendScopedMsg::eval(level, __FILE__, __LINE__, frame::kMessageCategory, channel, mask, format,
                                 arguments...);
}
inline void log(char const* channel, int level, char const* text) { log(channel, level, "%s", text); }

}  // namespace psmodels
