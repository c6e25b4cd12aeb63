#include "kdi/device/HARPartMgr.h"

#include <new>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/device/Device.h"
#include "kdi/device/HARPartsParse.h"
#include "kdi/device/host/PartCatalogue.h"

HDARPart::HDARPart(std::shared_ptr<kdi::device::Part const> values) : values_(std::move(values)) {}

std::string HDARPart::getProperty(std::string const& name) const {
  const auto property = values_->properties.find(name);
  return property == values_->properties.end() ? std::string() : property->second;
}

HARPartMgr* HARPartMgr::getGlobal() {
  static HARPartMgr& manager = *new HARPartMgr;
  return &manager;
}

HDARPart const* HARPartMgr::getPart(std::string const& name) const {
  try {
    return kdi::device::PartCatalogue::global().part(name);
  } catch (std::bad_alloc const&) {
    throw;
  } catch (std::exception const& error) {
    ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, "device", ComMsgMgr::MSG_ERROR, "%s", error.what());
    return nullptr;
  }
}

HDARPart const* HARPartsParse::getPart(std::string const& name) { return HARPartMgr::getGlobal()->getPart(name); }
