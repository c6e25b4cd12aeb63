// Tables of pins as comma-separated values.
#include <algorithm>
#include <map>
#include <optional>
#include <set>

#include "kdi/common/KdiText.h"
#include "kdi/planning/Board.h"

namespace kdi::planning {
namespace {

constexpr std::size_t kMostPins = 100000;
constexpr std::size_t kLongestField = 1000;

[[noreturn]] void refuse(std::string const& name, int line, std::string const& field, std::string const& reason) {
  throw name + ":" + std::to_string(line) + ": " + (field.empty() ? "" : field + ": ") + reason;
}

// Reads records; a field in quotes may have separators, line ends and doubled quotes in it.
class Records {
 public:
  Records(std::string_view text, std::string const& name) : text_(text), name_(name) {
    if (text_.starts_with("\xEF\xBB\xBF")) text_.remove_prefix(3);
    const std::string_view first = text_.substr(0, text_.find('\n'));
    for (const char one : {',', ';', '\t'})
      if (first.find(one) != std::string_view::npos) {
        separator_ = one;
        break;
      }
  }

  bool at_end() const { return text_.empty(); }
  int line() const { return line_; }  ///< of the record that was read last

  std::vector<std::string> next() {
    line_ = next_line_;
    std::vector<std::string> fields;
    do {
      fields.push_back(field());
    } while (took(separator_));
    if (text_.starts_with("\r\n")) text_.remove_prefix(1);
    if (!text_.empty() && !took('\n')) refuse(name_, next_line_, "", "there is more behind a field in quotes");
    ++next_line_;
    return fields;
  }

 private:
  bool took(char c) {
    if (!text_.starts_with(c)) return false;
    text_.remove_prefix(1);
    return true;
  }

  std::string field() {
    std::string value;
    if (took('"')) {
      value = quoted();
    } else {
      const char ends[] = {separator_, '\n', '\0'};
      value = std::string(text::trimmed(text_.substr(0, text_.find_first_of(ends))));
      text_.remove_prefix(std::min(text_.size(), text_.find_first_of(ends)));
    }
    if (value.size() > kLongestField) refuse(name_, line_, "", "a field is longer than 1000 bytes");
    if (std::any_of(value.begin(), value.end(), text::is_control))
      refuse(name_, line_, "", "a field has a control character");
    return value;
  }

  std::string quoted() {
    std::string value;
    for (;;) {
      const std::size_t end = text_.find('"');
      if (end == std::string_view::npos) refuse(name_, line_, "", "quotes without an end");
      value += text_.substr(0, end);
      next_line_ += static_cast<int>(std::count(text_.begin(), text_.begin() + static_cast<std::ptrdiff_t>(end), '\n'));
      text_.remove_prefix(end + 1);
      if (!took('"')) return value;
      value += '"';
    }
  }

  std::string_view text_;
  std::string const& name_;
  char separator_ = ',';
  int line_ = 0, next_line_ = 1;
};

constexpr char const* kColumns[] = {"signal", "ball", "standard", "direction", "by", "component"};

std::string column_of(std::string const& heading) {
  static constexpr std::pair<char const*, char const*> kOthers[] = {{"net", "signal"},    {"port", "signal"},
                                                                    {"name", "signal"},   {"pin", "ball"},
                                                                    {"ref", "component"}, {"refdes", "component"}};
  const std::string word = text::lowered(heading);
  for (char const* const one : kColumns)
    if (word == one) return one;
  for (auto const& [other, column] : kOthers)
    if (word == other) return column;
  return {};
}

using Columns = std::map<std::string, std::size_t>;

Columns read_heading(std::vector<std::string> const& fields, std::string const& name, bool needs_component) {
  Columns columns;
  for (std::size_t i = 0; i < fields.size(); ++i)
    if (const std::string column = column_of(fields[i]); !column.empty())
      columns.emplace(column, i);  // the first of a name counts: tables of plans have more behind
  for (char const* const needed : {"signal", "ball"})
    if (!columns.contains(needed)) refuse(name, 1, needed, "the heading has no such column");
  if (needs_component && !columns.contains("component")) refuse(name, 1, "component", "the heading has no such column");
  return columns;
}

PinRow read_row(std::vector<std::string> const& fields, Columns const& columns, std::string const& name, int line) {
  const auto field = [&](char const* column) {
    const auto at = columns.find(column);
    return at == columns.end() || at->second >= fields.size() ? std::string() : fields[at->second];
  };
  PinRow row{
      line,       field("signal"), text::uppered(field("ball")), field("standard"), text::lowered(field("direction")),
      field("by")};
  if (row.signal.empty()) refuse(name, line, "signal", "is missing");
  if (row.ball.empty()) refuse(name, line, "ball", "is missing");
  if (!std::all_of(row.ball.begin(), row.ball.end(), text::is_letter_or_digit))
    refuse(name, line, "ball", text::shown(row.ball) + " is none");
  if (!row.direction.empty() && row.direction != "in" && row.direction != "out" && row.direction != "inout")
    refuse(name, line, "direction", text::shown(row.direction) + " is none of in, out, inout");
  return row;
}

// A name by which a signal is known: small letters and digits, without what surrounds an index.
std::string plain_name(std::string_view name) {
  std::string plain;
  bool in_index = false;
  for (const char c : text::lowered(name)) {
    if (text::is_letter_or_digit(c))
      plain += c;
    else if (c == '[' || c == '<' || c == '(')
      in_index = true;
    else if (c != ']' && c != '>' && c != ')' && !in_index)
      plain += '_';
  }
  return plain;
}

// All names of the signals: whole, without `c0_`, without the memory's prefix. Of two signals none has a name that both
// would have.
std::map<std::string, int> names_of(Interface const& interface) {
  std::map<std::string, int> names;
  for (std::size_t i = 0; i < interface.signals.size(); ++i) {
    std::string name = plain_name(interface.signals[i].name);
    for (int cut = 0; cut < 3; ++cut) {
      const auto [at, is_new] = names.emplace(name, static_cast<int>(i));
      if (!is_new && at->second != static_cast<int>(i)) at->second = -1;
      const std::size_t end = name.find('_');
      if (end == std::string::npos || interface.signals[i].unit == Signal::kSystem) break;
      name.erase(0, end + 1);
    }
  }
  return names;
}

}  // namespace

std::vector<PinRow> read_pin_table(std::string_view text, std::string const& name, std::string const& component) {
  Records records(text, name);
  if (records.at_end()) refuse(name, 1, "", "the table is empty");
  const Columns columns = read_heading(records.next(), name, !component.empty());
  std::vector<PinRow> rows;
  std::map<std::string, int> line_of;
  while (!records.at_end()) {
    const std::vector<std::string> fields = records.next();
    if (fields.size() == 1 && (fields[0].empty() || fields[0].starts_with('#'))) continue;
    if (!component.empty()) {
      const std::size_t at = columns.at("component");
      if (at >= fields.size() || fields[at] != component) continue;
    }
    if (rows.size() == kMostPins) refuse(name, records.line(), "", "there are more than 100000 pins");
    rows.push_back(read_row(fields, columns, name, records.line()));
    const auto [at, is_new] = line_of.emplace(rows.back().ball, records.line());
    if (!is_new)
      refuse(name, records.line(), "ball",
             rows.back().ball + " stands in line " + std::to_string(at->second) + " already");
  }
  return rows;
}

std::vector<TakenPad> taken_by_rows(Layout const& layout, std::vector<PinRow> const& rows) {
  std::map<std::string_view, int> pad_of_ball;
  for (std::size_t pad = 0; pad < layout.pads.size(); ++pad)
    if (!layout.pads[pad].ball.empty()) pad_of_ball.emplace(layout.pads[pad].ball, static_cast<int>(pad));
  std::vector<TakenPad> taken;
  for (PinRow const& row : rows)
    if (const auto pad = pad_of_ball.find(row.ball); pad != pad_of_ball.end())
      taken.push_back({pad->second, row.by.empty() ? row.signal : row.by, row.standard, row.direction != "out", false});
  return taken;
}

BoardPins pins_of_rows(Layout const& layout, Interface const& interface, std::vector<PinRow> const& rows) {
  const std::map<std::string, int> names = names_of(interface);
  BoardPins pins;
  pins.pad_of_signal.assign(interface.signals.size(), -1);
  std::vector<PinRow> others;
  for (PinRow const& row : rows) {
    const auto name = names.find(plain_name(row.signal));
    if (name == names.end() || name->second < 0) {
      others.push_back(row);
      continue;
    }
    int& pad = pins.pad_of_signal[static_cast<std::size_t>(name->second)];
    std::string const& signal = interface.signals[static_cast<std::size_t>(name->second)].name;
    if (pad >= 0) throw "line " + std::to_string(row.line) + ": " + signal + " has a pin already";
    pad = layout.pad_of_ball(row.ball);
    if (pad < 0)
      throw "line " + std::to_string(row.line) + ": " + signal + " is on " + row.ball +
          ", which is no pin of an I/O bank";
  }
  pins.others = taken_by_rows(layout, others);
  return pins;
}

}  // namespace kdi::planning
