// A core of the larger processing systems, or one of a wizard's sub-cores.
#pragma once

#include <memory>
#include <string>

#include "kdi/common/KdiDoor.h"
#include "kdi/common/KdiTypes.h"

/// What the package's model of these cores works with. Each operation may be called from several threads; an instance
/// does one thing at a time.
class KDI_DOOR HICInst {
 public:
  /// An instance outside the manager, for a context that has none. It has the core that its name begins with
  /// (`psxl_0`).
  explicit HICInst(std::string instanceName);
  ~HICInst();
  HICInst(HICInst const&) = delete;
  HICInst& operator=(HICInst const&) = delete;

  /// Empty if unknown, here and below.
  std::string getParamValue(std::string const& name);
  /// The user's last value, which a disabled parameter keeps behind `SKIP`.
  std::string getBackUpParamValue(std::string const& name);
  /// `textEdit` for what is typed, `combo` for a choice, `checkBox` for a truth.
  std::string getParamType(std::string const& name);
  void getParamRange(std::string const& name, StrVec& range);
  bool isParamEnabled(std::string const& name);

  /// Applies the pairs in their order, as a user's changes, with all rules. `modified`: what moved, each name once.
  void guiSetParam(StrPairs& pairs, StrVec& modified, ParamMap& messages);
  /// Applies parameters at a strength (HardIPInterface::getRanges).
  void setParam(ParamMap& params, RawResult& result, ParamMap& messages, int strength);
  /// Replaces each record by the engine's own value; may add records.
  void getGuiUserModifiedParams(RawResult& records);

  /// Appends the parameters of the measurements that are on, with their values.
  void getSysmonEnabledMeasurements(StrPairs& pairs);
  /// The dictionaries of measurements, by parameter, of a sub-core (`pmcps_0`, `tmp_pmcps_0`, `tmp_pmcps`) or, where
  /// the core has none of that name, its own.
  void getSysmonEnabledDictMeasurements(ParamMap& measurements, std::string subCore);
  /// Empty without one.
  std::string getSubCoreName() const;
  /// Asked of the master of a device of several dies: takes its values over into `params`, for the parameters that are
  /// there, but for measurements, of which each die has its own; `masterParams` gets the same.
  void updateSLRParamsFromMasterSubcore(ParamMap& params, ParamMap& masterParams);
  bool isPSBankAvailable();
  /// At least 1.
  int getSlrCount();
  /// What is known of the system monitor: `SUPPLY_NAME` and `SUPPLY_VOLTS` of the supply with the number `which`,
  /// `SUPPLY_NUM` of the one with that name; `SUPPLIES`, `SUPPLY_COUNT`, `SATELLITES`, and `MEASUREMENTS`, the numbers
  /// of the supplies that are measured.
  std::string getSysmonData(std::string what, std::string which);
  /// -1 if there is none.
  int getStartSupplyId();

  /// Appends the registers of the system monitor, each with its word.
  void getSysmonRegData(StrPairs& registers);
  /// Sets `text` to the data `name` (HardIPInterface::getExportedData); leaves it as it is for others.
  void GetExportedData(std::string const& name, std::string& text);
  /// Writes the data of the system monitor, where the core has one, to the file that was set, or else to
  /// <instance>_sysmon_data.json beside the files that were written last.
  void generateSysmonDataJson();

 private:
  friend class HICHipInst;
  friend struct HICInstOutputUtils;
  void write_files(std::string const& path, std::string const& stem);
  void write_files_unless_just_written(std::string const& path, std::string const& stem);
  std::string write_handoff(std::string const& path, std::string const& stem);
  struct State;
  explicit HICInst(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};
