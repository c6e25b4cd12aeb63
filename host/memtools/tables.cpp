#include "host/memtools/tables.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <set>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/planning/Constraints.h"

namespace memtools {
namespace {

namespace number = kdi::number;
using planning::PlacementRequest;
using planning::Signal;
using planning::SignalClass;

std::string field(std::string const& text) {
  if (text.find_first_of(",\"\n") == std::string::npos) return text;
  std::string all = "\"";
  for (const char c : text) all += c == '"' ? std::string("\"\"") : std::string(1, c);
  return all + "\"";
}

}  // namespace

std::vector<Row> rows_of(PlacementRequest const& request, std::vector<int> const& pads) {
  planning::Layout const& layout = *request.layout;
  std::vector<Row> rows;
  for (std::size_t i = 0; i < pads.size(); ++i) {
    if (pads[i] < 0) continue;
    planning::PlacedPad const& pad = layout.pads[static_cast<std::size_t>(pads[i])];
    planning::PlacedLane const& lane = layout.lane_of_pad(pads[i]);
    Signal const& signal = request.interface->signals[i];
    rows.push_back({signal.name, pad.ball, pad.name, lane.name, pad.site,
                    planning::standard_of(request, static_cast<int>(i), lane.bank), signal.direction,
                    layout.banks[static_cast<std::size_t>(lane.bank)].number, pad.delay_ps});
  }
  return rows;
}

std::string csv_of(std::vector<Row> const& rows) {
  std::string all = "signal,ball,pad,bank,lane,site,standard,direction,delay_ps\n";
  for (Row const& row : rows)
    all += field(row.signal) + "," + field(row.ball) + "," + field(row.pad) + "," + std::to_string(row.bank) + "," +
           field(row.lane) + "," + field(row.site) + "," + field(row.standard) + "," + row.direction + "," +
           number::plain(row.delay_ps) + "\n";
  return all;
}

std::vector<std::string> constraints_of(PlacementRequest const& request, std::vector<int> const& pads) {
  const auto standards = planning::standards_at(request, pads);
  const planning::PlacedSignals placed{*request.layout, *request.interface, pads, standards};
  std::vector<std::string> lines = planning::pin_constraints(placed);
  const auto add = [&](std::vector<std::string> more) {
    lines.insert(lines.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
  };
  add(planning::standard_constraints(placed));
  if (request.internal_reference) add(planning::reference_constraints(placed));
  return lines;
}

std::vector<SchematicBank> schematic_of(PlacementRequest const& request, std::vector<int> const& pads) {
  planning::Layout const& layout = *request.layout;
  std::map<int, int> signal_on;
  std::map<int, std::string> taken_by;
  for (std::size_t i = 0; i < pads.size(); ++i)
    if (pads[i] >= 0) signal_on[pads[i]] = static_cast<int>(i);
  for (planning::TakenPad const& one : request.taken) taken_by[one.pad] = one.by;
  const auto standards = planning::standards_at(request, pads);
  std::vector<SchematicBank> banks;
  for (planning::PlacedBank const& placed : layout.banks) {
    SchematicBank bank{placed.number, placed.kind, {}, {}, {}};
    bool is_used = false;
    for (int lane = placed.first; lane < placed.first + placed.lanes; ++lane) {
      planning::PlacedLane const& at = layout.lanes[static_cast<std::size_t>(lane)];
      for (int index = at.first; index < at.first + at.pads; ++index) {
        planning::PlacedPad const& pad = layout.pads[static_cast<std::size_t>(index)];
        SchematicRow row{pad.ball, pad.name, at.name, pad.site, {}, {}, {}};
        if (const auto found = signal_on.find(index); found != signal_on.end()) {
          is_used = true;
          row.signal = request.interface->signals[static_cast<std::size_t>(found->second)].name;
          if (planning::IoStandard const* const standard = standards[static_cast<std::size_t>(found->second)]) {
            row.standard = standard->name;
            bank.vcco = standard->vcco_v;
            const bool is_input =
                planning::receives(request.interface->signals[static_cast<std::size_t>(found->second)]);
            if (is_input && !standard->differential && !standard->vref_v.empty()) bank.vref = standard->vref_v;
          }
        } else if (const auto other = taken_by.find(index); other != taken_by.end()) {
          row.use = other->second;
        }
        bank.rows.push_back(std::move(row));
      }
    }
    if (!is_used) continue;
    // What a pad without a signal is for, now that the bank's needs are known.
    for (SchematicRow& row : bank.rows) {
      if (!row.signal.empty() || !row.use.empty()) continue;
      planning::PlacedPad const& pad = layout.pads[static_cast<std::size_t>(layout.pad_of_name(row.pad))];
      row.use = pad.ball.empty()                                                     ? "unbonded"
                : pad.configuration                                                  ? "configuration"
                : pad.impedance                                                      ? "impedance resistor"
                : pad.reference && !bank.vref.empty() && !request.internal_reference ? "Vref " + bank.vref + " V"
                                                                                     : "free";
    }
    banks.push_back(std::move(bank));
  }
  return banks;
}

// --------------------------------------------------------------------------------------------------------------
// lengths

namespace {

class Lengths {
 public:
  Lengths(PlacementRequest const& request, std::vector<int> const& pads, std::map<std::string, double> const& traces,
          double ps_per_mm)
      : wanted_(*request.interface), layout_(*request.layout), pads_(pads), traces_(traces), ps_per_mm_(ps_per_mm) {}

  std::vector<Length> all() {
    for (planning::Unit const& unit : wanted_.units)
      for (planning::Cell const& cell : unit.cells)
        for (const int signal : cell.singles) add(signal, strobe_of(unit, cell));
    const int clock = clock_of_addresses();
    for (const int signal : wanted_.address)
      if (signal != clock && signal != (clock < 0 ? -1 : of(clock).partner)) add(signal, clock);
    return std::move(lengths_);
  }

 private:
  Signal const& of(int signal) const { return wanted_.signals[static_cast<std::size_t>(signal)]; }

  int strobe_of(planning::Unit const& unit, planning::Cell const& cell) const {
    if (cell.positive >= 0) return cell.positive;
    for (planning::Unit const& other : wanted_.units)
      if (other.set == unit.set && other.clocks_set) return other.cells[0].positive;
    return -1;
  }

  // The memory's clock; a clock that goes with written data where there is none of its own.
  int clock_of_addresses() const {
    for (const int signal : wanted_.address)
      if (of(signal).what == SignalClass::clock && !of(signal).negative) return signal;
    for (planning::Unit const& unit : wanted_.units)
      for (planning::Cell const& cell : unit.cells)
        if (cell.positive >= 0 && of(cell.positive).direction == "out") return cell.positive;
    return -1;
  }

  double trace(int signal) const {
    const auto found = traces_.find(of(signal).name);
    return found == traces_.end() ? 0 : found->second;
  }
  double package(int signal) const {
    const int pad = pads_[static_cast<std::size_t>(signal)];
    return pad < 0 ? 0 : layout_.pads[static_cast<std::size_t>(pad)].delay_ps;
  }
  double total(int signal) const { return package(signal) + trace(signal) * ps_per_mm_; }

  void add(int signal, int reference) {
    if (reference < 0 || of(signal).what == SignalClass::control) return;
    const int other = of(reference).partner;
    const double at = other < 0 ? total(reference) : (total(reference) + total(other)) / 2;
    Length length{of(signal).name, of(reference).name, package(signal), trace(signal), total(signal)};
    length.skew_ps = length.total_ps - at;
    length.skew_mm = length.skew_ps / ps_per_mm_;
    lengths_.push_back(std::move(length));
  }

  planning::Interface const& wanted_;
  planning::Layout const& layout_;
  std::vector<int> const& pads_;
  std::map<std::string, double> const& traces_;
  double ps_per_mm_;
  std::vector<Length> lengths_;
};

}  // namespace

std::vector<Length> lengths_of(PlacementRequest const& request, std::vector<int> const& pads,
                               std::map<std::string, double> const& traces, double ps_per_mm) {
  return Lengths(request, pads, traces, ps_per_mm).all();
}

}  // namespace memtools
