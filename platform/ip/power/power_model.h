// What the power calculator knows beside the device: how conditions change power, and what lies around the blocks whose
// watts the device's file gives. Read from data/power (README.md there), one file for each generation of devices. The
// formulas that the coefficients stand in are told in ip/HIPWPowerCalcIntf.h.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiText.h"

namespace kdi::power {

/// A value by a word of a record.
template <class Value>
struct Word {
  std::string name;
  Value value;
};

/// Words that a record's text may be, without regard to case; at least one. The first is the default.
template <class Value>
struct Words {
  std::vector<Word<Value>> all;

  /// The entry that `given` is; else the longest that `given` begins with (64B66B_ASYNC is 64B66B); null if there is
  /// none.
  Value const* find(std::string_view given) const;
};

struct Conditions {
  double junction_c = 25;
  double core_v = 1;
  double leakage_doubling_c = 25;
  double leakage_exponent = 1;
  double dynamic_per_c = 0;
  std::map<std::string, double> leakage;  ///< by speed grade; 1 for one that is not there
};

struct Encoding {
  double efficiency = 1;  ///< user bits over bits on the line
  double w_per_gbps = 0;
};

struct Transceiver {
  std::string type;                ///< the device's
  std::vector<std::string> names;  ///< others that it goes by, lower case
  double static_w_per_quad = 0;
  double pll_idle = 0;  ///< share of a PLL's power that does not depend on its VCO's frequency
  double reference_w_per_ghz = 0;
  double pcs_w_per_gbps = 0;
  double user_w_per_gbps = 0;
  double internal_w_per_bit = 0;
  double user_w_per_bit = 0;
  double termination_ohm = 1;
  double auto_loss_db = 0;  ///< up to it AUTO is `auto_short`
  std::string auto_short;   ///< names of the device's equaliser modes
  std::string auto_long;
  Words<Encoding> encodings;
};

struct Module {
  double load = 1;
  double address_load = 1;
};

/// What memory interfaces of all families have in common.
struct MemoryCommon {
  double static_w = 0;
  double static_w_per_lane = 0;
  double datapath_w_per_ghz_bit = 0;
  double debug_w = 0;
  double debug_w_per_ghz = 0;
  double axi_w_per_ghz_bit = 0;
  double serialiser_w_per_ghz = 0;
  double clock_tree_w_per_ghz = 0;
  double data_load = 0;
  double address_load = 0;
  double read_share = 0;
  double write_share = 0;
  double valid_share = 0;  ///< of a strobe pin's changes that a QVLD pin makes
  int lanes_per_phy_pll = 1;
  Words<double> controller_share;  ///< by MigPowerRecord::phyOnly
  Words<int> slots;
  Words<Module> modules;  ///< by MigPowerRecord::memoryType
  Words<double> bank_kinds;
  Words<double> io_performance;
};

/// A family of memories, beside what the device's figures for its type say.
struct MemoryFamily {
  std::string family;  ///< MigPowerRecord::controllerFamily
  std::string type;    ///< of the device's MemoryPower
  double strobe_w_per_gbps = 0;
  double clock_w_per_gbps = 0;
  std::string usual_termination;  ///< of the device's names
};

/// Levels of a pad.
struct PadStandard {
  double volts = 0;
  double static_mw = 0;  ///< of a pad in use
  double pull_ohm = 0;   ///< of its pull-up
};

/// What is at the end of a memory's line.
enum class LineEnd { open, centre, supply, ground };

/// How a type of memory is driven.
struct MemoryStandard {
  std::string standard;
  double volts = 0;
  LineEnd end = LineEnd::open;
  double driver_ohm = 0, termination_ohm = 0;  ///< the latter 0 for an end that is open
};

/// The lines of a processing system's own memory controller.
struct MemoryLines {
  std::string enabled, type, width, check;  ///< how the names of the parameters end that say it
  unsigned check_bits = 0;                  ///< of lines, where there are check bits
  std::string supply;
  double active_share = 0;  ///< of the time
  std::map<std::string, MemoryStandard> standards;
};

/// Pads of one supply, by the core's name for their bank.
struct PadGroup {
  std::string pads;
  unsigned first = 0, last = 0;
  std::string standard;  ///< how the name of the parameter ends that says it
  std::string pull;      ///< and that which says whether a pad is pulled up, {} for its number; empty: there is none
  std::string supply;
};

/// A kind of processing system, beside what the descriptions of its cores say.
struct System {
  std::string kind;
  std::vector<std::pair<std::string, double>> static_w;  ///< by supply
  std::map<std::string, double> leakage_by_device;       ///< 1 for one that is not there
  double load_pf = 0;                                    ///< at a pad
  Words<PadStandard> standards;
  Words<double> toggle_mhz;  ///< by the beginning of a function's name
  Words<double> line_ohm;    ///< at the line of a function, by the beginning of its name; 0: nothing
  double low_share = 0;      ///< of the time that a pulled line is low
  std::vector<PadGroup> banks;
  std::optional<MemoryLines> memory;
};

struct Model {
  std::string generation;
  Conditions conditions;
  std::vector<System> systems;
  std::vector<Transceiver> transceivers;
  MemoryCommon memory;
  std::vector<MemoryFamily> memories;
};

/// Reads a model from the text of a file, which errors call `name`. Throws kdi::JsonError.
Model read_model(std::string_view text, std::string const& name);

/// The model of a generation from the data roots, read once; null if there is none. A broken file is reported to the
/// message manager and is none. Safe for use from several threads; what is returned lives as long as the process.
Model const* model_of(std::string const& generation);

template <class Value>
Value const* Words<Value>::find(std::string_view given) const {
  Word<Value> const* best = nullptr;
  for (Word<Value> const& each : all)
    if (text::starts_with_but_case(given, each.name) && (best == nullptr || each.name.size() > best->name.size()))
      best = &each;
  return best == nullptr ? nullptr : &best->value;
}

}  // namespace kdi::power
