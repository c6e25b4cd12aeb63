#include "tcltasks/psmodels/wizard.h"

#include <algorithm>
#include <memory>
#include <string_view>

#include "kdi/ippcw/HICHipInstInterface.h"
#include "tcltasks/psmodels/measurements.h"
#include "tcltasks/psmodels/raw_result.h"

namespace psmodels {
namespace {

using hardip_eng::HardIPManager;

// The part of a wizard's block design that is the master of its sub-cores.
bool is_master(std::string const& stem) { return stem.starts_with("bd") && stem.ends_with("pmcps_0_0"); }

void add_measurements(ParamMap const& measurements, std::string& text) {
  const ParamMap present = read_dict(text);
  std::string added;
  for (auto const& [name, value] : measurements)
    if (!present.contains(name)) added.append(" ").append(name).append(" {").append(value).append("}");
  text.insert(is_one_group(text) ? text.size() - 1 : text.size(), added);
}

}  // namespace

std::string sub_core_name(std::string const& instance_name) {
  if (instance_name.starts_with("tmp")) return instance_name;
  if (instance_name.ends_with("pmcps_0_0")) return "tmp_pmcps_0";
  if (instance_name.ends_with("pmcps_0")) return "tmp_pmcps";
  if (instance_name.ends_with("pmcps_4")) return "tmp_pmcps_4";
  return instance_name;
}

std::vector<std::shared_ptr<HICInst>> other_monitored_cores(HICInst const* own) {
  std::vector<std::shared_ptr<HICInst>> cores;
  for (auto const& [identity, instance] : HardIPManager::getInstance()->instanceMap()) {
    std::shared_ptr<HICInst> core = instance == nullptr ? nullptr : instance->getHICInst();
    if (core == nullptr || core.get() == own || core->getSubCoreName().find("pmcps") == std::string::npos) continue;
    if (std::ranges::find(cores, core) != cores.end()) continue;  // found by another name of it
    cores.push_back(std::move(core));
  }
  return cores;
}

void broadcast_measurements(ParamMap& params, HACGCCustomDRCModel::OutMap& outParams) {
  for (auto const& [identity, instance] : HardIPManager::getInstance()->instanceMap()) {
    if (instance == nullptr || dynamic_cast<HICHipInstInterface*>(instance.get()) != nullptr) continue;
    if (!is_master(instance->instanceFileStem())) continue;
    const std::shared_ptr<HICInst> core = instance->getHICInst();
    if (core == nullptr) continue;
    ParamMap measurements;
    core->getSysmonEnabledDictMeasurements(measurements, "tmp_pmcps");
    for (char const* const key : {"PS_PMC_CONFIG", "PS_PMC_CONFIG_1", "PS_PMC_CONFIG_2", "PS_PMC_CONFIG_3"}) {
      const auto configuration = params.find(key);
      if (configuration == params.end()) continue;
      add_measurements(measurements, configuration->second);
      outParams[key][HACGCCustomDRCModel::XGUI_VALUE] = configuration->second;
    }
  }
}

void merge_measurements(RawResult& raw) {
  struct SubCore {
    std::string_view name;
    char const* of_engine;
  };
  for (SubCore const& sub_core : {SubCore{"pmcps_0", "tmp_pmcps_0"}, SubCore{"pmcps_4", "tmp_pmcps_4"}})
    for (auto const& [identity, instance] : HardIPManager::getInstance()->instanceMap()) {
      if (instance == nullptr || !instance->instanceFileStem().ends_with(sub_core.name)) continue;
      const std::shared_ptr<HICInst> core = instance->getHICInst();
      if (core == nullptr) continue;
      ParamMap measurements;
      core->getSysmonEnabledDictMeasurements(measurements, sub_core.of_engine);
      for (auto const& [parameter, update] : measurements) {
        const auto place = raw.find(parameter);
        if (place == raw.end() || !is_dict_measurement(parameter)) continue;
        Rows& rows = place->second;
        const std::string merged = merged_dict(first_of(rows, Row::value), update);
        if (rows.empty()) rows.emplace_back();
        rows.front() = {merged};
      }
    }
}

}  // namespace psmodels
