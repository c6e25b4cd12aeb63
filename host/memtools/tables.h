// What people read of a placement: rows, comma-separated values, constraints, lengths, contacts.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/memtools/design.h"

namespace memtools {

/// Where one signal is.
struct Row {
  std::string signal, ball, pad, lane, site, standard, direction;
  int bank = 0;
  double delay_ps = 0;
};
/// Of the signals that have a pad, in signal order.
std::vector<Row> rows_of(planning::PlacementRequest const& request, std::vector<int> const& pads);
/// A heading and a line for each row; a table of pins that reads back.
std::string csv_of(std::vector<Row> const& rows);

/// One constraint a line: pins, standards, impedances and terminations.
std::vector<std::string> constraints_of(planning::PlacementRequest const& request, std::vector<int> const& pads);

/// A pad of a bank, as a schematic has it.
struct SchematicRow {
  std::string ball, pad, lane, site, signal, standard, use;
};
struct SchematicBank {
  int number = 0;
  std::string kind, vcco, vref;
  std::vector<SchematicRow> rows;
};
/// The banks that have a signal.
std::vector<SchematicBank> schematic_of(planning::PlacementRequest const& request, std::vector<int> const& pads);

/// How much later a signal arrives than what it is sampled by: data than their strobe, addresses than the clock.
struct Length {
  std::string signal, reference;
  double package_ps = 0, trace_mm = 0, total_ps = 0;
  double skew_ps = 0;  ///< above 0: later
  double skew_mm = 0;
};
/// `traces` has lengths on the board by signal, in mm, `ps_per_mm` what a mm takes.
std::vector<Length> lengths_of(planning::PlacementRequest const& request, std::vector<int> const& pads,
                               std::map<std::string, double> const& traces, double ps_per_mm);

}  // namespace memtools
