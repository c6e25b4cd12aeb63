#include "platform/ippcw/failures.h"

#include <algorithm>

#include "kdi/common/ComMsgMgr.h"

namespace hardip_eng {
namespace {

Failures*& waiting() {
  thread_local Failures* innermost = nullptr;
  return innermost;
}

void add_once(std::string const& text, StrVec& texts) {
  if (std::find(texts.begin(), texts.end(), text) == texts.end()) texts.push_back(text);
}

}  // namespace

Failures::Failures() : outer_(waiting()) { waiting() = this; }
Failures::~Failures() { waiting() = outer_; }

void Failures::add_to(StrVec& errors) const {
  for (std::string const& text : texts_) add_once(text, errors);
}

void note_failure(std::string const& text) {
  if (waiting() != nullptr) add_once(text, waiting()->texts_);
}

void tell_failure(std::string const& text) {
  ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, "ippcw", ComMsgMgr::MSG_ERROR, "%s", text.c_str());
  note_failure(text);
}

}  // namespace hardip_eng
