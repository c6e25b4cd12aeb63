// What this library tells people.
#pragma once

#include <exception>
#include <new>
#include <string>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/KdiFile.h"

namespace kdi::hdf {

inline void tell(ComMsgMgr::MsgMask kind, std::string const& text) {
  ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, "hdf", kind, "%s", text.c_str());
}

/// Whether `write` succeeds; if not, an error tells why `path` was not written.
template <class Write>
bool told_if_failed(std::string const& path, Write write) {
  try {
    write();
    return true;
  } catch (std::bad_alloc const&) {
    throw;
  } catch (FileError const& error) {  // names the file itself, which may be another one
    const std::string reason = error.what();
    tell(ComMsgMgr::MSG_ERROR, reason.starts_with(path + ":") ? reason : path + ": cannot be written: " + reason);
  } catch (std::exception const& error) {
    tell(ComMsgMgr::MSG_ERROR, path + ": cannot be written: " + error.what());
  }
  return false;
}

}  // namespace kdi::hdf
