#include <algorithm>
#include <set>
#include <string_view>
#include <vector>

#include "kdi/common/KdiJsonText.h"
#include "kdi/common/KdiText.h"
#include "kdi/corepages/ExplanationText.h"
#include "platform/corepages/markup.h"

namespace kdi::corepages {
namespace {

using cores::Record;

constexpr std::size_t kLongest = 2000;  // of one text, in bytes

std::string const& text_of(Record const& record, std::string_view key) {
  static const std::string none;
  Record const* const found = record.find(key);
  return found == nullptr ? none : found->text();
}

std::vector<Record> const& list_of(Record const& record, std::string_view key) {
  static const std::vector<Record> none;
  Record const* const found = record.find(key);
  return found == nullptr ? none : found->items();
}

// Lines that are wrapped, with what follows a wrap a little further in.
class Lines {
 public:
  explicit Lines(std::size_t width) : width_(std::max(width, kLeastWidth)) {}

  void add(std::size_t indent, std::string_view words) {
    const std::string all = text::printable(text::as_utf8(text::shortened(words, kLongest)));
    std::string line(indent, ' ');
    std::size_t length = indent;
    bool is_first = true;
    for (std::string_view const word : text::words(all, " \n")) {
      const std::size_t size = characters(word);
      if (!is_first && length + 1 + size > width_) {
        text_ += line + "\n";
        line.assign(indent + 2, ' ');
        length = indent + 2;
        is_first = true;
      }
      if (!is_first) {
        line += ' ';
        ++length;
      }
      line += word;
      length += size;
      is_first = false;
    }
    text_ += line + "\n";
  }
  void gap() { text_ += "\n"; }
  std::string const& text() const { return text_; }

 private:
  std::size_t width_;
  std::string text_;
};

std::string shown(std::string const& value) { return value.empty() ? "(empty)" : value; }

class Teller {
 public:
  explicit Teller(std::size_t width) : lines_(width) {}

  std::string parameter(Record const& record) {
    lines_.add(0, text_of(record, "parameter") + named(record));
    if (!text_of(record, "description").empty()) lines_.add(2, text_of(record, "description"));
    std::string value = "value " + shown(text_of(record, "value")) + ", from " + origin(text_of(record, "origin"));
    if (text_of(record, "backup") != text_of(record, "value"))
      value += "; behind it " + shown(text_of(record, "backup"));
    lines_.add(2, value);
    lines_.add(2, "default " + shown(text_of(record, "default")) + ", type " + text_of(record, "type"));
    rule("value by the rule", *record.find("rule"), 2);
    Record const& enabled = *record.find("enabled");
    const bool is_enabled = text_of(enabled, "state") == "1";
    if (enabled.find("rule")->keys().empty())
      lines_.add(2, "always enabled");
    else
      rule(is_enabled ? "enabled, since" : "disabled, for this does not hold", *enabled.find("rule"), 2);
    range(*record.find("range"));
    for (Record const& advice : list_of(record, "advice")) tell(advice, 2);
    for (Record const& due : list_of(record, "messages")) {
      lines_.gap();
      message(due);
    }
    terms("depends on", list_of(record, "depends_on"));
    dependants(list_of(record, "dependants"));
    return lines_.text();
  }

  std::string whole_message(Record const& record) {
    message(record);
    return lines_.text();
  }

 private:
  static std::string named(Record const& record) {
    std::string const& name = text_of(record, "display_name");
    return name.empty() ? "" : " (" + name + ")";
  }

  static std::string origin(std::string const& word) {
    if (word == "default") return "the default";
    return (word == "search" || word == "rule" || word == "preset" || word == "board" || word == "user" ? "the " : "") +
           word;
  }

  void range(Record const& record) {
    std::string const& kind = text_of(record, "kind");
    auto const& values = list_of(record, "values");
    if (kind == "limits" && values.size() == 2) {
      lines_.add(2, "permitted: " + values[0].text() + " to " + values[1].text());
    } else if (kind == "values") {
      std::vector<std::string> all;
      for (Record const& one : values) all.push_back(shown(one.text()));
      lines_.add(2, "permitted: " + text::joined(all, ", "));
    }
    if (text_of(record, "permits") == "0") lines_.add(2, "its value is out of this range");
    if (Record const* const by = record.find("rule")) rule("range by the rule", *by, 2);
  }

  // A rule with what decides in it.
  void rule(std::string const& what, Record const& record, std::size_t indent) {
    Record const* const whole = record.find("terms");
    if (whole == nullptr) return;
    lines_.add(indent, what + ": " + text_of(record, "text"));
    auto const& parts = list_of(*whole, "terms");
    if (parts.empty()) {
      lines_.add(indent + 2, text_of(*whole, "term") + " = " + shown(text_of(*whole, "value")));
      return;
    }
    for (Record const& part : parts) term(part, indent + 2, 0);
  }

  void term(Record const& record, std::size_t indent, int depth) {
    constexpr int kDeepest = 6;
    if (text_of(record, "decides") == "0" || depth > kDeepest) return;
    lines_.add(indent, text_of(record, "term") + " = " + shown(text_of(record, "value")));
    for (Record const& part : list_of(record, "terms")) term(part, indent + 2, depth + 1);
  }

  void terms(std::string const& what, std::vector<Record> const& all) {
    if (all.empty()) return;
    lines_.gap();
    lines_.add(0, what);
    for (Record const& one : all) lines_.add(2, text_of(one, "term") + " = " + shown(text_of(one, "value")));
  }

  void dependants(std::vector<Record> const& all) {
    if (all.empty()) return;
    lines_.gap();
    lines_.add(0, "what depends on it");
    for (std::string_view const of : {"value", "enabled", "range", "message", "definition", "search"}) {
      std::vector<std::string> names;
      std::set<std::string> seen;
      for (Record const& one : all)
        if (text_of(one, "of") == of && seen.insert(text_of(one, "name")).second) names.push_back(text_of(one, "name"));
      if (!names.empty()) lines_.add(2, std::string(of) + ": " + text::joined(names, ", "));
    }
  }

  void message(Record const& record) {
    std::string severity = text_of(record, "severity");
    std::replace(severity.begin(), severity.end(), '_', ' ');
    const bool is_due = text_of(record, "due") == "1";
    lines_.add(0, severity + " " + text_of(record, "parameter") + " " + text_of(record, "message") +
                      (is_due ? ": " + text_of(record, "text") : ", not due"));
    if (Record const* const condition = record.find("condition"); condition != nullptr) {
      if (condition->find("search") != nullptr) {
        lines_.add(2, "told by the search of " + text_of(*condition, "search"));
      } else if (condition->find("terms") != nullptr) {
        rule(is_due ? "due, since" : "it would be due by", *condition, 2);
      }
    }
    for (Record const& advice : list_of(record, "advice")) tell(advice, 2);
  }

  void tell(Record const& advice, std::size_t indent) {
    std::string const& wish = text_of(advice, "wish");
    const std::string what = wish == "enabled"     ? "what would enable it"
                             : wish == "permitted" ? "what would permit its value"
                                                   : "what would clear it";
    std::string const& outcome = text_of(advice, "outcome");
    if (outcome == "none") lines_.add(indent, what + ": no change of up to three parameters");
    if (outcome == "not within") lines_.add(indent, what + ": nothing was found within the effort");
    if (outcome != "found") return;
    lines_.add(indent, what + ":");
    for (Record const& change : list_of(advice, "changes"))
      lines_.add(indent + 2, text_of(change, "change") == "set"
                                 ? "set " + text_of(change, "parameter") + " to " + shown(text_of(change, "value"))
                                 : "take " + text_of(change, "parameter") + " back");
    const std::size_t moves = list_of(advice, "moves").size();
    lines_.add(indent + 2, "(tried on a copy; it moves " + std::to_string(moves) +
                               (moves == 1 ? " parameter" : " parameters") +
                               (text_of(advice, "smallest") == "1" ? ", and no fewer changes do it)" : ")"));
  }

  Lines lines_;
};

}  // namespace

std::string explanation_text(Record const& record, std::size_t width) {
  Teller teller(width);
  return record.find("value") != nullptr ? teller.parameter(record) : teller.whole_message(record);
}

}  // namespace kdi::corepages
