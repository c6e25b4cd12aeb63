#include "platform/ippcw/device_facts.h"

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"

namespace hardip_eng {
namespace {

using namespace kdi::device;
using kdi::cores::Facts;

class Teller {
 public:
  explicit Teller(Facts& facts) : facts_(facts) {}

  void tell(std::string const& word, std::string text) { facts_.insert_or_assign(word, std::move(text)); }
  void tell(std::string const& word, int number) { tell(word, std::to_string(number)); }
  void tell(std::string const& word, std::size_t number) { tell(word, std::to_string(number)); }
  void tell(std::string const& word, double number) { tell(word, kdi::number::shortest(number)); }

 private:
  Facts& facts_;
};

void tell_part(Teller& teller, Part const& part) {
  Device const& device = *part.device;
  teller.tell("part", part.name);
  teller.tell("device", device.name);
  teller.tell("family", device.family);
  teller.tell("generation", device.generation);
  teller.tell("package", part.package->name);
  teller.tell("speed_grade", part.speed->name);
  teller.tell("core_v", part.speed->core_v);
  teller.tell("banks", part.package->banks.size());
  teller.tell("quads", part.package->quads.size());
  for (auto const& [name, text] : part.properties) teller.tell("property." + name, text);
  teller.tell("slr.count", device.slrs.size());
  for (std::size_t i = 0; i < device.slrs.size(); ++i) {
    teller.tell("slr." + std::to_string(i) + ".name", device.slrs[i].name);
    if (device.slrs[i].master) teller.tell("slr.master", i);
  }
}

void tell_clocks(Teller& teller, Part const& part) {
  for (SystemPll const& pll : part.speed->system_plls) {
    const std::string of = "pll." + pll.name + ".";
    teller.tell(of + "reference_min_mhz", pll.reference_mhz.min);
    teller.tell(of + "reference_max_mhz", pll.reference_mhz.max);
    teller.tell(of + "feedback_min", pll.feedback.min);
    teller.tell(of + "feedback_max", pll.feedback.max);
    teller.tell(of + "vco_min_mhz", pll.vco_mhz.min);
    teller.tell(of + "vco_max_mhz", pll.vco_mhz.max);
    teller.tell(of + "output_max_mhz", pll.output_max_mhz);
    std::string divides;
    for (const int divide : pll.output_divides) kdi::text::append_word(divides, std::to_string(divide));
    teller.tell(of + "output_divides", divides);
  }
  for (SystemDivider const& divider : part.device->processing_system->dividers) {
    teller.tell("divider." + divider.name + ".min", divider.divide.min);
    teller.tell("divider." + divider.name + ".max", divider.divide.max);
  }
  for (auto const& [name, mhz] : part.speed->system_clocks) teller.tell("clock." + name + ".max_mhz", mhz);
}

void tell_monitor(Teller& teller, SystemMonitor const& monitor, std::size_t regions) {
  for (std::size_t slr = 0; slr < regions; ++slr) {
    const std::string of = "slr." + std::to_string(slr) + ".";
    const int region = static_cast<int>(slr);
    teller.tell(of + "first_supply", monitor.first_supply + region * static_cast<int>(monitor.supplies.size()));
    std::string numbers;
    for (int i = 0; i < monitor.satellites; ++i)
      kdi::text::append_word(numbers, std::to_string(region * monitor.satellites + i));
    teller.tell(of + "satellites", numbers);
  }
  teller.tell("supply.count", monitor.supplies.size());
  teller.tell("supply.first", monitor.first_supply);
  teller.tell("monitor.satellites", monitor.satellites);
  for (std::size_t i = 0; i < monitor.supplies.size(); ++i) {
    const std::string of = "supply." + std::to_string(monitor.first_supply + static_cast<int>(i)) + ".";
    teller.tell(of + "name", monitor.supplies[i].name);
    teller.tell(of + "volts", monitor.supplies[i].volts);
  }
}

}  // namespace

Facts facts_of(Part const& part) {
  Facts facts;
  Teller teller(facts);
  tell_part(teller, part);
  auto const& system = part.device->processing_system;
  if (!system) return facts;
  teller.tell("system", system->kind);
  teller.tell("mio_pins", system->mio_pins);
  std::string names;
  for (auto const& [name, versions] : system->cores) {
    kdi::text::append_word(names, name);
    teller.tell("core." + name + ".versions", kdi::text::joined(versions, " "));
  }
  teller.tell("cores", names);
  tell_clocks(teller, part);
  if (system->monitor) tell_monitor(teller, *system->monitor, part.device->slrs.size());
  return facts;
}

}  // namespace hardip_eng
