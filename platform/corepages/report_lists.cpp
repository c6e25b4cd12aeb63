#include "platform/corepages/report_lists.h"

#include <algorithm>
#include <map>
#include <set>

#include "kdi/common/KdiText.h"
#include "kdi/cores/Explain.h"

namespace kdi::corepages {
namespace {

using cores::Origin;
using cores::Parameter;
using cores::Record;
using cores::Rule;

constexpr std::size_t kLongValue = 60;
constexpr std::size_t kMostListed = 24;

std::string number(std::size_t value) { return std::to_string(value); }

std::string code(std::string_view text, std::size_t most = kLongValue) {
  if (text.empty()) return "<code class=\"quiet\">(empty)</code>";
  return "<code>" + html_cut(text, most) + "</code>";
}

std::string const& text_of(Record const& record, std::string_view key) {
  static const std::string none;
  Record const* const found = record.find(key);
  return found == nullptr ? none : found->text();
}

std::string plural(std::size_t count, std::string const& one) {
  return number(count) + " " + one + (count == 1 ? "" : "s");
}

// ----------------------------------------------------------------------------------------------------- rules and terms

// What decided, with its values: a tree of which parts without a say are left out.
std::string terms(Record const& term, Links const& links, int depth = 0) {
  constexpr int kDeepest = 5;
  if (text_of(term, "decides") == "0" || depth > kDeepest) return "";
  std::string page =
      "<li>" + links.linked(text::shortened(text_of(term, "term"), 400)) + " = " + code(text_of(term, "value"));
  if (Record const* const parts = term.find("terms")) {
    std::string inside;
    std::size_t count = 0;
    for (Record const& part : parts->items())
      if (++count <= kMostListed) inside += terms(part, links, depth + 1);
    if (!inside.empty()) page += "<ul>" + inside + "</ul>";
  }
  return page + "</li>";
}

std::string decided_by(Record const& rule, Links const& links) {
  Record const* const whole = rule.find("terms");
  if (whole == nullptr) return "";
  if (Record const* const parts = whole->find("terms"); parts != nullptr && !parts->items().empty()) {
    std::string inside;
    for (Record const& part : parts->items()) inside += terms(part, links);
    return "<ul class=\"terms\">" + inside + "</ul>";
  }
  return "<ul class=\"terms\">" + terms(*whole, links) + "</ul>";
}

std::string rule_text(Rule const& rule, Rule::Said said, Links const& links) {
  return links.linked(rule.in_words(said)) + "<div class=\"rule\"><code>" + html(rule.written()) + "</code></div>";
}

std::string entry(std::string const& term, std::string const& words) {
  return "<dt>" + term + "</dt><dd>" + words + "</dd>";
}

// ------------------------------------------------------------------------------------------------------------ messages

std::string words_of(std::string severity) {
  std::replace(severity.begin(), severity.end(), '_', ' ');
  return severity;
}

std::string advice_text(Record const& advice, Unit const& unit) {
  std::string const& outcome = text_of(advice, "outcome");
  if (outcome == "none")
    return "<p class=\"quiet\">No change of up to three parameters clears it without a new error.</p>";
  if (outcome == "not within")
    return "<p class=\"quiet\">No advice was found within the effort of this report; "
           "<code>coretools::explain</code> looks further.</p>";
  if (outcome != "found") return "";
  std::string page = "<div class=\"advice\"><h4>What clears it</h4><ul>";
  for (Record const& change : advice.find("changes")->items()) {
    std::string const& name = text_of(change, "parameter");
    const auto parameter = unit.core().find(name);
    page += "<li>" + unit.links.link(name);
    if (parameter) page += ": " + code(unit.configuration->value(*parameter));
    page += text_of(change, "change") == "set" ? " → " + code(text_of(change, "value")) : " is taken back";
    page += "</li>";
  }
  const std::size_t moved = advice.find("moves")->items().size();
  const std::size_t changed = advice.find("changes")->items().size();
  page += "</ul><p class=\"quiet\">Tried on a copy";
  if (text_of(advice, "smallest") == "1") page += "; no fewer changes do it";
  if (moved > changed) page += "; " + plural(moved - changed, "other parameter") + " would follow";
  return page + ".</p></div>";
}

std::string condition(Notice const& notice, Unit const& unit) {
  if (notice.due.parameter == cores::Due::kNoParameter) return "";
  for (cores::Message const& message : unit.parameter(notice.due.parameter).messages())
    if (message.name == notice.due.name)
      return entry("Due while", rule_text(message.when, Rule::Said::condition, unit.links) +
                                    (notice.why ? decided_by(*notice.why->find("condition"), unit.links) : ""));
  return "";
}

std::string notice_item(Notice const& notice, Unit const& unit, Bounds const& bounds) {
  const std::string severity(cores::name_of(notice.due.severity));
  const bool has_parameter = notice.due.parameter != cores::Due::kNoParameter;
  std::string page =
      "<li class=\"notice " + severity + "\"><div><b class=\"sev " + severity + "\">" + words_of(severity) + "</b> ";
  page += has_parameter ? unit.links.link(notice.parameter) : html(notice.parameter);
  if (!unit.path.empty()) page += " <span class=\"tag\">" + html(unit.path) + "</span>";
  page += "</div><p>" + html(notice.due.text) + "</p>";
  if (notice.why && notice.is_advised)
    for (Record const& advice : notice.why->find("advice")->items()) page += advice_text(advice, unit);
  else if (notice.why)
    page += "<p class=\"quiet\">Advice was sought for the first " + number(bounds.most_advised) +
            " messages; <code>coretools::explain</code> gives it for this one.</p>";
  const std::string why = condition(notice, unit);
  if (!why.empty()) page += "<details><summary>Why</summary><dl>" + why + "</dl></details>";
  return page + "</li>\n";
}

// --------------------------------------------------------------------------------------------------------- differences

struct Difference {
  Unit const* unit;
  Row const* row;
};

std::string difference_row(Difference const& one) {
  Row const& row = *one.row;
  std::string note;
  if (row.out_of_range) note = "<b class=\"sev error\">out of range</b>";
  if (row.given && !row.enabled) note = "<span class=\"quiet\">disabled: without effect</span>";
  if (row.given && note.empty() && row.value == row.default_value) note = "<span class=\"quiet\">as the default</span>";
  return "<tr><td>" + one.unit->links.link(row.parameter->name) + "<div class=\"quiet\">" +
         html(row.parameter->display_name()) + "</div></td><td>" + code(row.value) + "</td><td>" +
         code(row.default_value) + "</td><td><span class=\"origin " + std::string(cores::word_of(row.origin)) + "\">" +
         std::string(cores::word_of(row.origin)) + "</span> " + note + "</td></tr>\n";
}

std::string difference_table(std::vector<Difference> const& all) {
  std::string page;
  std::string group;
  Unit const* unit = nullptr;
  for (Difference const& one : all) {
    if (one.unit != unit || one.row->parameter->group() != group || page.empty()) {
      unit = one.unit;
      group = one.row->parameter->group();
      page += "<tr class=\"group\"><th colspan=\"4\">" +
              html((unit->path.empty() ? "" : unit->path + " · ") + (group.empty() ? "Other" : group)) + "</th></tr>\n";
    }
    page += difference_row(one);
  }
  return "<table class=\"diff\"><thead><tr><th>Parameter</th><th>Value</th><th>Default</th><th>Origin</th></tr></thead>"
         "<tbody>\n" +
         page + "</tbody></table>\n";
}

// Rows of a group stand together, groups in the order in which they come first.
std::vector<Row const*> by_group(Unit const& unit) {
  std::map<std::string_view, std::size_t> places;
  std::vector<Row const*> rows;
  for (Row const& row : unit.rows) {
    places.try_emplace(row.parameter->group(), places.size());
    rows.push_back(&row);
  }
  std::stable_sort(rows.begin(), rows.end(), [&](Row const* a, Row const* b) {
    return places[a->parameter->group()] < places[b->parameter->group()];
  });
  return rows;
}

// ---------------------------------------------------------------------------------------------------------- parameters

std::string range_words(Record const& range, std::size_t most) {
  std::string const& kind = text_of(range, "kind");
  auto const& values = range.find("values")->items();
  if (kind == "any") return "";
  if (kind == "limits" && values.size() == 2) return values[0].text() + " to " + values[1].text();
  std::string words;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i == most) return words + ", … (" + number(values.size()) + ")";
    words += (i > 0 ? ", " : "") + (values[i].text().empty() ? std::string("(empty)") : values[i].text());
  }
  return words;
}

std::string names_of(Record const& list, std::string_view key, Links const& links, cores::Core const& core,
                     std::string const& own) {
  std::set<std::string> seen;
  std::string page;
  for (Record const& one : list.items()) {
    std::string const& name = text_of(one, key);
    if (name == own || !seen.insert(name).second) continue;
    if (seen.size() > kMostListed) continue;
    page += (page.empty() ? "" : ", ") + (core.find(name) ? links.link(name) : links.linked(name));
  }
  if (seen.size() > kMostListed) page += " and " + number(seen.size() - kMostListed) + " more";
  return page;
}

std::string details(Row const& row, Unit const& unit) {
  Parameter const& parameter = *row.parameter;
  Links const& links = unit.links;
  std::string page;
  if (!parameter.description().empty()) page += "<p>" + html(parameter.description()) + "</p>";
  page += "<dl>";
  if (html_cut(row.value, kLongValue) != html(row.value))
    page += entry("Value", "<code>" + html(text::shortened(row.value, 4000)) + "</code>");
  page +=
      entry("Default", code(row.default_value, 400) + " <span class=\"quiet\">" + parameter.type.text() + "</span>");
  if (std::string const& backup = text_of(row.why, "backup"); backup != row.value)
    page += entry("While disabled", "keeps " + code(backup, 400));
  if (parameter.enabled)
    page += entry(row.enabled ? "Enabled, since" : "Disabled; it needs",
                  rule_text(*parameter.enabled, Rule::Said::condition, links) +
                      (row.enabled ? "" : decided_by(*row.why.find("enabled")->find("rule"), links)));
  Record const& range = *row.why.find("range");
  if (const std::string words = range_words(range, 64); !words.empty()) page += entry("Permitted", html(words));
  if (parameter.range)
    page += entry("Range rule",
                  rule_text(*parameter.range,
                            parameter.widget == cores::Widget::edit ? Rule::Said::limits : Rule::Said::value, links));
  if (parameter.derived) page += entry("Value rule", rule_text(*parameter.derived, Rule::Said::value, links));
  if (parameter.search)
    page += entry("Searched", "with the " + std::string(unit.core().searches()[*parameter.search]->name()));
  std::string read;
  std::size_t count = 0;
  for (Record const& one : row.why.find("depends_on")->items())
    if (++count <= kMostListed)
      read += (read.empty() ? "" : ", ") + links.linked(text_of(one, "term")) + " = " + code(text_of(one, "value"), 30);
  if (count > kMostListed) read += " and " + number(count - kMostListed) + " more";
  if (!read.empty()) page += entry("Depends on", read);
  const std::string readers = names_of(*row.why.find("dependants"), "name", links, unit.core(), parameter.name);
  if (!readers.empty()) page += entry("Read by", readers);
  if (!parameter.user_names().empty()) page += entry("Also called", html(text::joined(parameter.user_names(), ", ")));
  return page + "</dl>";
}

std::string parameter_item(Row const& row, Unit const& unit) {
  Parameter const& parameter = *row.parameter;
  const std::string origin(cores::word_of(row.origin));
  std::string kinds = row.enabled ? "on" : "off";
  if (row.differs) kinds += " changed";
  if (row.given) kinds += " given";
  if (row.out_of_range) kinds += " bad";
  const std::string also = parameter.user_names().empty()
                               ? std::string()
                               : " data-also=\"" + html(text::joined(parameter.user_names(), " ")) + "\"";
  std::string state = row.out_of_range ? "<b class=\"sev error\">out of range</b>" : "";
  if (!row.enabled) state += "<span class=\"tag\">disabled</span>";
  if (row.origin != Origin::default_value) state += " <span class=\"origin " + origin + "\">" + origin + "</span>";
  return "<li id=\"" + unit.links.id(parameter.name) + "\" class=\"" + kinds + "\"" + also +
         "><details><summary><span class=\"n\"><b>" + html(parameter.name) + "</b><i>" +
         html(parameter.display_name()) + "</i></span><span class=\"v\">" + code(row.value, 40) +
         "</span><span class=\"r\">" + html(range_words(*row.why.find("range"), 4)) + "</span><span class=\"s\">" +
         state + "</span></summary><div class=\"why\">" + details(row, unit) + "</div></details></li>\n";
}

}  // namespace

std::string unit_title(Unit const& unit) {
  return unit.path.empty() ? std::string() : unit.path + " (" + unit.core().name() + " " + unit.core().version() + ")";
}

std::string message_list(std::vector<Unit> const& units, Bounds const& bounds) {
  std::string page;
  using cores::Severity;
  for (const Severity severity : {Severity::error, Severity::critical_warning, Severity::warning, Severity::info})
    for (Unit const& unit : units)
      for (Notice const& notice : unit.notices)
        if (notice.due.severity == severity) page += notice_item(notice, unit, bounds);
  return page.empty() ? "<p class=\"good\">No message is due.</p>\n" : "<ul class=\"notices\">\n" + page + "</ul>\n";
}

std::string difference_list(std::vector<Unit> const& units) {
  std::vector<Difference> given, followed;
  for (Unit const& unit : units)
    for (Row const* const row : by_group(unit))
      if (row->differs) (row->given ? given : followed).push_back({&unit, row});
  std::string page;
  page += given.empty()
              ? "<p>Nothing was given: every parameter is what its core makes of it.</p>\n"
              : "<h3>Given <span class=\"count\">" + number(given.size()) + "</span></h3>\n" + difference_table(given);
  if (!followed.empty())
    page += "<details class=\"block\"><summary><h3>What followed from it, and from the device <span class=\"count\">" +
            number(followed.size()) + "</span></h3></summary>\n" + difference_table(followed) + "</details>\n";
  return page;
}

std::string parameter_list(std::vector<Unit> const& units) {
  std::string options, list;
  for (Unit const& unit : units) {
    std::string group;
    bool is_open = false;
    for (Row const* const row : by_group(unit)) {
      if (!is_open || row->parameter->group() != group) {
        group = row->parameter->group();
        const std::string title = (unit.path.empty() ? "" : unit.path + " · ") + (group.empty() ? "Other" : group);
        list += std::string(is_open ? "</ul></section>\n" : "") + "<section class=\"pgroup\" data-g=\"" + html(title) +
                "\"><h3>" + html(title) + "</h3><ul class=\"params\">\n";
        options += "<option>" + html(title) + "</option>";
        is_open = true;
      }
      list += parameter_item(*row, unit);
    }
    if (is_open) list += "</ul></section>\n";
  }
  return "<form class=\"find\" id=\"find\"><label>Search <input type=\"search\" id=\"q\" autocomplete=\"off\" "
         "placeholder=\"name, description, value\"></label><label>Group <select id=\"g\"><option "
         "value=\"\">all</option>" +
         options +
         "</select></label><label>State <select id=\"k\"><option value=\"\">all</option><option "
         "value=\"changed\">differs "
         "from default</option><option value=\"given\">given</option><option value=\"on\">enabled</option><option "
         "value=\"off\">disabled</option><option value=\"bad\">out of range</option></select></label><output "
         "id=\"hits\" "
         "aria-live=\"polite\"></output><button type=\"reset\">Show all</button></form>\n<noscript><p "
         "class=\"quiet\">Search "
         "and filters need scripts; the list itself does not.</p></noscript>\n<div id=\"list\">\n" +
         list + "</div>\n";
}

}  // namespace kdi::corepages
