#include "platform/ip/power/memory_power.h"

#include <cmath>
#include <iterator>
#include <optional>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"

namespace kdi::power {
namespace {

constexpr double kMhzPerGhz = 1000;
constexpr double kPinsPerLane = 8;

// What the memory's side of the interface costs: the device's figures for the type, and what lies around them. All 0
// for a family that the part has no figures for.
struct Family {
  device::MemoryPower blocks;
  MemoryFamily around;
};

Family find_family(device::Part const& part, Model const& model, std::string const& name) {
  for (MemoryFamily const& around : model.memories)
    if (around.family == name)
      if (device::MemoryPower const* const blocks = part.device->power.memory(around.type)) return {*blocks, around};
  warn("the part " + part.name + " has no figures for the memory family \"" + name +
       "\": only clocks, fabric and static power are counted");
  return {};
}

// The data rates of the type's pins that the part's controllers run at, or of all types where none is known; none if
// they have no such type.
std::optional<device::Range> rates_mbps(device::Part const& part, std::string const& type) {
  std::optional<device::Range> rates;
  for (device::MemoryController const& controller : part.speed->memory_controllers)
    for (device::MemoryInterface const& interface : controller.interfaces) {
      if (!type.empty() && interface.type != type) continue;
      if (!rates) rates = interface.rate_mbps;
      rates->min = std::min(rates->min, interface.rate_mbps.min);
      rates->max = std::max(rates->max, interface.rate_mbps.max);
    }
  return rates;
}

// Twice the clock is the data rate of a pin, in Mb/s. Where the family transfers otherwise, this is what the formulas
// take it for.
void tell_uncovered(device::Part const& part, MigPowerRecord const& record, std::string const& type) {
  const auto memory_mhz = static_cast<double>(record.memoryClock), user_mhz = static_cast<double>(record.uiClock);
  if (memory_mhz == 0) return;
  if (const auto rates = rates_mbps(part, type); rates && !rates->contains(2 * memory_mhz))
    warn("a memory clock of " + number::plain(memory_mhz) + " MHz is outside the " + number::plain(rates->min / 2) +
         " to " + number::plain(rates->max / 2) + " MHz at which " + part.name + " drives " +
         (type.empty() ? "memories" : type) + ": the model does not cover it");
  if (user_mhz > memory_mhz)
    warn("a user clock of " + number::plain(user_mhz) + " MHz is above the memory's, " + number::plain(memory_mhz) +
         " MHz: the model does not cover it");
}

// The record's quantities, made safe and brought to the units of the formulas.
struct Interface {
  double clock_ghz;  ///< of the memory
  double rate_gbps;  ///< of a data pin
  double user_ghz;
  double ratio;  ///< memory clock over user clock
  double data_pins;
  double address_pins;
  double lanes;
  double reads;  ///< share of time
  double writes;
  double load;  ///< of data pins
  double address_load;

  double active() const { return reads + writes; }
};

double lanes_of(MigPowerRecord const& record) {
  return std::max(sane(record.dqsWidth), std::ceil(sane(record.dqWidth) / kPinsPerLane));
}

Interface read_interface(MigPowerRecord const& record, MemoryCommon const& memory) {
  Interface of{};
  of.clock_ghz = sane(record.memoryClock) / kMhzPerGhz;
  of.rate_gbps = 2 * of.clock_ghz;
  of.user_ghz = sane(record.uiClock) / kMhzPerGhz;
  of.ratio = sane(record.nckPerClk);
  of.data_pins = sane(record.dqWidth);
  of.address_pins = sane(record.addrWidth) + sane(record.bankWidth) + sane(record.bankGroupWidth) +
                    sane(record.ckeWidth) + sane(record.odtWidth) + sane(record.lrWidth) +
                    (record.useCsPort ? sane(record.csWidth) : 0);
  of.lanes = lanes_of(record);
  of.reads = std::min(memory.read_share * sane(record.readActivity), 1.0);
  of.writes = std::min(memory.write_share * sane(record.writeActivity), 1 - of.reads);
  const double slots = value_of(memory.slots, "slot", record.slot);
  const Module module = value_of(memory.modules, "memory type", record.memoryType);
  const auto above_one = [&](int count) { return std::max(sane(count) * slots - 1, 0.0); };
  of.load = module.load * (1 + memory.data_load * above_one(record.rankWidth));
  of.address_load = module.address_load * (1 + memory.address_load * above_one(record.numDevices));
  return of;
}

// The number of volts that `text` begins with; `usual` for an empty text and, with a warning, for one without a number.
double volts(std::string const& text, double usual) {
  if (text.empty()) return usual;
  constexpr double kMostVolts = 10;
  std::string_view rest = text;
  const auto value = number::take<double>(rest);
  if (value && *value > 0 && *value <= kMostVolts) return *value;
  warn("unknown I/O voltage \"" + text + "\" counts as the usual one");
  return usual;
}

// Of one data pin, W. NONE is a name too.
double termination_w(std::string const& name, device::MemoryPower const& blocks) {
  if (const auto found = blocks.termination_w.find(name); found != blocks.termination_w.end()) return found->second;
  if (!name.empty() && !text::same_but_case(name, "NONE") && !blocks.termination_w.empty())
    warn("unknown termination \"" + name + "\" counts as NONE");
  return 0;
}

double terminations_w(MigPowerRecord const& record, Family const& family) {
  const bool usual = record.odtWidth > 0 && (record.inputTermination.empty() || record.inputTermination == "NONE");
  return termination_w(usual ? family.around.usual_termination : record.inputTermination, family.blocks) +
         termination_w(record.outputTermination, family.blocks);
}

// The pins of the memory: what drives them depends on voltage, bank and activity.
void add_pins(Terms& terms, MigPowerRecord const& record, Interface const& of, Family const& family,
              MemoryCommon const& memory, double dynamic) {
  device::MemoryPower const& blocks = family.blocks;
  const double voltage = blocks.io_v > 0 ? volts(record.ioVoltage, blocks.io_v) / blocks.io_v : 1;
  const double bank = value_of(memory.bank_kinds, "bank kind", record.bankKind) *
                      value_of(memory.io_performance, "I/O performance", record.ioPerformance);
  const double io = dynamic * voltage * voltage * bank;
  const double masks = record.useDmPort ? sane(record.dmWidth) : 0;
  const double strobes =
      sane(record.dqsWidth) + sane(record.dkWidth) + sane(record.qkWidth) + memory.valid_share * sane(record.qvldWidth);
  const double clocks = sane(record.ckWidth);

  terms.add("write", io * of.writes * of.rate_gbps * blocks.write_w_per_gbps * (of.data_pins + masks) * of.load);
  terms.add("read", io * of.reads * of.rate_gbps * blocks.read_w_per_gbps * of.data_pins);
  terms.add("strobe", io * of.active() * of.rate_gbps * family.around.strobe_w_per_gbps * strobes * of.load);
  terms.add("address", io * of.active() * blocks.address_w_per_gbps * of.clock_ghz * of.address_pins * of.address_load);
  terms.add("clock_pins", io * family.around.clock_w_per_gbps * of.rate_gbps * clocks * of.address_load);
  terms.add("termination", io * terminations_w(record, family) * of.data_pins * (1 - of.active() / 2));
}

void add_logic(Terms& terms, device::Part const& part, MigPowerRecord const& record, Interface const& of,
               Family const& family, MemoryCommon const& memory, double core) {
  const double share = value_of(memory.controller_share, "kind of controller", record.phyOnly);
  const double controller =
      core * share *
      (family.blocks.controller_w + family.blocks.controller_w_per_gbps * of.rate_gbps * of.active() * of.data_pins);
  terms.add("controller", controller);
  terms.add("ecc", record.mcsEcc ? family.blocks.ecc_ratio * controller : 0);
  const double datapath_bits = 2 * of.ratio * of.data_pins;
  terms.add("fabric", core * share * of.user_ghz *
                          (part.device->power.fabric_w_per_ghz + memory.datapath_w_per_ghz_bit * datapath_bits));
  terms.add("debug", record.debugSignal ? core * (memory.debug_w + memory.debug_w_per_ghz * of.user_ghz) : 0);
  terms.add("axi", record.axiSelection ? core * memory.axi_w_per_ghz_bit * of.user_ghz * sane(record.axiDataWidth) : 0);
  const double serialiser_ratio = record.phyClockRatio > 0 ? sane(record.phyClockRatio) : of.ratio;
  const double pins = of.data_pins + of.address_pins;
  terms.add("phy", of.clock_ghz > 0 ? core * (family.blocks.lane_w * of.lanes +
                                              memory.serialiser_w_per_ghz * serialiser_ratio * of.clock_ghz * pins)
                                    : 0);
}

double outputs_ghz(MigPowerRecord const& record, double vco_ghz, double usual_ghz) {
  double sum = 0;
  for (const float divide : record.clkoutDivide)
    if (divide > 0) sum += std::min(vco_ghz / static_cast<double>(divide), vco_ghz);
  return sum > 0 ? sum : usual_ghz;
}

double clock_w(device::ClockPower const& power, double vco_ghz, double out_ghz) {
  return power.base_w + power.w_per_vco_ghz * vco_ghz + power.w_per_output_ghz * out_ghz;
}

void add_clocks(Terms& terms, device::Part const& part, MigPowerRecord const& record, Interface const& of,
                MemoryCommon const& memory, Factors const& at) {
  const double input_ghz = sane(record.mmcmFrequency) / kMhzPerGhz;
  double mmcm_w = 0;
  if (device::ClockPrimitive const* const mmcm = part.clock_primitive(device::ClockPrimitiveKind::mmcm))
    if (device::ClockPower const* const power = part.device->power.clock(mmcm->name);
        power != nullptr && (input_ghz > 0 || of.user_ghz > 0)) {
      const double given_ghz = input_ghz * sane(record.clkfboutMult);
      const double vco_ghz = given_ghz > 0 ? given_ghz : mmcm->vco_mhz.min / kMhzPerGhz;
      mmcm_w = clock_w(*power, vco_ghz, outputs_ghz(record, vco_ghz, of.user_ghz));
    }
  terms.add("mmcm", at.dynamic * mmcm_w);

  device::ClockPrimitive const* pll = part.clock_primitive(device::ClockPrimitiveKind::phy_pll);
  if (pll == nullptr) pll = part.clock_primitive(device::ClockPrimitiveKind::pll);
  double plls_w = 0;
  if (pll != nullptr && of.user_ghz > 0)
    if (device::ClockPower const* const power = part.device->power.clock(pll->name)) {
      const double vco_ghz = of.user_ghz * sane(record.phyClockMultiplier);
      const double divider = sane(record.phyClockDivider);
      plls_w = std::ceil(of.lanes / memory.lanes_per_phy_pll) *
               clock_w(*power, vco_ghz, divider > 1 ? vco_ghz / divider : vco_ghz);
    }
  terms.add("phy_pll", at.dynamic * plls_w);
  terms.add("clock_tree",
            at.core * memory.clock_tree_w_per_ghz * (of.user_ghz + sane(record.fabricClock) / kMhzPerGhz));
}

}  // namespace

float memory_power(device::Part const& part, Model const& model, MigPowerRecord const& record,
                   std::map<std::string, float>& breakdown) {
  Terms terms(breakdown);
  const Family family = find_family(part, model, record.controllerFamily);
  const Interface of = read_interface(record, model.memory);
  tell_uncovered(part, record, family.around.type);
  const Factors at = factors_of(part, model.conditions);

  terms.add("static", at.leakage * (model.memory.static_w + model.memory.static_w_per_lane * of.lanes));
  add_logic(terms, part, record, of, family, model.memory, at.core);
  add_pins(terms, record, of, family, model.memory, at.dynamic);
  add_clocks(terms, part, record, of, model.memory, at);
  return terms.total();
}

}  // namespace kdi::power
