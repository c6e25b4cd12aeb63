#include "gt_power.h"

#include <cmath>

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
  return same_word(transceiver.type, name) ||
         std::any_of(transceiver.names.begin(), transceiver.names.end(),
                     [&](std::string const& each) { return same_word(each, name); });
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

// One direction of the core's channels.
struct Direction {
  double rate_gbps = 0;  ///< 0: not in use
  double reference_mhz = 0;
  Encoding encoding;
  device::TransceiverPll const* pll = nullptr;  ///< null only where the type has none
  double internal_bits = 0;
  double user_bits = 0;
};

bool makes_rate(device::TransceiverPll const& pll, double symbols_gbps) {
  return std::any_of(pll.output_divides.begin(), pll.output_divides.end(), [&](int divide) {
    const double vco_ghz = symbols_gbps * divide / 2;
    return vco_ghz >= pll.vco_ghz.min && vco_ghz <= pll.vco_ghz.max;
  });
}

device::TransceiverPll const* usual_pll(device::Transceiver const& limits, double rate_gbps) {
  if (limits.plls.empty()) return nullptr;
  const bool pam4 = std::count(limits.modulations.begin(), limits.modulations.end(), "PAM4") != 0;
  for (device::TransceiverPll const& pll : limits.plls)
    if (makes_rate(pll, rate_gbps) || (pam4 && makes_rate(pll, rate_gbps / 2))) return &pll;
  return &limits.plls.front();
}

// QPLL names the first of QPLL0 and QPLL1, and QPLL0 a QPLL of which there is but one.
device::TransceiverPll const* find_pll(device::Transceiver const& limits, std::string const& name, double rate_gbps) {
  if (!name.empty()) {
    for (device::TransceiverPll const& pll : limits.plls)
      if (same_word(pll.name, name)) return &pll;
    for (device::TransceiverPll const& pll : limits.plls)
      if (begins_with(pll.name, name) || begins_with(name, pll.name)) return &pll;
  }
  device::TransceiverPll const* const usual = usual_pll(limits, rate_gbps);
  if (!name.empty() && usual != nullptr) warn("unknown PLL \"" + name + "\" counts as " + usual->name);
  return usual;
}

struct Directions {
  Direction transmit;
  Direction receive;
};

Directions read_directions(GtPowerRecord const& record, Type const& type) {
  const bool transmits_only = same_word(record.gtDirection, "TX");
  const bool receives_only = same_word(record.gtDirection, "RX");
  if (!transmits_only && !receives_only && !record.gtDirection.empty() && !same_word(record.gtDirection, "BOTH"))
    warn("unknown direction \"" + record.gtDirection + "\" counts as BOTH");

  Directions directions;
  Direction& transmit = directions.transmit;
  if (!receives_only) transmit.rate_gbps = sane(record.txLineRate);
  if (transmit.rate_gbps > 0) {
    transmit.reference_mhz = sane(record.txRefclkFrequency);
    transmit.encoding = value_of(type.around->encodings, "encoding", record.txDataEncoding);
    transmit.pll = find_pll(*type.limits, record.txPllType, transmit.rate_gbps);
    transmit.internal_bits = sane(record.txIntDataWidth);
    transmit.user_bits = sane(record.txUserDataWidth);
  }
  Direction& receive = directions.receive;
  if (!transmits_only) receive.rate_gbps = sane(record.rxLineRate);
  if (receive.rate_gbps > 0) {
    receive.reference_mhz = sane(record.rxRefclkFrequency);
    receive.encoding = value_of(type.around->encodings, "encoding", record.rxDataDecoding);
    receive.pll = find_pll(*type.limits, record.rxPllType, receive.rate_gbps);
    receive.internal_bits = sane(record.rxIntDataWidth);
    receive.user_bits = sane(record.rxUserDataWidth);
  }
  return directions;
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
    if (same_word(mode, record.rxEqMode)) return watts;
  if (!record.rxEqMode.empty() && !same_word(record.rxEqMode, "AUTO"))
    warn("unknown equaliser mode \"" + record.rxEqMode + "\" counts as AUTO");
  const auto chosen =
      modes.find(loss_db <= type.around->auto_loss_db ? type.around->auto_short : type.around->auto_long);
  return chosen == modes.end() ? 0 : chosen->second;
}

// Watts of the PLLs of one kind: each counts once, however many channels it serves.
double plls_w(device::TransceiverPll const& pll, GtPowerRecord const& record, double channels, double quads,
              Type const& type) {
  const double most_ghz = pll.vco_ghz.max;
  const double given_ghz = pll.shared ? 0 : sane(record.cpllVcoFrequency) / kMhzPerGhz;
  const double share = given_ghz > 0 && most_ghz > 0 ? std::min(given_ghz / most_ghz, 1.0) : 1;
  const auto watts = type.blocks->pll_w.find(pll.name);
  const double idle = type.around->pll_idle;
  return watts == type.blocks->pll_w.end()
             ? 0
             : (pll.shared ? quads : channels) * watts->second * (idle + (1 - idle) * share);
}

double all_plls_w(Directions const& of, GtPowerRecord const& record, double channels, double quads, Type const& type) {
  double watts = 0;
  if (of.transmit.pll != nullptr) watts += plls_w(*of.transmit.pll, record, channels, quads, type);
  const bool same = of.transmit.pll == of.receive.pll && of.transmit.rate_gbps == of.receive.rate_gbps;
  if (of.receive.pll != nullptr && !same) watts += plls_w(*of.receive.pll, record, channels, quads, type);
  return watts;
}

double reference_mhz(Directions const& of) {
  const double transmit = of.transmit.reference_mhz;
  const double receive = of.receive.reference_mhz;
  return transmit == receive ? transmit : transmit + receive;
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
  const double loss_db = sane(record.insLossNyq);
  const Directions of = read_directions(record, type);
  const bool receives = of.receive.rate_gbps > 0;
  const Factors at = factors_of(part, model.conditions);

  terms.add("static", at.leakage * type.around->static_w_per_quad * std::max(quads, 1.0));
  terms.add("transmit", at.dynamic * channels * type.blocks->transmit_w(of.transmit.rate_gbps));
  terms.add("launch", of.transmit.rate_gbps > 0 ? at.dynamic * channels * type.blocks->loss_w_per_db * loss_db : 0);
  terms.add("receive", at.dynamic * channels * type.blocks->receive_w(of.receive.rate_gbps));
  terms.add("equaliser", receives ? at.dynamic * channels * equaliser_w(record, loss_db, type) : 0);
  const double termination_v = sane(record.rxTerminationProgValue) / kMvPerV;
  terms.add("termination", receives ? channels * termination_v * termination_v / type.around->termination_ohm : 0);
  terms.add("pll", at.dynamic * all_plls_w(of, record, channels, quads, type));
  terms.add("reference", at.dynamic * quads * type.around->reference_w_per_ghz * reference_mhz(of) / kMhzPerGhz);
  terms.add("pcs_transmit", at.core * channels * pcs_w(of.transmit, *type.around));
  terms.add("pcs_receive", at.core * channels * pcs_w(of.receive, *type.around));
  return terms.total();
}

}  // namespace kdi::power
