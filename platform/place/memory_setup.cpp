#include "platform/place/memory_setup.h"

#include <algorithm>
#include <cmath>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "platform/place/words.h"

namespace kdi::place {
namespace {

constexpr int kUsualWidth = 64;

// Periods of data sheets are whole ps, rounded down.
double period_of(double rate_mbps) { return std::floor(2e6 / rate_mbps); }

template <class Items, class Item>
bool has(Items const& items, Item const& item) {
  return std::find(items.begin(), items.end(), item) != items.end();
}

// Takes the settings one by one; each depends on those before it.
class Reader {
 public:
  Reader(device::Part const& part, MemoryUse use, Settings const& settings)
      : part_(part), use_(use), settings_(settings) {}

  MemorySetup read() {
    find_type();
    if (use_ != MemoryUse::phy) find_controller();
    read_plain();
    find_memory();
    find_period();
    find_width();
    check_ranks();
    return std::move(made_);
  }

 private:
  [[noreturn]] static void refuse(char const* setting, std::string const& fault) { throw setting + (": " + fault); }

  bool is_hard() const { return use_ == MemoryUse::hard_ddr4 || use_ == MemoryUse::hard_ddr5; }

  void find_type() {
    const std::vector<std::string> types = types_of(use_);
    std::string type = settings_.text("MEMORY_TYPE");
    if (type.empty()) type = use_ == MemoryUse::phy ? "DDR4" : first_on_part(types);
    if (!has(types, type)) refuse("MEMORY_TYPE", text::shown(type) + " is none of " + text::joined(types, ", "));
    made_.kind = planning::find_memory(type);
  }

  std::string first_on_part(std::vector<std::string> const& types) const {
    for (std::string const& type : types)
      if (!candidates(type).empty()) return type;
    return types[0];
  }

  struct Candidate {
    device::MemoryController const* controller;
    device::MemoryInterface const* limits;
  };

  std::vector<Candidate> candidates(std::string const& type) const {
    std::vector<Candidate> all;
    for (device::MemoryController const& one : part_.speed->memory_controllers)
      for (device::MemoryInterface const& limits : one.interfaces)
        if (one.hard == is_hard() && limits.type == type) all.push_back({&one, &limits});
    return all;
  }

  void find_controller() {
    const std::vector<Candidate> all = candidates(made_.kind->type);
    const std::string what = (is_hard() ? "controller in silicon for " : "controller for ") + made_.kind->type;
    if (all.empty()) refuse("MEMORY_TYPE", part_.name + " has no " + what);
    if (!is_hard()) return take(all[0]);
    const std::string wanted = settings_.text("CONTROLLER");
    std::vector<std::string> sites;
    for (Candidate const& one : all)
      for (device::ControllerSite const* const site : sites_in_package(part_, *one.controller)) {
        sites.push_back(site->name);
        if (!wanted.empty() && site->name != wanted) continue;
        made_.site = site;
        made_.hard = planning::find_hard_controller(one.controller->name);
        if (made_.hard == nullptr) refuse("CONTROLLER", "the pads of a " + one.controller->name + " are not known");
        return take(one);
      }
    if (sites.empty()) refuse("CONTROLLER", "the package has no site of a " + what);
    refuse("CONTROLLER", text::shown(wanted) + " is none of " + text::joined(sites, ", "));
  }

  void take(Candidate const& one) {
    made_.controller = one.controller;
    limits_ = one.limits;
    made_.clock_ratio = one.limits->clock_ratios[0];
  }

  void read_plain() {
    if (limits_ != nullptr) {
      made_.bank_kinds = limits_->bank_kinds;
    } else {
      for (planning::StandardSet const& set : made_.kind->standards)
        made_.bank_kinds.insert(made_.bank_kinds.end(), set.bank_kinds.begin(), set.bank_kinds.end());
    }
    if (const int ratio = settings_.ratio("RATIO"); ratio != 0) {
      if (limits_ != nullptr && !has(limits_->clock_ratios, ratio))
        refuse("RATIO", std::to_string(ratio) + ":1 is no ratio of a " + made_.controller->name);
      made_.clock_ratio = ratio;
    }
    made_.ecc = settings_.truth("ECC");
    if (made_.ecc && limits_ != nullptr && !limits_->ecc)
      refuse("ECC", made_.controller->name + " has none for " + made_.kind->type);
    made_.data_mask = settings_.truth("DATA_MASK");
    made_.internal_reference = settings_.truth("INTERNAL_VREF");
    made_.input_period_ps = settings_.decimal("INPUT_CLOCK_PERIOD");
    made_.banks = settings_.numbers("BANKS");
    const std::string clock = settings_.text("SYSTEM_CLOCK");
    made_.system_clock = clock == "Differential"   ? planning::SystemClock::differential
                         : clock == "Single-Ended" ? planning::SystemClock::single_ended
                                                   : planning::SystemClock::none;
  }

  double most_rate() const { return limits_ == nullptr ? 1e9 : limits_->rate_mbps.max; }

  // The first with the highest rate of those that the controller can use whole, or with a period the first that is
  // fast enough.
  void find_memory() {
    const std::string name = settings_.text("MEMORY_PART");
    if (!name.empty()) {
      const auto part = made_.kind->part(name);
      if (!part) refuse("MEMORY_PART", text::shown(name) + " is no part of " + made_.kind->type);
      if (!part->module.empty() && limits_ != nullptr && !limits_->modules)
        refuse("MEMORY_PART", made_.controller->name + " drives no modules");
      made_.memory = *part;
      return;
    }
    const double period = settings_.decimal("TIME_PERIOD");
    for (std::string const& one : made_.kind->part_names()) {
      if (one.ends_with("h") || one.ends_with("r")) continue;  // stacks and modules are for those who name them
      const auto part = made_.kind->part(one);
      if (!part || !fits(*part)) continue;
      if (period > 0) {
        if (period_of(part->rate_mbps) > period ||
            (made_.memory.rate_mbps != 0 && made_.memory.rate_mbps <= part->rate_mbps))
          continue;
      } else if (part->rate_mbps > most_rate() || part->rate_mbps <= made_.memory.rate_mbps) {
        continue;
      }
      made_.memory = *part;
    }
    if (made_.memory.name.empty())
      refuse("TIME_PERIOD", "no part of " + made_.kind->type + " has " + number::plain(period) + " ps");
  }

  // Devices of eight or more bits need no strobe for a half of a byte.
  bool fits(planning::MemoryPart const& part) const { return part.width >= 8; }

  void find_period() {
    const double fastest = std::min<double>(most_rate(), made_.memory.rate_mbps);
    made_.period_ps = settings_.decimal("TIME_PERIOD");
    if (made_.period_ps == 0) made_.period_ps = period_of(fastest);
    if (made_.period_ps < period_of(fastest))
      refuse("TIME_PERIOD", number::plain(made_.period_ps) + " ps are " + std::to_string(made_.rate_mbps()) +
                                " Mb/s, and " +
                                (fastest == made_.memory.rate_mbps ? made_.memory.name : made_.controller->name) +
                                " has " + number::plain(fastest));
    if (made_.period_ps > made_.kind->period_max_ps ||
        (limits_ != nullptr && made_.rate_mbps() < limits_->rate_mbps.min))
      refuse("TIME_PERIOD", number::plain(made_.period_ps) + " ps are too long for " + made_.kind->type);
  }

  void find_width() {
    made_.data_width = settings_.whole("DATA_WIDTH");
    if (limits_ == nullptr) {
      if (made_.data_width == 0) made_.data_width = 2 * made_.memory.width;
      return;  // the interface says what there is
    }
    std::vector<int> const& widths = limits_->data_widths;
    if (made_.data_width == 0)
      made_.data_width = *std::max_element(widths.begin(), widths.end(), [](int a, int b) {
        return (a > kUsualWidth ? 0 : a) < (b > kUsualWidth ? 0 : b);
      });
    if (has(widths, made_.data_width)) return;
    std::vector<std::string> words;
    words.reserve(widths.size());
    for (const int one : widths) words.push_back(std::to_string(one));
    refuse("DATA_WIDTH", std::to_string(made_.data_width) + " is none of " + text::joined(words, ", "));
  }

  void check_ranks() {
    made_.ranks = settings_.has("RANKS") ? settings_.whole("RANKS") : made_.memory.ranks;
    made_.slots = settings_.whole("SLOTS");
    if (limits_ != nullptr && made_.ranks * made_.slots > limits_->ranks_max)
      refuse("RANKS", std::to_string(made_.ranks * made_.slots) + " in all slots, and " + made_.controller->name +
                          " has up to " + std::to_string(limits_->ranks_max));
  }

  device::Part const& part_;
  MemoryUse use_;
  Settings const& settings_;
  device::MemoryInterface const* limits_ = nullptr;
  MemorySetup made_;
};

}  // namespace

int MemorySetup::rate_mbps() const { return static_cast<int>(std::lround(2e6 / period_ps)); }

planning::InterfaceRequest MemorySetup::interface_request() const {
  return {kind, memory, width(), ranks, slots, data_mask, system_clock};
}

std::vector<planning::StandardSet> MemorySetup::standards() const {
  std::vector<planning::StandardSet> sets;
  for (planning::StandardSet set : kind->standards) {
    std::erase_if(set.bank_kinds, [&](std::string const& one) { return !has(bank_kinds, one); });
    if (!set.bank_kinds.empty()) sets.push_back(std::move(set));
  }
  return sets;
}

std::vector<std::string> types_of(MemoryUse use) {
  std::vector<std::string> types = planning::memory_types();
  if (use == MemoryUse::phy) return types;
  std::erase_if(types, [&](std::string const& type) {
    if (use == MemoryUse::hard_ddr5) return type != "DDR5" && type != "LPDDR5";
    return type != "DDR4" && (type != "LPDDR4" || use == MemoryUse::soft_ddr4);
  });
  return types;
}

MemorySetup memory_setup(device::Part const& part, MemoryUse use, Settings const& settings) {
  return Reader(part, use, settings).read();
}

std::vector<device::ControllerSite const*> sites_in_package(device::Part const& part,
                                                            device::MemoryController const& controller) {
  std::vector<device::ControllerSite const*> sites;
  for (device::ControllerSite const& site : controller.sites)
    if (!site.banks.empty() && std::all_of(site.banks.begin(), site.banks.end(),
                                           [&](int bank) { return part.package->bank(bank) != nullptr; }))
      sites.push_back(&site);
  return sites;
}

}  // namespace kdi::place
