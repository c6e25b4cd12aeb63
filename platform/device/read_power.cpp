// Power coefficients of a device file.
#include "platform/device/reading.h"

namespace kdi::device {
namespace {

TransceiverPower read_transceiver(JsonValue value, PowerNames const& known) {
  value.allow_only({"type", "points", "pll_w", "equaliser_w", "loss_w_per_db"});
  TransceiverPower power;
  power.type = word(value.member("type"));
  const auto plls = known.plls.find(power.type);
  if (plls == known.plls.end()) value.member("type").refuse("the type of a transceiver");
  for (const JsonValue point : value.member("points").items()) {
    point.allow_only({"line_rate_gbps", "tx_w", "rx_w"});
    const JsonValue rate = point.member("line_rate_gbps");
    const TransceiverPower::Point before = power.points.empty() ? TransceiverPower::Point{} : power.points.back();
    power.points.push_back({quantity(rate, 1e-6), quantity(point.member("tx_w")), quantity(point.member("rx_w"))});
    if (power.points.back().line_rate_gbps <= before.line_rate_gbps) rate.refuse("a line rate above the one before it");
    if (power.points.back().tx_w < before.tx_w) point.member("tx_w").refuse("no less than at the line rate before it");
    if (power.points.back().rx_w < before.rx_w) point.member("rx_w").refuse("no less than at the line rate before it");
  }
  if (power.points.empty()) value.member("points").refuse("at least one point");
  power.pll_w = quantities(value.member("pll_w"));
  for (JsonValue pll : value.member("pll_w").members())
    if (plls->second.count(std::string(pll.name())) == 0) pll.refuse("the name of one of the transceiver's PLLs");
  for (std::string const& pll : plls->second) value.member("pll_w").member(pll);
  power.equaliser_w = quantities(value.member("equaliser_w"));
  power.loss_w_per_db = quantity(value.member("loss_w_per_db"));
  return power;
}

MemoryPower read_memory(JsonValue value, PowerNames const& known) {
  value.allow_only({"type", "io_v", "controller_w", "controller_w_per_gbps", "lane_w", "write_w_per_gbps",
                    "read_w_per_gbps", "address_w_per_gbps", "ecc_ratio", "termination_w"});
  MemoryPower power;
  power.type = word(value.member("type"));
  if (known.memory_types.count(power.type) == 0) value.member("type").refuse("the type of a controller's memory");
  power.io_v = value.member("io_v").number(0, 10);
  power.controller_w = quantity(value.member("controller_w"));
  power.controller_w_per_gbps = quantity(value.member("controller_w_per_gbps"));
  power.lane_w = quantity(value.member("lane_w"));
  power.write_w_per_gbps = quantity(value.member("write_w_per_gbps"));
  power.read_w_per_gbps = quantity(value.member("read_w_per_gbps"));
  power.address_w_per_gbps = quantity(value.member("address_w_per_gbps"));
  power.ecc_ratio = value.member("ecc_ratio").number(0, 1);
  power.termination_w = quantities(value.member("termination_w"));
  return power;
}

ClockPower read_clock(JsonValue value, PowerNames const& known) {
  value.allow_only({"primitive", "base_w", "w_per_vco_ghz", "w_per_output_ghz"});
  ClockPower power;
  power.primitive = word(value.member("primitive"));
  if (known.primitives.count(power.primitive) == 0) value.member("primitive").refuse("the name of a clock primitive");
  power.base_w = quantity(value.member("base_w"));
  power.w_per_vco_ghz = quantity(value.member("w_per_vco_ghz"));
  power.w_per_output_ghz = quantity(value.member("w_per_output_ghz"));
  return power;
}

// A list of objects that are told apart by their member `key`.
template <class Read>
auto read_list(JsonValue list, char const* key, PowerNames const& known, Read read) {
  std::vector<decltype(read(list, known))> all;
  UniqueNames names;
  for (const JsonValue value : list.items()) {
    all.push_back(read(value, known));
    names.add(value.member(key), value.member(key).text());
  }
  return all;
}

}  // namespace

Power read_power(JsonValue object, PowerNames const& known) {
  object.allow_only({"transceivers", "memories", "clocks", "fabric_w_per_ghz"});
  Power power;
  power.transceivers = read_list(object.member("transceivers"), "type", known, read_transceiver);
  power.memories = read_list(object.member("memories"), "type", known, read_memory);
  power.clocks = read_list(object.member("clocks"), "primitive", known, read_clock);
  power.fabric_w_per_ghz = quantity(object.member("fabric_w_per_ghz"));
  return power;
}

}  // namespace kdi::device
