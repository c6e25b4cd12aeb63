// What becomes of exceptions that nobody may let through, and the category of all messages of the package.
#pragma once

#include <exception>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/HEXAll.h"

namespace frame {

inline constexpr char const* kMessageCategory = "tcltasks";

/// Runs `body` and returns what it does. What it throws goes to the message manager, and `failure` is returned.
template <class Result, class Body>
Result report_exceptions(Result failure, Body body) {
  const auto send = [](auto const& message) { ComMsgMgr::sendMessage(*message); };
  try {
    return body();
  } catch (HEXAll const& exception) {
    if (exception.message) ComMsgMgr::sendMessage(*exception.message);
  } catch (std::exception const& exception) {
    send(ComMsgMgrInstance::createInstance::eval(1, __FILE__, __LINE__, kMessageCategory, ComMsgMgr::MSG_ERROR,
                                                 "@80-2@%s", exception.what()));
  } catch (...) {
    send(ComMsgMgrInstance::createInstance::eval(1, __FILE__, __LINE__, kMessageCategory, ComMsgMgr::MSG_ERROR,
                                                 "@80-1@"));
  }
  return failure;
}

}  // namespace frame
