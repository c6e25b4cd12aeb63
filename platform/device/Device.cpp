// Answers of the value types: plain searches in lists that are never long.
#include "kdi/device/Device.h"

#include <algorithm>

namespace kdi::device {
namespace {

template <class List, class Test>
auto find_in(List const& list, Test test) -> typename List::value_type const* {
  const auto at = std::find_if(list.begin(), list.end(), test);
  return at == list.end() ? nullptr : &*at;
}

// Watts of one direction at a line rate: linear between two points, in proportion to the rate outside of them.
double interpolated(std::vector<TransceiverPower::Point> const& points, double TransceiverPower::Point::*watts,
                    double rate) {
  if (points.empty() || rate <= 0) return 0;
  TransceiverPower::Point const& first = points.front();
  TransceiverPower::Point const& last = points.back();
  if (rate <= first.line_rate_gbps) return first.*watts * rate / first.line_rate_gbps;
  if (rate >= last.line_rate_gbps) return last.*watts * rate / last.line_rate_gbps;
  const auto above = std::find_if(points.begin(), points.end(),
                                  [&](TransceiverPower::Point const& each) { return each.line_rate_gbps >= rate; });
  TransceiverPower::Point const& upper = *above;
  TransceiverPower::Point const& lower = *std::prev(above);
  const double share = (rate - lower.line_rate_gbps) / (upper.line_rate_gbps - lower.line_rate_gbps);
  return lower.*watts + share * (upper.*watts - lower.*watts);
}

}  // namespace

LoopModel const* ClockPrimitive::loop(HASTJitterCalculatorKelvane::BANDWIDTH bandwidth) const {
  return find_in(loops, [&](LoopModel const& each) { return each.bandwidth == bandwidth; });
}

bool Transceiver::reaches(double gbps) const {
  return std::any_of(line_rate_gbps.begin(), line_rate_gbps.end(),
                     [&](Range const& rates) { return rates.contains(gbps); });
}

double TransceiverPower::transmit_w(double line_rate_gbps) const {
  return interpolated(points, &Point::tx_w, line_rate_gbps);
}

double TransceiverPower::receive_w(double line_rate_gbps) const {
  return interpolated(points, &Point::rx_w, line_rate_gbps);
}

TransceiverPower const* Power::transceiver(std::string const& type) const {
  return find_in(transceivers, [&](TransceiverPower const& each) { return each.type == type; });
}

MemoryPower const* Power::memory(std::string const& type) const {
  return find_in(memories, [&](MemoryPower const& each) { return each.type == type; });
}

ClockPower const* Power::clock(std::string const& primitive) const {
  return find_in(clocks, [&](ClockPower const& each) { return each.primitive == primitive; });
}

IoBank const* Package::bank(int number) const {
  return find_in(banks, [&](IoBank const& each) { return each.number == number; });
}

Quad const* Package::quad(int number) const {
  return find_in(quads, [&](Quad const& each) { return each.number == number; });
}

ClockPrimitive const* Part::clock_primitive(std::string const& wanted) const {
  return find_in(speed->clock_primitives, [&](ClockPrimitive const& each) { return each.name == wanted; });
}

ClockPrimitive const* Part::clock_primitive(ClockPrimitiveKind kind) const {
  return find_in(speed->clock_primitives, [&](ClockPrimitive const& each) { return each.kind == kind; });
}

ClockBuffer const* Part::clock_buffer(std::string const& wanted) const {
  return find_in(speed->clock_buffers, [&](ClockBuffer const& each) { return each.name == wanted; });
}

BlockMemory const* Part::block_memory(std::string const& wanted) const {
  return find_in(speed->block_memories, [&](BlockMemory const& each) { return each.name == wanted; });
}

Transceiver const* Part::transceiver(std::string const& type) const {
  return find_in(speed->transceivers, [&](Transceiver const& each) { return each.type == type; });
}

MemoryController const* Part::memory_controller(std::string const& wanted) const {
  return find_in(speed->memory_controllers, [&](MemoryController const& each) { return each.name == wanted; });
}

std::optional<double> Part::speed_key(std::string const& key) const {
  const auto at = speed->keys.find(key);
  return at == speed->keys.end() ? std::nullopt : std::optional(at->second);
}

}  // namespace kdi::device
