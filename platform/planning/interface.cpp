#include "kdi/planning/Interface.h"

#include <algorithm>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"

namespace kdi::planning {
namespace {

constexpr int kMostWidth = 1024;
constexpr int kByte = 8, kWord = 18;  // data bits

class Builder {
 public:
  explicit Builder(InterfaceRequest const& request)
      : request_(request), kind_(*request.kind), prefix_("c0_" + request.kind->prefix + "_") {}

  Interface build() {
    for (LaneKind const& lane : kind_.lanes) add_lanes(lane);
    for (AddressPort const& port : kind_.address) add_address(port);
    add_system_clock();
    return std::move(built_);
  }

 private:
  int add(std::string const& port, int index, SignalClass what, std::string const& direction, int unit) {
    const int at = static_cast<int>(built_.signals.size());
    Signal signal;
    signal.port = prefix_ + port;
    signal.name = index < 0 ? signal.port : signal.port + "[" + std::to_string(index) + "]";
    signal.index = index;
    signal.what = what;
    signal.direction = direction;
    signal.unit = unit;
    built_.signals.push_back(std::move(signal));
    return at;
  }

  int add_pair(std::string const& positive, std::string const& negative, int index, SignalClass what,
               std::string const& direction, int unit) {
    const int first = add(positive, index, what, direction, unit);
    const int second = add(negative, index, what, direction, unit);
    Signal* const signals = built_.signals.data();
    signals[first].partner = second;
    signals[second].partner = first;
    signals[second].negative = true;
    return first;
  }

  void add_lanes(LaneKind const& lane) {
    const int width = request_.width;
    const auto per_strobe = by_width(lane.strobe_bits, request_.part.width);
    if (!per_strobe)
      throw "no strobes of " + kind_.type + " devices " + std::to_string(request_.part.width) + " bits wide";
    if (width < lane.bits || width > kMostWidth || width % lane.bits != 0 || width % *per_strobe != 0)
      throw "a width of " + std::to_string(width) + " bits: " + kind_.type + " of such parts has multiples of " +
          std::to_string(std::max(lane.bits, *per_strobe));
    const int first_set = built_.sets;
    for (int bit = 0; bit < width; bit += lane.bits) add_unit(lane, bit, *per_strobe, first_set);
    built_.sets += std::max(1, width / std::max(*per_strobe, lane.bits));
  }

  void add_unit(LaneKind const& lane, int first_bit, int per_strobe, int first_set) {
    const int index = static_cast<int>(built_.units.size());
    Unit unit;
    unit.group = lane.group + "[" + std::to_string(first_bit) + "-" + std::to_string(first_bit + lane.bits - 1) + "]";
    unit.set = first_set + first_bit / std::max(per_strobe, lane.bits);
    unit.clocks_set = first_bit % per_strobe == 0;
    const int cells = per_strobe < lane.bits ? lane.bits / per_strobe : 1;
    const int bits = lane.bits / cells;
    const std::size_t first_signal = built_.signals.size();
    for (int i = 0; i < cells; ++i) unit.cells.push_back(strobed_cell(lane, first_bit + i * bits, per_strobe, index));
    for (int i = 0; i < cells; ++i)
      for (int bit = 0; bit < bits; ++bit)
        unit.cells[static_cast<std::size_t>(i)].singles.push_back(
            add(lane.data, first_bit + i * bits + bit, SignalClass::data, lane.direction, index));
    const int per_mask = by_width(lane.mask_bits, request_.part.width).value_or(lane.bits);
    const bool masked = !lane.mask.empty() && cells == 1 && (lane.mask_needed || request_.data_mask);
    if (masked && first_bit % per_mask == 0)
      unit.cells[0].singles.push_back(
          add(lane.mask, first_bit / per_mask, SignalClass::mask, lane.mask_direction, index));
    for (std::size_t at = first_signal; at < built_.signals.size(); ++at) unit.signals.push_back(static_cast<int>(at));
    built_.units.push_back(std::move(unit));
  }

  Cell strobed_cell(LaneKind const& lane, int first_bit, int per_strobe, int unit) {
    Cell cell;
    if (first_bit % per_strobe != 0) return cell;
    cell.positive = add_pair(lane.strobe.first, lane.strobe.second, first_bit / per_strobe, SignalClass::strobe,
                             lane.forwarded ? "out" : lane.direction, unit);
    cell.negative = cell.positive + 1;
    cell.strobe_site = !lane.forwarded;
    return cell;
  }

  // A product of numbers and words.
  int count_of(std::string const& product) const {
    int count = 1;
    for (const std::string_view factor : text::split(product, '*')) {
      const int times = factor_of(std::string(factor));
      if (times < 0 || times > kMostWidth || count * times > kMostWidth)
        throw "the memory data of " + kind_.type + " count signals by " + text::quoted(product) +
            ", which are not 0 to " + std::to_string(kMostWidth);
      count *= times;
    }
    return count;
  }

  int factor_of(std::string const& word) const {
    MemoryPart const& part = request_.part;
    if (const auto count = number::whole<int>(word)) return *count;
    if (word == "address") return std::max(kind_.address_bits_min, part.address_bits);
    if (word == "bank_bits") return part.bank_bits;
    if (word == "group_bits") return part.group_bits;
    if (word == "ranks") return request_.ranks * request_.slots;
    if (word == "clocks") return request_.slots * (part.module.empty() || request_.ranks < 2 ? 1 : 2);
    if (word == "stack_bits") return part.stack > 2 ? 2 : part.stack - 1;
    if (word == "registered") return part.module == "rdimm" ? 1 : 0;
    if (word == "write_clocks") return 2 * request_.width / part.width;
    if (word == "write_words") return request_.width / kWord;
    if (word == "bytes") return request_.width / kByte;
    if (word == "devices") return request_.width / part.width;
    if (word == "channels") return kind_.channel_bits == 0 ? 1 : std::max(1, request_.width / kind_.channel_bits);
    throw "the memory data of " + kind_.type + " count signals by " + text::quoted(word) + ", which nothing is called";
  }

  void add_address(AddressPort const& port) {
    const int count = count_of(port.count);
    for (int i = 0; i < count; ++i) {
      // What there is once by its nature is no vector; the others are, also with one bit.
      const int index = port.count == "1" || port.count == "registered" ? -1 : i;
      const int at = port.negative.empty()
                         ? add(port.port, index, port.what, port.direction, Signal::kAddress)
                         : add_pair(port.port, port.negative, index, port.what, port.direction, Signal::kAddress);
      built_.address.push_back(at);
      if (!port.negative.empty()) built_.address.push_back(at + 1);
    }
  }

  void add_system_clock() {
    prefix_ = "c0_";
    if (request_.system_clock == SystemClock::none) return;
    if (request_.system_clock == SystemClock::single_ended) {
      built_.system_clock = {add("sys_clk_i", -1, SignalClass::control, "in", Signal::kSystem)};
      return;
    }
    const int at = add_pair("sys_clk_p", "sys_clk_n", -1, SignalClass::system_clock, "in", Signal::kSystem);
    built_.system_clock = {at, at + 1};
  }

  InterfaceRequest const& request_;
  MemoryKind const& kind_;
  std::string prefix_;
  Interface built_;
};

}  // namespace

int Interface::signal(std::string_view name) const {
  const auto at = std::find_if(signals.begin(), signals.end(), [&](Signal const& one) { return one.name == name; });
  return at == signals.end() ? -1 : static_cast<int>(at - signals.begin());
}

int Interface::unit(std::string_view group) const {
  const auto at = std::find_if(units.begin(), units.end(), [&](Unit const& one) { return one.group == group; });
  return at == units.end() ? -1 : static_cast<int>(at - units.begin());
}

Interface interface_of(InterfaceRequest const& request) {
  MemoryKind const& kind = *request.kind;
  if (request.ranks < 1 || request.ranks > kind.ranks_max)
    throw std::to_string(request.ranks) + " ranks: " + kind.type + " has 1 to " + std::to_string(kind.ranks_max);
  if (request.slots < 1 || request.slots > 2) throw std::to_string(request.slots) + " slots: 1 and 2 are possible";
  if (request.slots > 1 && request.part.module.empty()) throw std::string("2 slots: components have none");
  return Builder(request).build();
}

}  // namespace kdi::planning
