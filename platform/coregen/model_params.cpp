// What is known of memories, by the words that the estimation of power reads where it has some.
#include <algorithm>
#include <cmath>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/coregen/Mig.h"
#include "kdi/coregen/memory_v1.h"
#include "kdi/ddr/SpeedBins.h"
#include "kdi/planning/Standards.h"
#include "platform/coregen/periods.h"
#include "platform/coregen/state.h"

namespace kdi::coregen {
namespace {

// Widths of ports, by the endings of their names and the words that tell them.
struct WidthOf {
  char const* port;
  char const* word;
};
constexpr WidthOf kWidths[] = {
    {"dq", "_DQ_WIDTH"},      {"d", "_DQ_WIDTH"},          {"dqa", "_DQ_WIDTH"},  {"dqs_t", "_DQS_WIDTH"},
    {"dqs_p", "_DQS_WIDTH"},  {"dm", "_DM_WIDTH"},         {"dm_n", "_DM_WIDTH"}, {"dm_dbi_n", "_DM_WIDTH"},
    {"bw_n", "_DM_WIDTH"},    {"ck_t", "_CK_WIDTH"},       {"ck_p", "_CK_WIDTH"}, {"k_p", "_CK_WIDTH"},
    {"dk_p", "_DK_WIDTH"},    {"qk_p", "_QK_WIDTH"},       {"cq_p", "_QK_WIDTH"}, {"qvld", "_QVLD_WIDTH"},
    {"cke", "_CKE_WIDTH"},    {"ba", "_BANK_WIDTH"},       {"cs_n", "_CS_WIDTH"}, {"odt", "_ODT_WIDTH"},
    {"c", "_LR_WIDTH"},       {"bg", "_BANK_GROUP_WIDTH"}, {"cs", "_CS_WIDTH"},   {"dmi", "_DM_WIDTH"},
    {"rdqs_t", "_DQS_WIDTH"}, {"wck_t", "_WCK_WIDTH"}};

std::string truth(bool is) { return is ? "true" : "false"; }

std::string memory_of(Setup const& setup) {
  return setup.memory.module.empty() ? "Components" : text::uppered(setup.memory.module) + "s";
}

// In ps, where the standard has it in ns or in clocks.
void add_timings(Setup const& setup, std::string const& prefix, OptionMap& told) {
  if (setup.kind->timing.empty()) return;
  constexpr char const* kTimings[] = {"tRCD", "tRP", "tRAS", "tRC", "tWR", "tWTR", "tRTP", "tREFI"};
  ddr::MemoryType const& type = *ddr::find_type(setup.kind->timing);
  const auto ps = [&](std::string const& name) {
    double longest = 0;
    if (std::string const* const ns = figure_of(setup, name + "_ns")) longest = *number::whole<double>(*ns) * 1000;
    if (std::string const* const clocks = type.figure(setup.memory.bin, name + "_nCK"))
      longest = std::max(longest, *number::whole<double>(*clocks) * setup.period_ps);
    return longest;
  };
  for (char const* name : kTimings)
    if (const double value = ps(name); value > 0) told[prefix + name] = number::plain(value);
  const std::string refresh = "tRFC_" + std::to_string(setup.memory.density_mbit);
  if (const double value = ps(refresh); value > 0) told[prefix + "tRFC"] = number::plain(value);
}

OptionMap params_of(Setup const& setup) {
  const std::string prefix = "C0." + text::uppered(setup.kind->prefix) + "_";
  const planning::Interface interface = planning::interface_of(setup.interface_request());
  OptionMap told{{"Power_ControllerType", setup.kind->type},
                 {prefix + "MEMORY_TYPE", memory_of(setup)},
                 {prefix + "MemoryPart", setup.memory.name},
                 {prefix + "TimePeriod", number::plain(setup.period_ps)},
                 {prefix + "RANK_WIDTH", std::to_string(setup.slots * setup.ranks)},
                 {prefix + "Slot", setup.slots == 2 ? "Dual" : "Single"},
                 {prefix + "NUM_DEVICES", std::to_string(setup.width / setup.memory.width)},
                 {prefix + "DataWidth", std::to_string(setup.width)},
                 {prefix + "DeviceWidth", std::to_string(setup.memory.width)},
                 {prefix + "DataBitsPerStrobe", std::to_string(setup.bits_per_strobe)},
                 {prefix + "MCS_ECC", truth(setup.ecc)},
                 {prefix + "USE_DM_PORT", setup.data_mask ? "1" : "0"},
                 {prefix + "IO_VOLTAGE", setup.voltage},
                 {prefix + "PhyClockRatio", std::to_string(setup.ratio) + ":1"},
                 {prefix + "nCK_PER_CLK", std::to_string(setup.ratio)},
                 {prefix + "BurstLength", std::to_string(setup.kind->burst)}};
  std::map<std::string, int> widths;
  int address = 0;
  const std::string begin = "c0_" + setup.kind->prefix + "_";
  for (planning::Signal const& signal : interface.signals) {
    if (!signal.port.starts_with(begin)) continue;
    const std::string port = signal.port.substr(begin.size());
    if (port == "adr" || port == "addr" || port == "a" || port == "sa" || port == "ca") ++address;
    for (WidthOf const& width : kWidths)
      if (port == width.port) ++widths[width.word];
  }
  for (auto const& [word, width] : widths) told[prefix + (word.c_str() + 1)] = std::to_string(width);
  told["Power_ADDR_WIDTH"] = std::to_string(address);
  told[prefix + "USE_CS_PORT"] = widths.contains("_CS_WIDTH") ? "1" : "0";
  if (setup.read_latency != 0) told[prefix + "CasLatency"] = std::to_string(setup.read_latency);
  if (setup.write_latency != 0) told[prefix + "CasWriteLatency"] = std::to_string(setup.write_latency);
  add_timings(setup, prefix, told);
  return told;
}

std::string const& value_of(OptionMap const& options, char const* key) {
  static const std::string none;
  const auto option = options.find(key);
  return option == options.end() ? none : option->second;
}

planning::MemoryPart part_of(Controller::State const& state, std::string const& type, std::string const& part) {
  return find_memory_part(find_kind(type), state.custom_parts, part);
}

// Whether pins of the kind carry the slowest rate that the memory has.
bool is_fast_enough(planning::MemoryKind const& kind, planning::StandardSet const& set, std::string const& bank_kind,
                    std::string const& grade) {
  const auto rate = planning::find_standard(set.of(planning::SignalClass::data))->rate(bank_kind, grade);
  return rate && *rate >= 2'000'000 / kind.period_max_ps;
}

std::vector<std::string> voltages_of(planning::MemoryKind const& kind, std::string const& bank_kind,
                                     std::string const& grade) {
  std::vector<std::string> voltages;
  for (planning::StandardSet const& set : kind.standards) {
    const bool has_kind = bank_kind.empty() ||
                          (std::find(set.bank_kinds.begin(), set.bank_kinds.end(), bank_kind) != set.bank_kinds.end() &&
                           is_fast_enough(kind, set, bank_kind, grade));
    const std::string voltage = set.voltage_v + "V";
    if (has_kind && std::find(voltages.begin(), voltages.end(), voltage) == voltages.end()) voltages.push_back(voltage);
  }
  return voltages;
}

}  // namespace

OptionMap Controller::getmodelParams(std::string const& type, OptionMap const& options) {
  return state().ask([&](State const& self) { return params_of(self.asked_setup(kType, type, options)); });
}

OptionMap Controller::getMinMaxPeriodOfMemoryType(std::string const& type, OptionMap const& options) {
  return state().ask(
      [&](State const& self) { return periods_of(self.asked_setup(kType, type, options), {.part = false}).told(); });
}

OptionMap Controller::getMinMaxPeriodOfMemoryPart(std::string const& part, OptionMap const& options) {
  return state().ask(
      [&](State const& self) { return periods_of(self.asked_setup(kMemoryPart, part, options)).told(); });
}

std::string Controller::getDataBitsPerStrobe(std::string const& type, std::string const& part) {
  return state().ask([&](State const& self) {
    planning::MemoryKind const& kind = find_kind(type);
    const int width = part_of(self, type, part).width;
    for (planning::LaneKind const& lane : kind.lanes)
      if (const auto bits = planning::by_width(lane.strobe_bits, width); bits && !lane.forwarded)
        return std::to_string(*bits);
    return std::string();  // of a memory without strobes
  });
}

std::string Controller::getDeviceWidth(std::string const& type, std::string const& part) {
  return state().ask([&](State const& self) { return std::to_string(part_of(self, type, part).width); });
}

void Controller::setDataBitsPerStrobe(std::string const& bits) {
  state().ask([&](State& self) {
    OptionMap options = self.options;
    options["-databitsperstrobe"] = bits;
    required_setup(self.surroundings(), options, {});
    self.options = std::move(options);
  });
}

StrList MigController::getValidMemoryVoltages(std::string const& type, std::string const& part,
                                              std::string const& bankKind, std::string const& grade) {
  return state().ask([&](State const& self) {
    part_of(self, type, part);
    std::vector<device::IoBank> const& banks = self.part->device->banks;
    if (std::none_of(banks.begin(), banks.end(), [&](device::IoBank const& bank) { return bank.kind == bankKind; }))
      throw "part " + text::shown(self.part->name) + " has no banks of the kind " + text::shown(bankKind);
    std::vector<device::SpeedGrade> const& grades = self.part->device->speed_grades;
    if (std::none_of(grades.begin(), grades.end(), [&](device::SpeedGrade const& one) { return one.name == grade; }))
      throw "part " + text::shown(self.part->name) + " has no speed grade " + text::shown(grade);
    return voltages_of(find_kind(type), bankKind, grade);
  });
}

}  // namespace kdi::coregen

namespace memory::memory_v1 {

using namespace kdi::coregen;

OptionMap HIPMigInstance::getMinMaxPeriodOfSlot(std::string const& slot, OptionMap const& options) {
  return state().ask([&](State const& self) { return periods_of(self.asked_setup("-slot", slot, options)).told(); });
}

OptionMap HIPMigInstance::getMinMaxPeriodOfDataWidth(std::string const& width, OptionMap const& options) {
  return state().ask(
      [&](State const& self) { return periods_of(self.asked_setup("-datawidth", width, options)).told(); });
}

std::string HIPMigInstance::getEnablePP4RMirParameter(std::string const& type, OptionMap const& options) {
  return state().ask([&](State const& self) -> std::string {
    constexpr int kMirroredRanks = 4;
    const Setup setup = self.asked_setup(kType, type, options);
    return setup.kind->type == "DDR4" && !setup.memory.module.empty() && setup.slots * setup.ranks == kMirroredRanks
               ? "true"
               : "false";
  });
}

StrList HIPMigInstance::getIOVoltage(OptionMap const& options) {
  return state().ask([&](State const& self) -> StrList {
    const Setup setup = self.asked_setup(kType, value_of(options, kType), options);
    return voltages_of(*setup.kind, setup.interface->bank_kinds.empty() ? "" : setup.interface->bank_kinds[0],
                       self.part->speed->name);
  });
}

}  // namespace memory::memory_v1
