#include "tests/support/recording_core.h"

#include <dlfcn.h>

#include <mutex>

#include "kdi/ippcw/HICHipInstInterface.h"
#include "kdi/ippcw/HICInst.h"
#include "kdi/ippcw/cips_top.h"
#include "kdi/ippcw/host/HardIPFactories.h"

namespace recording_core {

Answers answers;

namespace {

std::mutex mutex;
std::vector<std::string> recorded;
std::vector<ParamMap> contexts;  // of the cores that were made
ParamMap gui_params;

std::string shown(std::string const& text) { return text; }
std::string shown(int number) { return std::to_string(number); }
std::string shown(StrVec const& texts) {
  std::string all;
  for (std::string const& text : texts) all += (all.empty() ? "" : " ") + text;
  return "{" + all + "}";
}
template <class Pairs>
std::string shown_pairs(Pairs const& pairs) {
  StrVec all;
  for (auto const& [name, value] : pairs) all.push_back(name + "=" + value);
  return shown(all);
}
std::string shown(ParamMap const& map) { return shown_pairs(map); }
std::string shown(StrPairs const& pairs) { return shown_pairs(pairs); }
std::string shown(RawResult const& records) {
  StrVec all;
  for (auto const& [name, rows] : records)
    all.push_back(name + "=" + (rows.at(0).empty() ? "" : rows[0][0]) + "/" + std::to_string(rows.size()));
  return shown(all);
}

template <class... Arguments>
void record(std::string call, Arguments const&... arguments) {
  ((call += " " + shown(arguments)), ...);
  add_call(call);
}

std::string value(ParamMap const& map, std::string const& key) {
  const auto place = map.find(key);
  return place == map.end() ? std::string() : place->second;
}

void add(ParamMap const& more, ParamMap& all) { all.insert(more.begin(), more.end()); }

// What all of them do alike.
template <class Base>
class Recording : public Base {
 public:
  explicit Recording(ParamMap const& context) : name_(value(context, "instance_name")) {}

  void storeUserParams(ParamMap const& params) override { record("storeUserParams", params); }
  void getRanges(ParamMap const& params, RawResult& result, ParamMap& messages, int strength) override {
    record("getRanges", params, strength);
    if (answers.on_ranges) answers.on_ranges();
    for (auto const& [parameter, rows] : answers.result) result[parameter] = rows;
    add(answers.messages, messages);
  }
  void getOutputParams(RawResult& result) override {
    record("getOutputParams");
    for (auto const& [parameter, rows] : answers.outputs) result[parameter] = rows;
  }
  bool isDefaultInstance() override {
    record("isDefaultInstance");
    return answers.is_default;
  }
  void setSysmonDataFile(std::string& file) override { record("setSysmonDataFile", "'" + file + "'"); }
  std::string instanceFileStem() const override { return name_; }
  void getUserParamList(std::list<std::string>& names) override {
    record("getUserParamList");
    names = answers.user_params;
  }
  void getDeviceInfo(std::string info, std::string& text) override {
    record("getDeviceInfo", info);
    text = answers.text;
  }
  void generateXdc(ParamMap const& params, std::string& text, StrVec& errors) override {
    generate("generateXdc", params, text, errors);
  }
  void generatePowerData(ParamMap const& params, std::string& text, StrVec& errors) override {
    generate("generatePowerData", params, text, errors);
  }
  void generateIOPadData(ParamMap const& params, std::string& text, StrVec& errors) override {
    generate("generateIOPadData", params, text, errors);
  }
  void generateSysmonNpiData(ParamMap const& params, std::string& text, StrVec& errors) override {
    generate("generateSysmonNpiData", params, text, errors);
  }
  std::string getParamValue(std::string const& name) override { return value(answers.values, name); }
  void writeDesignData(std::string& path, ParamMap& params) override { record("writeDesignData", path, params); }
  bool keepsExistingOutput() override {
    record("keepsExistingOutput");
    return answers.keeps_output;
  }
  void getExportedData(std::string name, std::string& text) override {
    record("getExportedData", name);
    text = value(answers.exported, name);
  }
  void prepareCdo() override { record("prepareCdo"); }
  void emitCdo(hardip_eng::CdoBuffer& buffer) override { record("emitCdo", static_cast<int>(buffer.room())); }
  bool isMultiSlr() const override { return answers.has_dies; }
  int slrCount() const override { return answers.dies; }
  void addHwDefFileAttributes(AttrMap& fileAttributes) override {
    record("addHwDefFileAttributes");
    for (auto const& [file, attributes] : answers.file_attributes)
      fileAttributes[file].insert(attributes.begin(), attributes.end());
  }

 protected:
  std::string name_;

 private:
  static void generate(char const* operation, ParamMap const& params, std::string& text, StrVec& errors) {
    record(operation, params);
    text = answers.text.empty() || answers.text.back() != '*' ? answers.text : answers.text + operation;
    errors.insert(errors.end(), answers.errors.begin(), answers.errors.end());
  }
};

template <class Base>
class RecordingTop : public Recording<Base> {
 public:
  using Recording<Base>::Recording;

  void translateParamNames(ParamMap const& in, ParamMap& out) override {
    record("translateParamNames", in);
    out.clear();
    for (auto const& [name, given] : in) {
      const std::string other = value(answers.names, name);
      out[other.empty() ? name : other] = given;
    }
  }
  void guiSetParamOf(StrPairs const& pairs, StrVec& modified, ParamMap& messages) override {
    record("guiSetParamOf", pairs);
    if (answers.on_change) answers.on_change();
    modified.insert(modified.end(), answers.modified.begin(), answers.modified.end());
    add(answers.messages, messages);
  }
  std::string getParamValueOf(std::string const& name) override { return value(answers.values, name); }
  std::string getBackUpParamValueOf(std::string const& name) override { return value(answers.backups, name); }
  std::string getParamTypeOf(std::string const& name) override { return value(answers.types, name); }
  void getParamRangeOf(std::string const& name, StrVec& range) override { range = answers.ranges[name]; }
  bool isParamEnabledOf(std::string const& name) override { return answers.enabled.contains(name); }
  void getUserModifiedOf(RawResult& records) override {
    record("getUserModifiedOf", records);
    for (auto const& [name, rows] : answers.own_records) records[name] = rows;
  }
  std::string getSysmonDataForInst(std::string a, std::string b) override { return a + "+" + b; }
  int getStartSupplyId() override { return answers.number; }
  std::string getBootModeOfSDPeripheral(std::string const& peripheral) override { return "boot of " + peripheral; }
};

class Top : public hardip_eng::HardIPInstance<Top, RecordingTop<pspmc_config::pspmc_top>> {
  using HardIPInstance::HardIPInstance;
};
class Wizard : public hardip_eng::HardIPInstance<Wizard, RecordingTop<cips_config::cips_top>> {
 public:
  using HardIPInstance::HardIPInstance;
  void getOutputParams(RawResult& result) override {
    HardIPInstance::getOutputParams(result);
    told_ = this;
  }
  ~Wizard() override {
    if (told_ == this) told_ = nullptr;
  }
  static ParamMap told() { return told_ == nullptr ? ParamMap() : told_->guiContextParams; }

 private:
  inline static Wizard* told_ = nullptr;
};
class Plain : public hardip_eng::HardIPInstance<Plain, Recording<hardip_eng::HardIPInterface>> {
  using HardIPInstance::HardIPInstance;
};
class Heir : public hardip_eng::HardIPInstance<Heir, Plain> {
  using HardIPInstance::HardIPInstance;
};
class Bare : public hardip_eng::HardIPInstance<Bare> {
 public:
  explicit Bare(ParamMap const&) {}
  void writeDesignData(std::string& path, ParamMap& params) override { record("writeDesignData", path, params); }
};

template <class Base>
class WithHicInst : public Recording<Base> {
 public:
  explicit WithHicInst(ParamMap const& context)
      : Recording<Base>(context), inst_(std::make_shared<HICInst>(this->name_)) {}
  std::shared_ptr<HICInst> getHICInst() override { return inst_; }

 private:
  std::shared_ptr<HICInst> inst_;
};
class Loose : public hardip_eng::HardIPInstance<Loose, WithHicInst<hardip_eng::HardIPInterface>> {
  using HardIPInstance::HardIPInstance;
};
class Hic : public hardip_eng::HardIPInstance<Hic, WithHicInst<HICHipInstInterface>> {
 public:
  using HardIPInstance::HardIPInstance;
  void setSubCoreName(std::string name) override { record(name_ + ".setSubCoreName", name); }
};

template <class Core>
std::shared_ptr<hardip_eng::HardIPInterface> make(ParamMap const& context, StrVec&) {
  {
    const std::lock_guard lock(mutex);
    contexts.push_back(context);
  }
  if (answers.on_making) answers.on_making();
  return std::make_shared<Core>(context);
}

const bool are_registered = [] {
  using hardip_eng::set_hard_ip_factory;
  set_hard_ip_factory("top", make<Top>);
  set_hard_ip_factory("wizard", make<Wizard>);
  for (char const* const name : {"plain", "cpm", "cpm5n", "ai_engine", "xram", "pspmcx", "ps_pmc", "pspmc"})
    set_hard_ip_factory(name, make<Plain>);
  set_hard_ip_factory("heir", make<Heir>);
  set_hard_ip_factory("bare", make<Bare>);
  set_hard_ip_factory("loose", make<Loose>);
  for (char const* const name : {"hic", "pmcps", "ps_wizard", "PS_Wizard", "psx_wizard", "psxl"})
    set_hard_ip_factory(name, make<Hic>);
  set_hard_ip_factory("refused", [](ParamMap const&, StrVec& errors) {
    errors.push_back("no such thing");
    return std::shared_ptr<hardip_eng::HardIPInterface>();
  });
  return true;
}();

}  // namespace

std::vector<std::string> calls() {
  const std::lock_guard lock(mutex);
  return recorded;
}
void forget_calls() {
  const std::lock_guard lock(mutex);
  recorded.clear();
}
void add_call(std::string const& call) {
  {
    const std::lock_guard lock(mutex);
    recorded.push_back(call);
  }
  if (answers.on_call) answers.on_call(call);
}

void reset() {
  StrVec errors;
  for (ParamMap const& context : contexts) hardip_eng::HardIPManager::getInstance()->deleteInstance(context, errors);
  contexts.clear();
  answers = {};
  forget_calls();
}

std::vector<StrVec> rows(std::string const& given, StrVec const& range, std::string const& state,
                         std::string const& widget) {
  return {{given}, range, {state}, {widget}, {}, {}};
}

ParamMap gui_context_params() { return Wizard::told(); }

}  // namespace recording_core

using recording_core::answers;
using recording_core::record;

// Stands before the manager's own: one that lacks words.
hardip_eng::HardIPInterface* hardip_eng::HardIPManager::getOrCreateInstance(ParamMap const& context, StrVec& errors) {
  using Function = HardIPInterface* (*)(HardIPManager*, ParamMap const&, StrVec&);
  static const auto own = reinterpret_cast<Function>(dlsym(
      RTLD_NEXT,
      "_ZN10hardip_eng13HardIPManager19getOrCreateInstanceERKSt3mapINSt7__cxx1112basic_stringIcSt11char_traitsIcES"
      "aIcEEES7_St4lessIS7_ESaISt4pairIKS7_S7_EEERSt6vectorIS7_SaIS7_EE"));
  return answers.is_silent ? nullptr : own(this, context, errors);
}

struct HICInst::State {
  std::string name;
};

HICInst::HICInst(std::string name) : state_(std::make_unique<State>()) { state_->name = std::move(name); }
HICInst::~HICInst() = default;

std::string HICInst::getParamValue(std::string const& name) { return recording_core::value(answers.values, name); }
std::string HICInst::getBackUpParamValue(std::string const& name) {
  return recording_core::value(answers.backups, name);
}
std::string HICInst::getParamType(std::string const& name) { return recording_core::value(answers.types, name); }
void HICInst::getParamRange(std::string const& name, StrVec& range) { range = answers.ranges[name]; }
bool HICInst::isParamEnabled(std::string const& name) { return answers.enabled.contains(name); }
void HICInst::guiSetParam(StrPairs& pairs, StrVec& modified, ParamMap& messages) {
  record(state_->name + ".guiSetParam", pairs);
  if (answers.on_change) answers.on_change();
  modified.insert(modified.end(), answers.modified.begin(), answers.modified.end());
  recording_core::add(answers.messages, messages);
}
void HICInst::setParam(ParamMap& params, RawResult& result, ParamMap& messages, int strength) {
  record(state_->name + ".setParam", params, strength);
  for (auto const& [parameter, rows] : answers.result) result[parameter] = rows;
  recording_core::add(answers.messages, messages);
}
void HICInst::getGuiUserModifiedParams(RawResult& records) {
  record(state_->name + ".getGuiUserModifiedParams", records);
  for (auto const& [name, rows] : answers.own_records) records[name] = rows;
}
void HICInst::getSysmonEnabledMeasurements(StrPairs& pairs) {
  record(state_->name + ".getSysmonEnabledMeasurements");
  pairs.insert(pairs.end(), answers.measurements.begin(), answers.measurements.end());
}
void HICInst::getSysmonEnabledDictMeasurements(ParamMap& measurements, std::string subCore) {
  record(state_->name + ".getSysmonEnabledDictMeasurements", subCore);
  measurements = answers.dict_measurements[state_->name + "/" + subCore];
}
std::string HICInst::getSubCoreName() const { return recording_core::value(answers.sub_cores, state_->name); }
void HICInst::updateSLRParamsFromMasterSubcore(ParamMap& params, ParamMap& masters) {
  record(state_->name + ".updateSLRParamsFromMasterSubcore", params);
  for (auto const& [name, given] : answers.masters_values) params[name] = masters[name] = given;
}
void HICInst::GetExportedData(std::string const& name, std::string& text) {
  record(state_->name + ".GetExportedData", name);
  text = recording_core::value(answers.exported, name);
}
void HICInst::getSysmonRegData(StrPairs& registers) {
  record(state_->name + ".getSysmonRegData");
  registers = answers.monitor_registers;
}
void HICInst::generateSysmonDataJson() { record(state_->name + ".generateSysmonDataJson"); }
bool HICInst::isPSBankAvailable() { return true; }
int HICInst::getSlrCount() { return answers.number; }
std::string HICInst::getSysmonData(std::string a, std::string b) { return a + "*" + b; }
int HICInst::getStartSupplyId() { return answers.number; }
