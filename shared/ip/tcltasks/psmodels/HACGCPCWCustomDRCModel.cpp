#include "tcltasks/psmodels/HACGCPCWCustomDRCModel.h"

#include "kdi/ippcw/HICHipInstInterface.h"
#include "kdi/thread/KdiThread.h"
#include "tcltasks/frame/cpu_time.h"
#include "tcltasks/frame/exceptions.h"
#include "tcltasks/frame/hard_ip.h"

using hardip_eng::HardIPInterface;
using hardip_eng::HardIPManager;
using hardip_eng::HardIPOp;

HACGCPCWCustomDRCModel::~HACGCPCWCustomDRCModel() {
  if (createThread != nullptr) kdi::join(createThread);
}

bool HACGCPCWCustomDRCModel::init_params(ParamMap& params, OutMap& outParams, ParamMap& context, StrVec& errors,
                                         int strength) {
  psmodels::log(psmodels::PcwTraits::kChannel, psmodels::kUsualLevel, "Strength = %d \n", strength);
  if (!psmodels::param_is_true("pcw.instantiateCPMParalelly")) {
    createInstance(params, outParams, context, errors, strength);
    return errors.empty();
  }
  if (createThread != nullptr) kdi::join(createThread);  // of an earlier call
  createThread = kdi::start_thread([this, its_params = params, its_context = context, strength]() mutable {
    frame::report_exceptions(false, [&] {
      createInstanceByThread(its_params, its_context, strength);
      return true;
    });
  });
  return errors.empty();
}

void HACGCPCWCustomDRCModel::createInstanceByThread(ParamMap& params, ParamMap& context, int strength) {
  OutMap dropped;
  StrVec dropped_errors;
  createInstance(params, dropped, context, dropped_errors, strength);
}

void HACGCPCWCustomDRCModel::createInstance(ParamMap& params, OutMap& outParams, ParamMap& context, StrVec& errors,
                                            int strength) {
  std::string sysmonFile;
  for (auto const& [identity, other] : HardIPManager::getInstance()->instanceMap()) {
    if (other == nullptr || dynamic_cast<HICHipInstInterface*>(other.get()) != nullptr) continue;
    if (context["ps_core_name"] != "cpm") sysmonFile = other->instanceFileStem() + "_sysmon_data.json";
  }
  HardIPInterface* const core = frame::made_core(context, errors);
  RawResult raw;
  if (core != nullptr) {
    RawResult dropped;
    ParamMap dropped_messages;
    if (core->implements(HardIPOp::getRanges)) core->getRanges(params, dropped, dropped_messages, strength);
    if (core->implements(HardIPOp::getOutputParams)) core->getOutputParams(raw);
    if (core->implements(HardIPOp::setSysmonDataFile)) core->setSysmonDataFile(sysmonFile);
  }
  getOUTParams(raw, outParams);
}

void HACGCPCWCustomDRCModel::get_ranges(ParamMap& params, ParamMap& userParams, RawResult& raw, ParamMap& context,
                                        ParamMap& messages) {
  if (createThread != nullptr) kdi::join(createThread);
  const frame::CpuTime time;
  StrVec dropped_errors;
  frame::get_ranges(context, userParams, params, frame::Offer::asked_for, raw, messages, dropped_errors);
  time.print_if_asked(frame::kRangeTimeVariable, psmodels::kRangeTime);
}

bool HACGCPCWCustomDRCModel::updateAll(ParamMap& params, ParamMap& userParams, OutMap& outParams, ParamMap& context) {
  if (createThread != nullptr) kdi::join(createThread);
  return update(params, userParams, outParams, context, [&] {
    outParams.insert_or_assign("PS_PMC_CONFIG_APPLIED", OutMap::mapped_type{{XGUI_VALUE, "1"}});
  });
}
