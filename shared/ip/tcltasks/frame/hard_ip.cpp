#include "tcltasks/frame/hard_ip.h"

namespace frame {

using hardip_eng::HardIPInterface;
using hardip_eng::HardIPManager;
using hardip_eng::HardIPOp;

HardIPInterface* made_core(ParamMap const& context, StrVec& errors) {
  HardIPInterface* const core = HardIPManager::getInstance()->getOrCreateInstance(context, errors);
  if (core == nullptr && errors.empty()) errors.emplace_back("instance could not be created");
  return core;
}

bool get_ranges(ParamMap const& context, ParamMap const& userParams, ParamMap const& params, Offer offer,
                RawResult& result, ParamMap& messages, StrVec& errors) {
  const auto offers = [&](HardIPInterface& core, HardIPOp operation) {
    return offer == Offer::taken_for_granted || core.implements(operation);
  };
  HardIPInterface* core = HardIPManager::getInstance()->findInstance(context, errors);
  bool is_untouched = true;
  if (core == nullptr)
    core = made_core(context, errors);
  else
    is_untouched = offers(*core, HardIPOp::isDefaultInstance) && core->isDefaultInstance();
  if (core == nullptr) return false;
  if (!offers(*core, HardIPOp::getRanges)) return true;
  if (is_untouched) core->getRanges(userParams, result, messages, kFullStrength);
  core->getRanges(params, result, messages, kFullStrength);
  return true;
}

}  // namespace frame
