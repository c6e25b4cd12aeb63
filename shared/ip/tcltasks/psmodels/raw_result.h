// What an engine tells of a parameter: rows of texts, any of which may be empty or missing.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "kdi/common/KdiTypes.h"

namespace psmodels {

using Rows = RawResult::mapped_type;

enum class Row : std::size_t { value, range, state, widget };

/// How many rows a record has that is made for an engine.
inline constexpr std::size_t kRowsOfRecord = 6;

StrVec const& row_of(Rows const& rows, Row row);
/// The first element of a row.
inline std::string first_of(Rows const& rows, Row row) {
  StrVec const& texts = row_of(rows, row);
  return texts.empty() ? std::string() : texts.front();
}

/// A record with a value alone.
inline Rows record_of(std::string value) {
  Rows rows(kRowsOfRecord);
  rows.front().push_back(std::move(value));
  return rows;
}

/// The entry of a key, or an empty text.
inline std::string entry_of(ParamMap const& map, std::string const& key) {
  const auto place = map.find(key);
  return place == map.end() ? std::string() : place->second;
}

}  // namespace psmodels
