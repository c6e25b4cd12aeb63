// Commands that read the files which a configured core leaves behind, other than those of commands (cdo_commands.cpp).
#include <tcl.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/coretools/session.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"
#include "kdi/cores/Record.h"
#include "kdi/hdf/host/HardwareDefinition.h"
#include "kdi/ippcw/host/Handoff.h"
#include "kdi/ippcw/host/MonitorData.h"
#include "kdi/ippcw/host/StateFile.h"
#include "kdi/tcl/command.h"

namespace coretools {
namespace {

using kdi::cores::Record;
using tcl::handler;
using tcl::usage;
using Words = tcl::Words;

constexpr std::size_t kLargestMonitorFile = std::size_t{1} << 26;

Record number_record(std::size_t number) { return Record(std::to_string(number)); }

template <class Pairs>
Record pairs_record(Pairs const& pairs) {
  Record all = Record::dictionary();
  for (auto const& [name, value] : pairs) all.set(name, value);
  return all;
}

Record handoff(std::string const& path) {
  const hardip_eng::Handoff told = hardip_eng::read_handoff(path);
  Record parameters = Record::dictionary();
  for (hardip_eng::HandoffParameter const& one : told.parameters) {
    Record parameter = Record::dictionary();
    parameter.set("value", one.value).set("enabled", Record::truth(one.is_enabled));
    parameters.set(one.name, std::move(parameter));
  }
  Record record = Record::dictionary();
  record.set("instance", told.instance).set("core", told.core).set("version", told.version).set("part", told.part);
  return record.set("parameters", std::move(parameters));
}

Record definition(std::string const& path) {
  const kdi::hdf::HardwareDefinition told = kdi::hdf::read_hardware_definition(path);
  Record files = Record::dictionary();
  for (kdi::hdf::PackedFile const& one : told.files) {
    Record file = Record::dictionary();
    file.set("kind", std::to_string(one.kind)).set("missing", Record::truth(one.is_missing));
    file.set("size", number_record(one.content.size())).set("attributes", pairs_record(one.attributes));
    files.set(one.name, std::move(file));
  }
  Record record = Record::dictionary();
  return record.set("attributes", pairs_record(told.attributes)).set("files", std::move(files));
}

Record parameter_data(std::string const& path) {
  const kdi::hdf::ParamInfo told = kdi::hdf::read_param_info(path);
  Record record = Record::dictionary();
  return record.set("instance", told.instance).set("kind", told.kind).set("data", told.data);
}

Record measurement_record(hardip_eng::MonitorMeasurement const& told) {
  Record record = Record::dictionary();
  record.set("enabled", told.enabled).set("supply", told.supply);
  return record.set("parameters", pairs_record(told.parameters));
}

Record monitor(std::string const& path) {
  Record cores = Record::list();
  for (hardip_eng::MonitorData const& told :
       hardip_eng::read_monitor_data_text(kdi::read_file(path, kLargestMonitorFile), path)) {
    Record measurements = Record::list(), registers = Record::dictionary();
    for (auto const& one : told.measurements) measurements.add(measurement_record(one));
    for (auto const& [name, word] : told.registers) registers.set(name, number_record(word));
    Record record = Record::dictionary();
    record.set("instance", told.instance).set("core", told.core).set("version", told.version).set("part", told.part);
    record.set("measurements", std::move(measurements)).set("dictionaries", pairs_record(told.dictionaries));
    cores.add(std::move(record.set("registers", std::move(registers))));
  }
  return cores;
}

Record satellites(std::string const& path) {
  Record rows = Record::list();
  for (hardip_eng::SatelliteRow const& told :
       hardip_eng::read_satellites_text(kdi::read_file(path, kLargestMonitorFile), path)) {
    Record row = Record::dictionary();
    row.set("satellite", number_record(told.satellite)).set("measurement", told.measurement);
    row.set("number", told.number).set("supply", told.supply).set("volts", told.volts);
    rows.add(std::move(row));
  }
  return rows;
}

Record state(std::string const& path) {
  const hardip_eng::StateFile told = hardip_eng::read_state(path);
  Record record = Record::dictionary();
  record.set("core", told.core).set("parameters", pairs_record(told.parameters));
  return record.set("mio", pairs_record(told.mio));
}

struct Form {
  std::string_view name;
  Record (*read)(std::string const& path);
};
constexpr Form kForms[] = {
    {"handoff", handoff}, {"definition", definition}, {"params", parameter_data},
    {"monitor", monitor}, {"satellites", satellites}, {"state", state},
};

Tcl_Obj* read(Words words) {
  const std::string form = tcl::text_of(words[0]);
  std::vector<std::string> names;
  for (Form const& one : kForms) {
    if (one.name == form) return object_of(one.read(tcl::required_native_path(words[1])));
    names.emplace_back(one.name);
  }
  throw std::invalid_argument("no form " + kdi::text::shown(form) + "; there are " + kdi::text::joined(names, ", "));
}

// One file of a package, as it went in; one that is missing there has no content either.
void extract(Words words) {
  const std::string path = tcl::required_native_path(words[0]), name = tcl::text_of(words[1]);
  const kdi::hdf::HardwareDefinition told = kdi::hdf::read_hardware_definition(path);
  for (kdi::hdf::PackedFile const& one : told.files) {
    if (one.name != name || one.is_missing) continue;
    kdi::write_file(tcl::required_native_path(words[2]), one.content);
    return;
  }
  throw std::invalid_argument("no content of " + kdi::text::shown(name) + " in " + path);
}

constexpr tcl::Row kCommands[] = {
    {"coretools::output_read", handler<read>, tcl::exactly(2, usage("form file"))},
    {"coretools::output_extract", handler<extract>, tcl::exactly(3, usage("package name target"))},
};

}  // namespace

void register_output_commands(Session& session) { tcl::register_all<kCommands>(session.interp, &session); }

}  // namespace coretools
