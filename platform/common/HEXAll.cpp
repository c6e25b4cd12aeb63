#include "kdi/common/HEXAll.h"

#include <utility>

HEXAll::HEXAll(std::shared_ptr<ComMsgMgrInstance const> finished) : message(std::move(finished)) {}

char const* HEXAll::what() const noexcept { return message ? message->text.c_str() : "exception without a message"; }

void HEXAll::print() const {
  if (message) ComMsgMgr::sendMessage(*message);
}

HEXAlgException::HEXAlgException(std::string const& text)
    : HEXError(ComMsgMgrInstance::createInstance::eval(1, __FILE__, __LINE__, "tcltasks", ComMsgMgr::MSG_ERROR, "%s",
                                                       text.c_str())) {}
