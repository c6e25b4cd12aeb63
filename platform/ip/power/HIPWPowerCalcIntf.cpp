#include "kdi/ip/HIPWPowerCalcIntf.h"

#include "kdi/device/HDARPart.h"
#include "platform/ip/power/gt_power.h"
#include "platform/ip/power/memory_power.h"

namespace {

class PartCalculator final : public HIPWPowerCalcIntf {
 public:
  PartCalculator(kdi::device::Part const& part, kdi::power::Model const& model) : part_(part), model_(model) {}

  float calcMemoryPower(MigPowerRecord const& record, std::map<std::string, float>& breakdown) override {
    return kdi::power::memory_power(part_, model_, record, breakdown);
  }
  float calcGtPower(GtPowerRecord const& record, std::map<std::string, float>& breakdown) override {
    return kdi::power::gt_power(part_, model_, record, breakdown);
  }

 private:
  kdi::device::Part const& part_;
  kdi::power::Model const& model_;
};

}  // namespace

HIPWPowerCalcIntf* HIPWPowerCalcIntf::getIPPowerCalcIntf(HDARPart const* part) {
  if (part == nullptr) return nullptr;
  kdi::device::Part const& values = part->values();
  kdi::power::Model const* const model = kdi::power::model_of(values.device->generation);
  return model == nullptr ? nullptr : new PartCalculator(values, *model);
}
