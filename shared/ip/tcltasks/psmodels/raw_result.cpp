#include "tcltasks/psmodels/raw_result.h"

StrVec const& psmodels::row_of(Rows const& rows, Row row) {
  static auto const& kNone = *new StrVec;  // never destroyed: threads may ask while the process ends
  const auto index = static_cast<std::size_t>(row);
  return index < rows.size() ? rows[index] : kNone;
}
