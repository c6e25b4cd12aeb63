// A core of the earlier processing systems that is being configured.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/common/KdiTypes.h"

namespace processing_system {

/// Each operation may be called from several threads; an instance does one thing at a time. `errors` are appended to.
/// The engine's own classes derive from it; the functions here leave their outputs as they are.
class KDI_DOOR PSU_Interface {
 public:
  /// A new instance of the core that the context names (`ps_core_name`, `part`, `ps_core_ver` if a certain version is
  /// meant), which the caller deletes. Null, with a text in `errors`, if there is none.
  static PSU_Interface* createInstanceNonStatic(ParamMap const& context, StrVec& errors);

  virtual ~PSU_Interface() = default;

  /// Whether no user parameter has been applied yet.
  virtual bool isDefaultInstance() const { return false; }
  /// What the wrapper of the core is generated with: a row of name and value for each of `names` that the core has, for
  /// all that there are if `names` is empty. `values` are applied first.
  virtual void getHdlParams(ParamMap const& /*values*/, std::set<std::string> const& /*names*/,
                            std::vector<StrVec>& /*rows*/, StrVec& /*errors*/) {}
  /// Applies `params` and tells what they lead to, as HardIPInterface::getRanges does.
  virtual void getRanges(ParamMap const& /*params*/, RawResult& /*result*/, ParamMap& /*messages*/, int /*strength*/) {}
  /// Applies the preset that `params` name under `preset`, and after it the others of `params`.
  virtual void importPreset(ParamMap const& /*params*/, RawResult& /*result*/, ParamMap& /*messages*/) {}
  /// Applies the board that `params` name under `board`, and after it the others of `params`.
  virtual void applyBoard(ParamMap const& /*params*/, RawResult& /*result*/, ParamMap& /*messages*/) {}
  /// Texts; `params` are applied first.
  virtual void generateXdc(ParamMap const& /*params*/, std::string& /*text*/, StrVec& /*errors*/) {}
  virtual void generatePowerData(ParamMap const& /*params*/, std::string& /*text*/, StrVec& /*errors*/) {}
  virtual void generateIOPadData(ParamMap const& /*params*/, std::string& /*text*/, StrVec& /*errors*/) {}
  virtual void generateJitterConstraints(ParamMap const& /*params*/, std::string& /*text*/, StrVec& /*errors*/) {}
  /// What the first boot loader is built with, as texts by key: `FSBL_PSINIT_C`, `FSBL_PSINIT_H`, `FSBL_PSINIT_HTML`,
  /// `FSBL_PSINIT_TCL` and, if `all`, `FSBL_GPL_PSINIT_C` and `FSBL_GPL_PSINIT_H`. Returns a text for people.
  virtual std::string generateBootLoaderFiles(ParamMap const& /*params*/, bool /*all*/, ParamMap& /*files*/,
                                              StrVec& /*errors*/) {
    return {};
  }
};

}  // namespace processing_system
