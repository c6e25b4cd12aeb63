#include "kdi/ippcw/HICInst.h"

#include <cstdint>
#include <exception>
#include <filesystem>
#include <mutex>
#include <optional>
#include <utility>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"
#include "kdi/cores/Store.h"
#include "kdi/device/Device.h"
#include "platform/ippcw/HICHipInst.h"
#include "platform/ippcw/failures.h"
#include "platform/ippcw/handoff.h"

using hardip_eng::Configured;
using hardip_eng::ConfiguredCore;
using hardip_eng::tell_failure;

struct HICInst::State {
  explicit State(Configured configured) : core(std::move(configured)) {}

  const Configured core;  // null for a name that no core has
  mutable std::mutex mutex;
  std::string sub_core;
  std::string monitor_file;  // where its data stand beside the last output; empty before there is one

  struct Written {
    std::filesystem::path folder;
    std::string name;
    std::uint64_t changes;
    friend bool operator==(Written const&, Written const&) = default;
  };
  std::optional<Written> written;  // the last output, until somebody asks for it
};

namespace {

// The name without the number behind it: `psxl` of psxl_0.
std::string without_number(std::string const& instance_name) {
  const std::size_t end = instance_name.find_last_not_of("0123456789");
  const bool is_numbered = end != std::string::npos && end + 1 < instance_name.size() && instance_name[end] == '_';
  return is_numbered ? instance_name.substr(0, end) : instance_name;
}

// `psxl` of psxl_0, and of psxl_mine_0: the core that the name is, or else begins with, the longest of several.
std::string core_in(std::string const& instance_name) {
  std::string name = without_number(instance_name), begin;
  for (std::string const& core : kdi::cores::core_names()) {
    if (core == name) return core;
    if (name.starts_with(core + "_") && core.size() > begin.size()) begin = core;
  }
  return begin.empty() ? name : begin;
}

// Without a context there is neither version nor part: the newest version, on no device.
Configured core_without_context(std::string const& instance_name) {
  const std::string name = core_in(instance_name);
  try {
    const StrVec versions = kdi::cores::core_versions(name);
    if (!versions.empty())
      return std::make_shared<ConfiguredCore>(kdi::cores::core_description(name, versions.back()), nullptr,
                                              instance_name);
    tell_failure("no core " + kdi::text::quoted(kdi::text::shortened(name)) + "; there are " +
                 kdi::text::joined(kdi::cores::core_names(), ", "));
  } catch (std::bad_alloc const&) {
    throw;
  } catch (std::exception const& error) {
    tell_failure(error.what());
  }
  return nullptr;
}

}  // namespace

HICInst::HICInst(std::string instanceName) : HICInst(std::make_unique<State>(core_without_context(instanceName))) {}

HICInst::HICInst(std::unique_ptr<State> state) : state_(std::move(state)) {}

HICInst::~HICInst() = default;

std::string HICInst::getParamValue(std::string const& name) {
  return state_->core ? state_->core->value(name) : std::string();
}

std::string HICInst::getBackUpParamValue(std::string const& name) {
  return state_->core ? state_->core->backup(name) : std::string();
}

std::string HICInst::getParamType(std::string const& name) {
  return state_->core ? state_->core->type(name) : std::string();
}

void HICInst::getParamRange(std::string const& name, StrVec& range) {
  if (state_->core) state_->core->range(name, range);
}

bool HICInst::isParamEnabled(std::string const& name) { return state_->core && state_->core->is_enabled(name); }

void HICInst::guiSetParam(StrPairs& pairs, StrVec& modified, ParamMap& messages) {
  if (state_->core) state_->core->change(pairs, modified, messages);
}

void HICInst::setParam(ParamMap& params, RawResult& result, ParamMap& messages, int strength) {
  if (state_->core) state_->core->apply(params, result, messages, strength);
}

void HICInst::getGuiUserModifiedParams(RawResult& records) {
  if (state_->core) state_->core->replace_by_own(records);
}

void HICInst::getSysmonEnabledMeasurements(StrPairs& pairs) {
  if (state_->core) state_->core->measurements(pairs);
}

void HICInst::getSysmonEnabledDictMeasurements(ParamMap& measurements, std::string subCore) {
  if (state_->core) state_->core->measurement_dictionaries(measurements, subCore);
}

std::string HICInst::getSysmonData(std::string what, std::string which) {
  return state_->core ? state_->core->monitor(what, which) : std::string();
}

int HICInst::getStartSupplyId() { return state_->core ? state_->core->first_supply() : -1; }

void HICInst::updateSLRParamsFromMasterSubcore(ParamMap& params, ParamMap& masterParams) {
  if (state_->core) state_->core->hand_to_slave(params, masterParams);
}

std::string HICInst::getSubCoreName() const {
  const std::lock_guard lock(state_->mutex);
  return state_->sub_core;
}

bool HICInst::isPSBankAvailable() {
  if (!state_->core || state_->core->part() == nullptr) return false;
  for (kdi::device::IoBank const& bank : state_->core->part()->package->banks)
    if (bank.kind == "MIO") return true;
  return false;
}

int HICInst::getSlrCount() { return state_->core ? state_->core->slr_count() : 1; }

void HICInst::getSysmonRegData(StrPairs& registers) {
  if (state_->core) state_->core->monitor_registers(registers);
}

void HICInst::GetExportedData(std::string const& name, std::string& text) {
  StrVec errors;  // told as messages
  if (state_->core) state_->core->export_text({}, name, text, errors);
}

void HICInst::write_files(std::string const& path, std::string const& stem) {
  if (!state_->core) return;
  std::string const& name = stem.empty() ? state_->core->instance_name() : stem;
  const std::uint64_t changes = state_->core->changes();  // from here on: others may be at work
  state_->core->write_joint_files(path, name);
  const std::lock_guard lock(state_->mutex);
  state_->written = {std::filesystem::path(path).lexically_normal(), name, changes};
  state_->monitor_file = path + "/" + name + "_sysmon_data.json";
}

// A definition and the files beside it are asked for one after the other, and need the same files.
void HICInst::write_files_unless_just_written(std::string const& path, std::string const& stem) {
  if (!state_->core) return;
  std::string const& name = stem.empty() ? state_->core->instance_name() : stem;
  const State::Written wanted{std::filesystem::path(path).lexically_normal(), name, state_->core->changes()};
  std::optional<State::Written> written;
  {
    const std::lock_guard lock(state_->mutex);
    written = std::exchange(state_->written, std::nullopt);
  }
  if (written != wanted) write_files(path, stem);
}

std::string HICInst::write_handoff(std::string const& path, std::string const& stem) {
  if (!state_->core || path.empty()) return path;
  return hardip_eng::write_handoff(
      hardip_eng::handoff_of(*state_->core, stem.empty() ? state_->core->instance_name() : stem), path);
}

void HICInst::generateSysmonDataJson() {
  if (!state_->core || state_->core->description().presets().measurements.all.empty()) return;
  std::string path = state_->core->sysmon_data_file();
  if (path.empty()) {
    const std::lock_guard lock(state_->mutex);
    path = state_->monitor_file.empty() ? state_->core->instance_name() + "_sysmon_data.json" : state_->monitor_file;
  }
  std::string text;
  GetExportedData("SYSMON_DATA", text);
  if (text.empty()) return;
  try {
    kdi::write_file(path, text);
  } catch (kdi::FileError const& error) {
    tell_failure(error.what());
  }
}

// ------------------------------------------------------------------------------------------------ the manager's face

HICHipInst::HICHipInst(Configured core, std::string sub_core_name)
    : HardIPInstance(core), inst_(new HICInst(std::make_unique<HICInst::State>(std::move(core)))) {
  inst_->state_->sub_core = std::move(sub_core_name);
}

void HICHipInst::setSubCoreName(std::string name) {
  const std::lock_guard lock(inst_->state_->mutex);
  inst_->state_->sub_core = std::move(name);
}
