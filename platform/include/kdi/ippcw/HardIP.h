// Hard-IP cores: one instance for each core that is being configured, and the manager that has them by context.
#pragma once

#include <cstddef>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "kdi/common/KdiDoor.h"
#include "kdi/common/KdiTypes.h"
#include "kdi/ippcw/CdoBuffer.h"

class HICInst;

namespace hardip_eng {

/// The operations that an instance may or may not offer.
enum class HardIPOp : unsigned {
  getRanges,
  getOutputParams,
  isDefaultInstance,
  setSysmonDataFile,
  getDeviceInfo,
  generateSysmonNpiData,
  keepsExistingOutput,
  getExportedData,
  addHwDefFileAttributes
};

/// A core that is being configured. Each operation may be called from several threads; an instance does one thing at a
/// time. An operation that a core does not offer leaves its outputs as they are.
class KDI_DOOR HardIPInterface {
 public:
  virtual ~HardIPInterface() = default;

  /// Whether the core offers `op`; see HardIPInstance.h.
  virtual bool implements(HardIPOp op) const noexcept = 0;

  /// The user's parameters become the starting state.
  virtual void storeUserParams(ParamMap const&) {}
  /// Applies `params` and tells what they lead to. `messages`: parameter to text, which begins with `Info:`, `Warning:`
  /// or `Critical_warning:`, or is an error. `strength`: below 5 values alone are taken and checked, from 5 on ranges
  /// and derived values follow, from 10 on the searches run.
  virtual void getRanges(ParamMap const& /*params*/, RawResult& /*result*/, ParamMap& /*messages*/, int /*strength*/) {}
  /// All parameters: value, range, state (`ENABLE` or `DISABLE`), widget (`COMBO`, `EDIT`, `CHECKBOX`), two empty rows.
  virtual void getOutputParams(RawResult& /*result*/) {}
  /// The values alone, put over what `values` has; empty for a parameter without one.
  virtual void getParamValues(ParamMap& values) {
    RawResult rows;
    getOutputParams(rows);
    auto place = values.begin();  // both are in the order of the names
    for (auto& [name, of_parameter] : rows)
      place = values.insert_or_assign(
          place, name, of_parameter.empty() || of_parameter[0].empty() ? std::string() : std::move(of_parameter[0][0]));
  }
  /// Whether no user parameter has been applied yet.
  virtual bool isDefaultInstance() { return false; }
  virtual void setSysmonDataFile(std::string& /*name*/) {}
  /// The stem of the names of this instance's files.
  virtual std::string instanceFileStem() const { return {}; }
  virtual std::shared_ptr<HICInst> getHICInst() { return nullptr; }
  /// Empty if unknown.
  virtual std::string getParamValue(std::string const& /*name*/) { return {}; }
  virtual void getUserParamList(std::list<std::string>& /*names*/) {}
  /// docs/device-info.md tells the words for `info`; for others `text` is left as it is.
  virtual void getDeviceInfo(std::string /*info*/, std::string& /*text*/) {}
  virtual void generateXdc(ParamMap const& /*params*/, std::string& /*text*/, StrVec& /*errors*/) {}
  virtual void generatePowerData(ParamMap const& /*params*/, std::string& /*text*/, StrVec& /*errors*/) {}
  virtual void generateIOPadData(ParamMap const& /*params*/, std::string& /*text*/, StrVec& /*errors*/) {}
  virtual void generateSysmonNpiData(ParamMap const& /*params*/, std::string& /*text*/, StrVec& /*errors*/) {}
  /// Writes the engine's files below `path`.
  virtual void writeDesignData(std::string& /*path*/, ParamMap& /*params*/) {}
  /// Whether a directory that holds output may stay as it is.
  virtual bool keepsExistingOutput() { return false; }
  /// POWER_DATA, IOPAD_DATA, XDC_DATA, SYSMON_DATA; for others `text` is left as it is.
  virtual void getExportedData(std::string /*name*/, std::string& /*text*/) {}
  /// Called just before emitCdo.
  virtual void prepareCdo() {}
  /// The configuration data in binary form, as far as there is room.
  virtual void emitCdo(CdoBuffer& /*buffer*/) {}
  virtual bool isMultiSlr() const { return false; }
  virtual int slrCount() const { return 1; }
  /// Adds attributes by file path.
  virtual void addHwDefFileAttributes(AttrMap& /*fileAttributes*/) {}
};

/// The instances, by `instance_name`, `ps_core_name` and `part` of their context. May be used from several threads:
/// what it hands out stays until the calling thread is done with it (kdi::lend), whatever another thread deletes
/// meanwhile.
class KDI_DOOR HardIPManager {
 public:
  using InstanceMap = std::map<std::string, std::shared_ptr<HardIPInterface>>;

  static HardIPManager* getInstance();
  /// The same; a context has no manager of its own.
  static HardIPManager* getInstance(ParamMap const& context);

  /// Null if there is none; creates nothing. One that is being made is waited for.
  HardIPInterface* findInstance(ParamMap const& context, StrVec& errors);
  /// Null only if it cannot be made, which `errors` then tells.
  HardIPInterface* getOrCreateInstance(ParamMap const& context, StrVec& errors);
  /// A context without an instance has no effect and is no error.
  void deleteInstance(ParamMap const& context, StrVec& errors);
  /// The live instances, by identity in the order of the keys, as they are at this moment. Null while one is being
  /// made.
  InstanceMap instanceMap() const;

  /// Writes what the software tools are handed of a core, `<path><instance>.hwh` (docs/hardware-handoff.md); `path`
  /// ends in a separator. The path of the file; empty, and a message, if it cannot be written: what was there then
  /// stands.
  std::string generateHWH(HardIPInterface* instance, std::string path);

 private:
  HardIPManager() = default;
};

}  // namespace hardip_eng
