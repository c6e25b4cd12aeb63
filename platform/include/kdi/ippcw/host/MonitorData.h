// The two files of the system monitor (docs/core-outputs.md): what it measures, by which registers, and which of its
// sensors measures what.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kdi/common/KdiDoor.h"

namespace hardip_eng {

/// A measurement that is on: the parameter that switches it on, what the device calls its supply (empty where it has no
/// name), and its other parameters with their values.
struct MonitorMeasurement {
  std::string enabled, supply;
  std::vector<std::pair<std::string, std::string>> parameters;

  bool operator==(MonitorMeasurement const&) const = default;
};

/// Of one core; of a wizard there is one for each of its cores.
struct MonitorData {
  std::string instance, core, version, part;  ///< the part is empty without one
  std::vector<MonitorMeasurement> measurements;
  std::vector<std::pair<std::string, std::string>> dictionaries;  ///< by parameter
  std::vector<std::pair<std::string, std::uint32_t>> registers;   ///< words by name

  bool operator==(MonitorData const&) const = default;
};

/// The content of sysmon_data.json.
KDI_DOOR std::string monitor_data_text(MonitorData const& data);
/// The cores that the text tells of; errors call it `name`. Throws kdi::JsonError (kdi/common/KdiJson.h).
KDI_DOOR std::vector<MonitorData> read_monitor_data_text(std::string_view text, std::string const& name);

/// A line of the table of sensors: the sensor's number, the parameter that switches the measurement on, the number of
/// its supply, the supply's name and volts; the last two are empty where the device names none.
struct SatelliteRow {
  unsigned satellite = 0;
  std::string measurement, number, supply, volts;

  bool operator==(SatelliteRow const&) const = default;
};

/// The content of sysmon_satellite.csv.
KDI_DOOR std::string satellites_text(std::vector<SatelliteRow> const& rows);
/// The lines of the text; errors call it `name`. Throws kdi::FileError, "<name>:<line>: <what is wrong>".
KDI_DOOR std::vector<SatelliteRow> read_satellites_text(std::string_view text, std::string const& name);

}  // namespace hardip_eng
