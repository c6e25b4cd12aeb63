#include <array>
#include <charconv>
#include <set>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiJsonText.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/ippcw/host/MonitorData.h"

namespace hardip_eng {
namespace {

using kdi::text::json_text;

constexpr std::string_view kHeading = "satellite,measurement,number,supply,volts";
constexpr std::size_t kColumns = 5;
constexpr char kEnabled[] = "enabled", kSupply[] = "supply";
constexpr std::string_view kHexadecimal = "0x";
constexpr std::size_t kDigits = 8;

std::string member(std::string_view name, std::string const& value) { return json_text(name) + ": " + value; }

// Rows of a list, one a line.
std::string json_list(std::vector<std::string> const& rows) {
  return rows.empty() ? "[]" : "[\n    " + kdi::text::joined(rows, ",\n    ") + "\n  ]";
}

std::string row_of(MonitorMeasurement const& one) {
  std::string row = "{" + member(kEnabled, json_text(one.enabled));
  if (!one.supply.empty()) row += ", " + member(kSupply, json_text(one.supply));
  for (auto const& [name, value] : one.parameters) row += ", " + member(name, json_text(value));
  return row + "}";
}

MonitorMeasurement read_measurement(kdi::JsonValue row) {
  MonitorMeasurement one;
  one.enabled = row.member(kEnabled).text();
  if (const auto supply = row.find(kSupply)) {
    if (supply->text().empty()) supply->refuse("the name of a supply");
    one.supply = supply->text();
  }
  for (const kdi::JsonValue value : row.members())
    if (value.name() != kEnabled && value.name() != kSupply) one.parameters.emplace_back(value.name(), value.text());
  return one;
}

std::uint32_t read_word(kdi::JsonValue value) {
  const std::string_view text = value.text();
  std::uint32_t word = 0;
  char const* const end = text.data() + text.size();
  if (text.size() != kHexadecimal.size() + kDigits || !text.starts_with(kHexadecimal) ||
      std::from_chars(text.data() + kHexadecimal.size(), end, word, 16).ptr != end)
    value.refuse("0x and eight hexadecimal digits");
  return word;
}

MonitorData read_core(kdi::JsonValue root) {
  root.allow_only({"format", "instance", "core", "version", "part", "measurements", "dictionaries", "registers"});
  root.member("format").integer(1, 1);
  MonitorData data{std::string(root.member("instance").text()),
                   std::string(root.member("core").text()),
                   std::string(root.member("version").text()),
                   std::string(root.member("part").text()),
                   {},
                   {},
                   {}};
  for (const kdi::JsonValue row : root.member("measurements").items())
    data.measurements.push_back(read_measurement(row));
  for (const kdi::JsonValue row : root.member("dictionaries").items()) {
    if (row.members().size() != 1) row.refuse("one parameter");
    data.dictionaries.emplace_back(row.members()[0].name(), row.members()[0].text());
  }
  std::set<std::string> names;
  for (const kdi::JsonValue row : root.member("registers").items()) {
    row.allow_only({"register", "value"});
    const std::string name(row.member("register").text());
    if (!names.insert(name).second) row.member("register").refuse("a register that does not come twice");
    data.registers.emplace_back(name, read_word(row.member("value")));
  }
  return data;
}

SatelliteRow read_row(std::string_view line, std::string const& place) {
  const std::vector<std::string_view> words = kdi::text::split(line, ',');
  if (words.size() != kColumns)
    throw kdi::FileError(place + std::to_string(words.size()) + " words where " + std::to_string(kColumns) +
                         " are expected");
  const auto satellite = kdi::number::whole<unsigned>(words[0]);
  if (!satellite) throw kdi::FileError(place + kdi::text::shown(words[0]) + " is no number of a sensor");
  if (words[1].empty()) throw kdi::FileError(place + "no measurement");
  if (!words[4].empty() && !kdi::number::whole<double>(words[4]))
    throw kdi::FileError(place + kdi::text::shown(words[4]) + " is no voltage");
  return {*satellite, std::string(words[1]), std::string(words[2]), std::string(words[3]), std::string(words[4])};
}

}  // namespace

std::string monitor_data_text(MonitorData const& data) {
  std::vector<std::string> measurements, dictionaries, registers;
  for (MonitorMeasurement const& one : data.measurements) measurements.push_back(row_of(one));
  for (auto const& [name, value] : data.dictionaries)
    dictionaries.push_back("{" + member(name, json_text(value)) + "}");
  for (auto const& [name, word] : data.registers)
    registers.push_back("{" + member("register", json_text(name)) + ", " +
                        member("value", json_text("0x" + kdi::number::hexadecimal(word, kDigits))) + "}");
  return "{\n  \"format\": 1,\n  " + member("instance", json_text(data.instance)) + ",\n  " +
         member("core", json_text(data.core)) + ",\n  " + member("version", json_text(data.version)) + ",\n  " +
         member("part", json_text(data.part)) + ",\n  " + member("measurements", json_list(measurements)) + ",\n  " +
         member("dictionaries", json_list(dictionaries)) + ",\n  " + member("registers", json_list(registers)) +
         "\n}\n";
}

std::vector<MonitorData> read_monitor_data_text(std::string_view text, std::string const& name) {
  const kdi::JsonFile file(text, name);
  std::vector<MonitorData> all;
  if (!file.root().is_list()) all.push_back(read_core(file.root()));
  if (file.root().is_list())
    for (const kdi::JsonValue core : file.root().items()) all.push_back(read_core(core));
  return all;
}

std::string satellites_text(std::vector<SatelliteRow> const& rows) {
  std::string text = std::string(kHeading) + "\n";
  for (SatelliteRow const& row : rows)
    text += std::to_string(row.satellite) + "," + row.measurement + "," + row.number + "," + row.supply + "," +
            row.volts + "\n";
  return text;
}

std::vector<SatelliteRow> read_satellites_text(std::string_view text, std::string const& name) {
  std::vector<SatelliteRow> rows;
  std::size_t number = 0;
  for (const std::string_view line : kdi::text::lines(text)) {
    const std::string place = name + ":" + std::to_string(++number) + ": ";
    if (number > 1)
      rows.push_back(read_row(line, place));
    else if (line != kHeading)
      throw kdi::FileError(place + "expected the heading " + std::string(kHeading));
  }
  if (number == 0) throw kdi::FileError(name + ":1: expected the heading " + std::string(kHeading));
  if (!text.ends_with('\n')) throw kdi::FileError(name + ":" + std::to_string(number) + ": the line does not end");
  return rows;
}

}  // namespace hardip_eng
