// What an engine says of a change: the kind of a message stands in its text.
#pragma once

#include <string>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/KdiTypes.h"

namespace psmodels {

/// Whether the text is an information, a warning or a critical warning, which a tag anywhere in it says. Then `mask` is
/// its kind, and `cleaned` the text without that tag; else `cleaned` is the text, which is an error. An empty text is
/// nothing, and changes neither.
bool isInfoOrWarningMessage(std::string const& text, std::string& cleaned, ComMsgMgr::MsgMask& mask);

/// Replaces each occurrence, going on behind the replacement. An empty `search` changes nothing.
void replaceStrInPlace(std::string& subject, std::string const& search, std::string const& replacement);

/// Sends what is no error to the message manager, numbered from 1 on, and adds errors to those of their parameters
/// that have none yet. Whether there was an error. `channel`: of the debug messages.
bool reportMessages(ParamMap const& messages, ParamMap& paramErrors, char const* channel);

}  // namespace psmodels
