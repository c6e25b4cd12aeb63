#include "platform/ippcw/device_facts.h"

namespace hardip_eng {

kdi::cores::Facts facts_of(kdi::device::Part const& part) {
  kdi::device::Device const& device = *part.device;
  kdi::cores::Facts facts{{"part", part.name},
                          {"device", device.name},
                          {"family", device.family},
                          {"generation", device.generation},
                          {"package", part.package->name},
                          {"speed_grade", part.speed->name},
                          {"slr.count", std::to_string(device.slrs.size())}};
  return facts;
}

}  // namespace hardip_eng
