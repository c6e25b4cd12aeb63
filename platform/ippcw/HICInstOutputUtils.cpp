#include "kdi/ippcw/HICInstOutputUtils.h"

#include <utility>
#include <vector>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/hdf/HHDFHwDefUtils.h"
#include "kdi/ippcw/HICInst.h"

namespace {

using Kind = HHDFHwDefFileTypes::HWHFileType;

// No description of a core has the registers yet that these files come from.
void tell_unwritten(std::string const& path, std::string const& what) {
  ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, "ippcw", ComMsgMgr::MSG_ERROR,
                           "%s: %s cannot be written: the core has "
                           "no registers",
                           path.c_str(), what.c_str());
}

}  // namespace

void HICInstOutputUtils::generatePSXLStateJson(std::string& path, ParamMap&) { tell_unwritten(path, "the state"); }

void HICInstOutputUtils::writeMioParams(std::string& path, std::shared_ptr<HICInst>, std::string) {
  tell_unwritten(path, "the multiplexed pads");
}

void HICInstOutputUtils::generateIOPadReport(ParamMap const&, std::string& path, StrVec&, std::shared_ptr<HICInst>) {
  tell_unwritten(path, "the report of pads");
}

void HICInstOutputUtils::generatePowerJsonReport(ParamMap const&, std::string& path, StrVec&,
                                                 std::shared_ptr<HICInst>) {
  tell_unwritten(path, "the report of power");
}

void HICInstOutputUtils::generateHDFForPSXL(std::string& path, std::string const& hwhPath, ParamMap& attributes,
                                            ParamMap& fileAttributes, std::shared_ptr<HICInst>) {
  std::vector<std::pair<std::string, Kind>> files;
  if (!hwhPath.empty()) files.emplace_back(hwhPath, HHDFHwDefFileTypes::HWH_HANDOFF);
  for (auto const& [file, kind] : fileAttributes)
    files.emplace_back(file, static_cast<Kind>(kdi::number::whole<int>(kind).value_or(HHDFHwDefFileTypes::CDO)));
  HHDFHwDefUtils::writeHDF(path, std::move(files), true, {}, attributes);
}

void HICInstOutputUtils::generateCDO(ParamMap&, std::string& outputPath, std::string&, std::string, AttrMap, ParamMap&,
                                     std::shared_ptr<HICInst>) {
  tell_unwritten(outputPath, "the configuration data");
}
