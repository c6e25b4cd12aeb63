#include "tcltasks/psmodels/modified_params.h"

namespace psmodels {

RawResult records_of(ParamMap const& userModifiedParams,
                     std::function<std::string(std::string const& name)> const& value_of) {
  RawResult records;
  for (auto const& [name, given] : userModifiedParams) {
    if (name.empty()) continue;
    const std::string current = value_of(name);
    records.emplace(name, record_of(current.empty() ? given : current));
  }
  return records;
}

std::string settings_text(RawResult const& records, ParamMap const& inputParams,
                          std::function<void(std::string const& name, Rows const& rows)> const& each) {
  std::string text;
  for (auto const& [name, rows] : records) {
    const std::string value = first_of(rows, Row::value);
    if (value.empty() || !inputParams.contains(name)) continue;
    each(name, rows);
    text.append(" ").append(name).append(" ").append(value);
  }
  return text;
}

}  // namespace psmodels
