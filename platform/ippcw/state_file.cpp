#include <exception>
#include <new>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJson.h"
#include "kdi/ippcw/HICJsonReader.h"
#include "kdi/ippcw/host/StateFile.h"

namespace hardip_eng {
namespace {

constexpr std::int64_t kFormat = 1;
constexpr std::size_t kMostBytes = std::size_t{1} << 26;

ParamMap map_of(kdi::JsonValue object) {
  ParamMap map;
  for (const kdi::JsonValue value : object.members()) map[std::string(value.name())] = std::string(value.text());
  return map;
}

}  // namespace

StateFile read_state(std::string const& path) {
  const kdi::JsonFile file(path, kMostBytes);
  const kdi::JsonValue root = file.root();
  root.allow_only({"format", "core", "parameters", "mio"});
  root.member("format").integer(kFormat, kFormat);
  return {std::string(root.member("core").text()), map_of(root.member("parameters")), map_of(root.member("mio"))};
}

}  // namespace hardip_eng

namespace {

bool add_from(std::string const& path, ParamMap hardip_eng::StateFile::*part, ParamMap& params) {
  try {
    const hardip_eng::StateFile state = hardip_eng::read_state(path);
    for (auto const& [name, value] : state.*part) params[name] = value;
    return true;
  } catch (std::bad_alloc const&) {
    throw;
  } catch (std::exception const& error) {
    ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, "ippcw", ComMsgMgr::MSG_ERROR, "%s", error.what());
    return false;
  }
}

}  // namespace

HICJsonReader::HICJsonReader() = default;

bool HICJsonReader::parseStateJson(std::string const& path, ParamMap& params) {
  return add_from(path, &hardip_eng::StateFile::parameters, params);
}

bool HICJsonReader::parseMioParams(std::string const& path, ParamMap& params) {
  return add_from(path, &hardip_eng::StateFile::mio, params);
}
