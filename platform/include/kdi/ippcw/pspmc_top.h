// A processing system with its platform controller, as the package's model of it asks.
#pragma once

#include <string>

#include "kdi/common/KdiDoor.h"
#include "kdi/ippcw/HardIPInstance.h"

namespace pspmc_config {

/// The engine's instances derive from it; all here are empty, so that whoever asks needs nothing of the engine.
class KDI_DOOR pspmc_top : public hardip_eng::HardIPInstance<pspmc_top> {
 public:
  /// Each key under the engine's name, with its value; an unknown key keeps its name.
  virtual void translateParamNames(ParamMap const& in, ParamMap& out) { out = in; }
  /// Applies the pairs in their order, as a user's changes, with all rules. `modified`: what moved, each name once.
  virtual void guiSetParamOf(StrPairs const& /*pairs*/, StrVec& /*modified*/, ParamMap& /*messages*/) {}
  /// Empty if unknown, here and below.
  virtual std::string getParamValueOf(std::string const& /*name*/) { return {}; }
  /// The user's last value, which a disabled parameter keeps behind `SKIP`.
  virtual std::string getBackUpParamValueOf(std::string const& /*name*/) { return {}; }
  virtual std::string getParamTypeOf(std::string const& /*name*/) { return {}; }
  virtual void getParamRangeOf(std::string const& /*name*/, StrVec& /*range*/) {}
  virtual bool isParamEnabledOf(std::string const& /*name*/) { return false; }
  /// Replaces each record by the engine's own value; may add records.
  virtual void getUserModifiedOf(RawResult& /*records*/) {}
  /// HICInst::getSysmonData.
  virtual std::string getSysmonDataForInst(std::string, std::string) { return {}; }
  /// -1 if there is none.
  virtual int getStartSupplyId() { return -1; }
  /// The boot mode in which the card of a controller (`SD0`, `PMC_SD0_PERIPHERAL`) is booted from, such as `SD0 (3.0)`.
  virtual std::string getBootModeOfSDPeripheral(std::string const& /*peripheral*/) { return {}; }
};

}  // namespace pspmc_config
