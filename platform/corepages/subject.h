// What the report is about: a core with its sub-cores, and of each what there is to show, read once.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kdi/corepages/Report.h"
#include "kdi/cores/ClockSection.h"
#include "kdi/cores/Configuration.h"
#include "kdi/cores/PadSection.h"
#include "kdi/cores/Record.h"
#include "platform/corepages/markup.h"

namespace kdi::corepages {

/// One parameter as it is.
struct Row {
  std::uint32_t number;
  cores::Parameter const* parameter;
  std::string value, default_value;
  cores::Origin origin;
  bool enabled;
  bool given;    ///< itself: the text of a composite shows what others are given
  bool differs;  ///< its value is another than the default, or one was given
  bool out_of_range;
  cores::Record why;  ///< docs/explain.md, without advice
};

/// A message that is due.
struct Notice {
  cores::Due due;
  std::string parameter;             ///< or the core
  std::optional<cores::Record> why;  ///< with its condition and, if it was sought, its advice
  bool is_advised = false;           ///< whether advice was sought
};

/// One core of the configuration.
struct Unit {
  std::string path;  ///< names of sub-cores from the outermost on; empty for that
  cores::Configuration* configuration;
  Links links;
  std::vector<Row> rows;
  std::vector<Notice> notices;  ///< the gravest first
  std::shared_ptr<cores::ClockSection const> clocks;
  std::shared_ptr<cores::PadSection const> pads;
  cores::ClockFindings const* clock_findings = nullptr;  ///< null: there are none
  cores::PadFindings const* pad_findings = nullptr;

  cores::Core const& core() const { return configuration->core(); }
  cores::Parameter const& parameter(std::uint32_t number) const { return core().parameters()[number]; }
};

/// The core and its sub-cores, the outermost first.
std::vector<Unit> units_of(cores::Configuration& configuration, Bounds const& bounds);

}  // namespace kdi::corepages
