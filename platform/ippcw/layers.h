// What instances offer, in layers: a class of instances is a door with some of them on top.
#pragma once

#include <list>
#include <memory>
#include <string>
#include <utility>

#include "kdi/ippcw/HardIP.h"
#include "platform/ippcw/configured_core.h"

namespace hardip_eng {

using Configured = std::shared_ptr<ConfiguredCore>;

/// How hosts come at the core of an instance, whichever door it has.
class WithCore {
 public:
  virtual ~WithCore() = default;
  virtual Configured const& core() const = 0;
};

/// What no core lacks.
template <class Base>
class Named : public Base, public WithCore {
 public:
  explicit Named(Configured core) : core_(std::move(core)) {}

  std::string instanceFileStem() const override { return core_->instance_name(); }
  bool isMultiSlr() const override { return core_->slr_count() > 1; }
  int slrCount() const override { return core_->slr_count(); }
  Configured const& core() const override { return core_; }

 protected:
  const Configured core_;
};

/// Parameters that can be set and asked.
template <class Base>
class WithParameters : public Named<Base> {
 public:
  using Named<Base>::Named;

  void storeUserParams(ParamMap const& params) override { this->core_->start(params); }
  void getRanges(ParamMap const& params, RawResult& result, ParamMap& messages, int strength) override {
    this->core_->apply(params, result, messages, strength);
  }
  void getOutputParams(RawResult& result) override { this->core_->list(result); }
  void getParamValues(ParamMap& values) override { this->core_->list_values(values); }
  bool isDefaultInstance() override { return this->core_->is_default(); }
  std::string getParamValue(std::string const& name) override { return this->core_->value(name); }
  void getUserParamList(std::list<std::string>& names) override { this->core_->user_parameters(names); }
  void getDeviceInfo(std::string info, std::string& text) override { this->core_->device_info(info, text); }
  void generateXdc(ParamMap const& params, std::string& text, StrVec& errors) override {
    this->core_->export_text(params, "XDC_DATA", text, errors);
  }
  void generatePowerData(ParamMap const& params, std::string& text, StrVec& errors) override {
    this->core_->export_text(params, "POWER_DATA", text, errors);
  }
  void generateIOPadData(ParamMap const& params, std::string& text, StrVec& errors) override {
    this->core_->export_text(params, "IOPAD_DATA", text, errors);
  }
  void getExportedData(std::string name, std::string& text) override {
    StrVec errors;  // told as messages
    this->core_->export_text({}, name, text, errors);
  }
  void writeDesignData(std::string& path, ParamMap& params) override { this->core_->write_files(params, path); }
  void emitCdo(CdoBuffer& buffer) override { this->core_->emit(buffer); }
};

/// A block whose files are loaded by stages of an image.
template <class Base>
class WithStages : public WithParameters<Base> {
 public:
  using WithParameters<Base>::WithParameters;

  void addHwDefFileAttributes(AttrMap& fileAttributes) override { this->core_->add_stages(fileAttributes); }
};

/// A processing system, which has a system monitor.
template <class Base>
class WithMonitor : public WithParameters<Base> {
 public:
  using WithParameters<Base>::WithParameters;

  void setSysmonDataFile(std::string& name) override { this->core_->set_sysmon_data_file(name); }
  void generateSysmonNpiData(ParamMap const& params, std::string& text, StrVec& errors) override {
    this->core_->export_text(params, "SYSMON_NPI", text, errors);
  }
};

/// What the model of processing systems with their platform controller asks.
template <class Base>
class WithModel : public WithMonitor<Base> {
 public:
  using WithMonitor<Base>::WithMonitor;

  void translateParamNames(ParamMap const& in, ParamMap& out) override { this->core_->translate(in, out); }
  void guiSetParamOf(StrPairs const& pairs, StrVec& modified, ParamMap& messages) override {
    this->core_->change(pairs, modified, messages);
  }
  std::string getParamValueOf(std::string const& name) override { return this->core_->value(name); }
  std::string getBackUpParamValueOf(std::string const& name) override { return this->core_->backup(name); }
  std::string getParamTypeOf(std::string const& name) override { return this->core_->type(name); }
  void getParamRangeOf(std::string const& name, StrVec& range) override { this->core_->range(name, range); }
  bool isParamEnabledOf(std::string const& name) override { return this->core_->is_enabled(name); }
  void getUserModifiedOf(RawResult& records) override { this->core_->replace_by_own(records); }
  std::string getSysmonDataForInst(std::string what, std::string which) override {
    return this->core_->monitor(what, which);
  }
  int getStartSupplyId() override { return this->core_->first_supply(); }
  std::string getBootModeOfSDPeripheral(std::string const& peripheral) override {
    return this->core_->boot_mode(peripheral);
  }
};

}  // namespace hardip_eng
