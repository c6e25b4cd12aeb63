#include "platform/ip/power/gt_power.h"

#include <cmath>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"

namespace kdi::power {
namespace {

constexpr double kMhzPerGhz = 1000;
constexpr double kMvPerV = 1000;

// The three descriptions of one type of transceiver: what the device can do, what its blocks cost, what lies around.
struct Type {
  device::Transceiver const* limits = nullptr;
  device::TransceiverPower const* blocks = nullptr;
  Transceiver const* around = nullptr;
};

bool is_named(Transceiver const& transceiver, std::string const& name) {
  return text::same_but_case(transceiver.type, name) ||
         std::any_of(transceiver.names.begin(), transceiver.names.end(),
                     [&](std::string const& each) { return text::same_but_case(each, name); });
}

// The part's transceivers of that name; of an empty name, the first that it has. Null pointers if there are none.
Type find_type(device::Part const& part, Model const& model, std::string const& name) {
  for (device::Transceiver const& limits : part.speed->transceivers)
    for (Transceiver const& around : model.transceivers)
      if (around.type == limits.type && (name.empty() || is_named(around, name)))
        if (device::TransceiverPower const* const blocks = part.device->power.transceiver(limits.type))
          return {&limits, blocks, &around};
  return {};
}

struct Core {
  Type type;
  double channels;
  double quads;
  double own_vco_ghz;  ///< of a PLL that serves one channel; 0 where the record does not say
};

// One direction of the core's channels.
struct Direction {
  double rate_gbps = 0;  ///< 0: not in use
  double reference_mhz = 0;
  Encoding encoding;
  device::TransceiverPll const* pll = nullptr;  ///< null only where the type has none
  double internal_bits = 0;
  double user_bits = 0;
};

// QPLL names the first of QPLL0 and QPLL1, and QPLL0 a QPLL of which there is but one. Null for a name that none has.
device::TransceiverPll const* find_pll(device::Transceiver const& limits, std::string const& name) {
  if (name.empty()) return nullptr;
  for (device::TransceiverPll const& pll : limits.plls)
    if (text::same_but_case(pll.name, name)) return &pll;
  for (device::TransceiverPll const& pll : limits.plls)
    if (text::starts_with_but_case(pll.name, name) || text::starts_with_but_case(name, pll.name)) return &pll;
  return nullptr;
}

// Watts of the PLLs of one kind: each counts once, however many channels it serves.
double plls_w(device::TransceiverPll const& pll, Core const& core) {
  const auto watts = core.type.blocks->pll_w.find(pll.name);
  if (watts == core.type.blocks->pll_w.end()) return 0;
  const double most_ghz = pll.vco_ghz.max;
  const double given_ghz = pll.shared ? 0 : core.own_vco_ghz;
  const double share = given_ghz > 0 && most_ghz > 0 ? std::min(given_ghz / most_ghz, 1.0) : 1;
  const double idle = core.type.around->pll_idle;
  return (pll.shared ? core.quads : core.channels) * watts->second * (idle + (1 - idle) * share);
}

device::TransceiverPll const* dearest_pll(Core const& core) {
  device::TransceiverPll const* dearest = nullptr;
  for (device::TransceiverPll const& pll : core.type.limits->plls)
    if (dearest == nullptr || plls_w(pll, core) > plls_w(*dearest, core)) dearest = &pll;
  return dearest;
}

struct Directions {
  Direction transmit;
  Direction receive;
};

// Gives both directions their PLLs. Which PLL it is never hangs on a line rate: the core's power would fall where a
// rate rises into the reach of a PLL that takes less.
void choose_plls(GtPowerRecord const& record, Core const& core, Directions& of) {
  of.transmit.pll = find_pll(*core.type.limits, record.txPllType);
  of.receive.pll = find_pll(*core.type.limits, record.rxPllType);
  const auto take_other = [&](Direction& one, Direction const& other, std::string const& name) {
    if (one.pll != nullptr) return;
    one.pll = other.pll != nullptr ? other.pll : dearest_pll(core);
    if (!name.empty() && one.rate_gbps > 0 && one.pll != nullptr)
      warn("unknown PLL \"" + name + "\" counts as " + one.pll->name);
  };
  take_other(of.transmit, of.receive, record.txPllType);
  take_other(of.receive, of.transmit, record.rxPllType);
}

// What the record says of one direction under the names `tx...` and `rx...`.
struct DirectionFields {
  float GtPowerRecord::*rate;
  float GtPowerRecord::*reference;
  std::string GtPowerRecord::*encoding;
  int GtPowerRecord::*internal_width;
  int GtPowerRecord::*user_width;
};
constexpr DirectionFields kTransmit = {&GtPowerRecord::txLineRate, &GtPowerRecord::txRefclkFrequency,
                                       &GtPowerRecord::txDataEncoding, &GtPowerRecord::txIntDataWidth,
                                       &GtPowerRecord::txUserDataWidth};
constexpr DirectionFields kReceive = {&GtPowerRecord::rxLineRate, &GtPowerRecord::rxRefclkFrequency,
                                      &GtPowerRecord::rxDataDecoding, &GtPowerRecord::rxIntDataWidth,
                                      &GtPowerRecord::rxUserDataWidth};

Direction read_direction(GtPowerRecord const& record, DirectionFields const& fields, Transceiver const& around) {
  Direction direction;
  direction.rate_gbps = sane(record.*fields.rate);
  if (direction.rate_gbps <= 0) return direction;
  direction.reference_mhz = sane(record.*fields.reference);
  direction.encoding = value_of(around.encodings, "encoding", record.*fields.encoding);
  direction.internal_bits = sane(record.*fields.internal_width);
  direction.user_bits = sane(record.*fields.user_width);
  return direction;
}

Directions read_directions(GtPowerRecord const& record, Core const& core) {
  const bool transmits_only = text::same_but_case(record.gtDirection, "TX");
  const bool receives_only = text::same_but_case(record.gtDirection, "RX");
  if (!transmits_only && !receives_only && !record.gtDirection.empty() &&
      !text::same_but_case(record.gtDirection, "BOTH"))
    warn("unknown direction \"" + record.gtDirection + "\" counts as BOTH");

  Directions of;
  if (!receives_only) of.transmit = read_direction(record, kTransmit, *core.type.around);
  if (!transmits_only) of.receive = read_direction(record, kReceive, *core.type.around);
  choose_plls(record, core, of);
  return of;
}

double pcs_w(Direction const& direction, Transceiver const& around) {
  if (direction.rate_gbps <= 0) return 0;
  return direction.rate_gbps * (around.pcs_w_per_gbps + direction.encoding.w_per_gbps +
                                direction.encoding.efficiency * around.user_w_per_gbps) +
         around.internal_w_per_bit * direction.internal_bits + around.user_w_per_bit * direction.user_bits;
}

double equaliser_w(GtPowerRecord const& record, double loss_db, Type const& type) {
  std::map<std::string, double> const& modes = type.blocks->equaliser_w;
  for (auto const& [mode, watts] : modes)
    if (text::same_but_case(mode, record.rxEqMode)) return watts;
  if (!record.rxEqMode.empty() && !text::same_but_case(record.rxEqMode, "AUTO"))
    warn("unknown equaliser mode \"" + record.rxEqMode + "\" counts as AUTO");
  const auto chosen =
      modes.find(loss_db <= type.around->auto_loss_db ? type.around->auto_short : type.around->auto_long);
  return chosen == modes.end() ? 0 : chosen->second;
}

double all_plls_w(Directions const& of, Core const& core) {
  const bool transmits = of.transmit.rate_gbps > 0 && of.transmit.pll != nullptr;
  const bool receives = of.receive.rate_gbps > 0 && of.receive.pll != nullptr;
  double watts = transmits ? plls_w(*of.transmit.pll, core) : 0;
  if (receives && !(transmits && of.receive.pll == of.transmit.pll)) watts += plls_w(*of.receive.pll, core);
  return watts;
}

void tell_uncovered(Directions const& of, device::Transceiver const& limits) {
  const auto look = [&limits](char const* what, double rate_gbps) {
    if (rate_gbps <= 0 || limits.reaches(rate_gbps) || limits.line_rate_gbps.empty()) return;
    warn(std::string(what) + " line rate of " + number::plain(rate_gbps) + " Gb/s is none that " + limits.type +
         " runs at, from " + number::plain(limits.line_rate_gbps.front().min) + " to " +
         number::plain(limits.line_rate_gbps.back().max) + " Gb/s: the model does not cover it");
  };
  look("a transmitter's", of.transmit.rate_gbps);
  look("a receiver's", of.receive.rate_gbps);
}

}  // namespace

float gt_power(device::Part const& part, Model const& model, GtPowerRecord const& record,
               std::map<std::string, float>& breakdown) {
  Terms terms(breakdown);
  const Type type = find_type(part, model, record.gtType);
  if (type.limits == nullptr) {
    warn("the part " + part.name + " has no transceivers" + (record.gtType.empty() ? "" : " " + record.gtType) +
         ": their power counts as 0");
    return 0;
  }
  const double channels = sane(record.numChannels);
  const double quads = std::ceil(channels / std::max(type.limits->channels_per_quad, 1));
  const Core core = {type, channels, quads, sane(record.cpllVcoFrequency) / kMhzPerGhz};
  const double loss_db = sane(record.insLossNyq);
  const Directions of = read_directions(record, core);
  tell_uncovered(of, *type.limits);
  const bool receives = of.receive.rate_gbps > 0;
  const Factors at = factors_of(part, model.conditions);

  terms.add("static", at.leakage * type.around->static_w_per_quad * std::max(quads, 1.0));
  terms.add("transmit", at.dynamic * channels * type.blocks->transmit_w(of.transmit.rate_gbps));
  terms.add("launch", of.transmit.rate_gbps > 0 ? at.dynamic * channels * type.blocks->loss_w_per_db * loss_db : 0);
  terms.add("receive", at.dynamic * channels * type.blocks->receive_w(of.receive.rate_gbps));
  terms.add("equaliser", receives ? at.dynamic * channels * equaliser_w(record, loss_db, type) : 0);
  const double termination_v = sane(record.rxTerminationProgValue) / kMvPerV;
  terms.add("termination", receives ? channels * termination_v * termination_v / type.around->termination_ohm : 0);
  terms.add("pll", at.dynamic * all_plls_w(of, core));
  const double reference_ghz = (of.transmit.reference_mhz + of.receive.reference_mhz) / kMhzPerGhz;
  terms.add("reference", at.dynamic * quads * type.around->reference_w_per_ghz * reference_ghz);
  terms.add("pcs_transmit", at.core * channels * pcs_w(of.transmit, *type.around));
  terms.add("pcs_receive", at.core * channels * pcs_w(of.receive, *type.around));
  return terms.total();
}

}  // namespace kdi::power
