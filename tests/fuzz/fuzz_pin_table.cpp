// Fuzzes the reader of tables of pins by the text of the file; the first byte says whether one component is asked for.
// Beside not crashing, the reader has to keep its word: an error names file and line, and rows that were taken read
// back the same from a table that is made of them.
#include <algorithm>
#include <cstdint>
#include <set>
#include <string>

#include "kdi/planning/Board.h"
#include "tests/fuzz/require.h"

namespace {

using fuzz::require;
using kdi::planning::PinRow;

std::string quoted(std::string const& text) {
  std::string all = "\"";
  for (const char c : text) all += c == '"' ? std::string("\"\"") : std::string(1, c);
  return all + "\"";
}

void check_rows(std::vector<PinRow> const& rows) {
  std::string table = "signal,ball,standard,direction,by\n";
  std::set<std::string> balls;
  for (PinRow const& row : rows) {
    require(!row.signal.empty() && !row.ball.empty() && balls.insert(row.ball).second, "rows with names and balls");
    for (std::string const* const field : {&row.signal, &row.ball, &row.standard, &row.direction, &row.by})
      table += quoted(*field) + (field == &row.by ? "\n" : ",");
  }
  const std::vector<PinRow> again = kdi::planning::read_pin_table(table, "f", {});
  require(again.size() == rows.size(), "as many rows");
  for (std::size_t i = 0; i < rows.size(); ++i)
    require(again[i].signal == rows[i].signal && again[i].ball == rows[i].ball &&
                again[i].standard == rows[i].standard && again[i].direction == rows[i].direction &&
                again[i].by == rows[i].by,
            "the same rows");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size == 0 || size > 65536) return 0;
  const std::string text(reinterpret_cast<char const*>(data + 1), size - 1);
  try {
    check_rows(kdi::planning::read_pin_table(text, "f", data[0] % 2 == 0 ? "" : "U1"));
  } catch (std::string const& fault) {
    require(fault.starts_with("f:") && fault.find(": ") != std::string::npos, "a fault with its line");
  }
  return 0;
}
