#include "tcltasks/psmodels/engine_messages.h"

#include "kdi/common/KdiReplace.h"
#include "tcltasks/psmodels/debug_log.h"

namespace psmodels {

bool isInfoOrWarningMessage(std::string const& text, std::string& cleaned, ComMsgMgr::MsgMask& mask) {
  struct Tag {
    char text[20];
    ComMsgMgr::MsgMask mask;
  };
  // A text may have several: the first of these counts, and the others stay in the text.
  static constexpr Tag kTags[] = {{"Info:", ComMsgMgr::MSG_INFO},
                                  {"Warning:", ComMsgMgr::MSG_WARNING},
                                  {"Critical_warning:", ComMsgMgr::MSG_CRITICAL_WARNING}};
  if (text.empty()) return false;
  cleaned = text;
  for (Tag const& tag : kTags) {
    if (text.find(tag.text) == std::string::npos) continue;
    replaceStrInPlace(cleaned, tag.text, "");
    mask = tag.mask;
    return true;
  }
  return false;
}

void replaceStrInPlace(std::string& subject, std::string const& search, std::string const& replacement) {
  kdi::text::replace_all(subject, search, replacement);
}

bool reportMessages(ParamMap const& messages, ParamMap& paramErrors, char const* channel) {
  int number = 1;
  bool has_errors = false;
  for (auto const& [parameter, text] : messages) {
    if (!text.empty()) log(channel, 2, "Got message for param %s - %s \n", parameter.c_str(), text.c_str());
    std::string cleaned;
    ComMsgMgr::MsgMask mask{};
    const bool is_no_error = isInfoOrWarningMessage(text, cleaned, mask);
    if (cleaned.empty()) continue;
    if (is_no_error) {
      ComMsgMgr::sendMsgById("PDMS", number++, mask, cleaned);
    } else {
      log(channel, 2, "Message on Parameter %s is %s\n", parameter.c_str(), cleaned.c_str());
      paramErrors.emplace(parameter, cleaned);
      has_errors = true;
    }
  }
  return has_errors;
}

}  // namespace psmodels
