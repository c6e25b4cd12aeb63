#include "kdi/corepages/Report.h"

#include <array>

#include "kdi/cores/Explain.h"
#include "platform/corepages/page_parts.h"
#include "platform/corepages/pictures.h"
#include "platform/corepages/report_lists.h"
#include "platform/corepages/subject.h"

namespace kdi::corepages {
namespace {

std::string number(std::size_t value) { return std::to_string(value); }

// A figure at the head of the page, which leads to its section.
std::string tile(std::string const& to, std::string const& figure, std::string const& words, bool is_bad = false) {
  return "<a class=\"tile" + std::string(is_bad ? " bad" : "") + "\" href=\"#" + to + "\"><b>" + figure + "</b><span>" +
         words + "</span></a>\n";
}

struct Totals {
  std::size_t parameters = 0, given = 0, differ = 0;
  std::array<std::size_t, 4> messages{};  // by severity
  PadCount pads{0, 0, 0};
  ClockCount clocks{0, 0};
  bool has_pads = false, has_clocks = false;
};

Totals totals_of(std::vector<Unit> const& units, Bounds const& bounds) {
  Totals all;
  for (Unit const& unit : units) {
    all.parameters += unit.rows.size();
    for (Row const& row : unit.rows) {
      all.given += row.given ? 1 : 0;
      all.differ += row.differs ? 1 : 0;
    }
    for (Notice const& notice : unit.notices) ++all.messages[static_cast<std::size_t>(notice.due.severity)];
    if (unit.pad_findings != nullptr) {
      const PadCount pads = count_pads(unit);
      all.pads = {all.pads.all + pads.all, all.pads.used + pads.used, all.pads.conflicting + pads.conflicting};
      all.has_pads = true;
    }
    if (unit.clock_findings != nullptr) {
      const ClockCount clocks = count_clocks(unit, bounds.most_ppm);
      all.clocks = {all.clocks.running + clocks.running, all.clocks.marked + clocks.marked};
      all.has_clocks = true;
    }
  }
  return all;
}

std::string tiles(Totals const& totals) {
  const std::size_t errors = totals.messages[3];
  const std::size_t warnings = totals.messages[1] + totals.messages[2];
  std::string page = "<nav class=\"tiles\" aria-label=\"Sections\">\n";
  page += tile("messages", number(errors), errors == 1 ? "error" : "errors", errors > 0);
  page += tile("messages", number(warnings),
               (warnings == 1 ? "warning, " : "warnings, ") + number(totals.messages[0]) + " for information");
  page += tile("differences", number(totals.given), "given, " + number(totals.differ - totals.given) + " followed");
  if (totals.has_pads) {
    const bool is_bad = totals.pads.conflicting > 0;
    page += tile("pads", number(totals.pads.used) + "<small> / " + number(totals.pads.all) + "</small>",
                 "pads used" + (is_bad ? ", " + number(totals.pads.conflicting) + " in conflict" : ""), is_bad);
  }
  if (totals.has_clocks) {
    const bool is_bad = totals.clocks.marked > 0;
    page += tile("clocks", number(totals.clocks.running),
                 "clocks" + (is_bad ? ", " + number(totals.clocks.marked) + " marked" : std::string()), is_bad);
  }
  page += tile("parameters", number(totals.parameters), "parameters");
  return page + "</nav>\n";
}

std::string section(std::string const& id, std::string const& title, std::string const& inside) {
  return "<section id=\"" + id + "\"><h2>" + title + "</h2>\n" + inside + "</section>\n";
}

// The pictures of all cores that have one.
template <class Draw>
std::string pictures(std::vector<Unit> const& units, Draw draw) {
  std::string page;
  for (Unit const& unit : units) {
    const std::string picture = draw(unit);
    if (picture.empty()) continue;
    if (!unit.path.empty()) page += "<h3>" + html(unit_title(unit)) + "</h3>\n";
    page += picture;
  }
  return page;
}

std::string head(std::string const& title) {
  return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<meta "
         "http-equiv=\"Content-Security-Policy\" "
         "content=\"default-src 'none'; style-src 'unsafe-inline'; script-src 'unsafe-inline'\">\n<meta "
         "name=\"viewport\" "
         "content=\"width=device-width, initial-scale=1\">\n<meta name=\"color-scheme\" content=\"light "
         "dark\">\n<title>" +
         title + "</title>\n<style>\n" + std::string(kReportStyle) + "</style>\n</head>\n";
}

}  // namespace

std::string report(cores::Configuration& configuration, Heading const& heading, Bounds const& bounds) {
  const std::vector<Unit> units = units_of(configuration, bounds);
  const Totals totals = totals_of(units, bounds);
  cores::Core const& core = configuration.core();
  const std::string title = html(heading.title.empty() ? core.name() + " " + core.version() : heading.title);

  std::string page = head(title) + "<body>\n<header><h1>" + title + "</h1>\n<dl class=\"facts\">";
  page += "<div><dt>Core</dt><dd>" + html(core.name() + " " + core.version()) + "</dd></div>";
  for (auto const& [name, value] : heading.facts)
    page += "<div><dt>" + html(name) + "</dt><dd>" + html(value) + "</dd></div>";
  page += "</dl>\n" + tiles(totals) + "</header>\n<main>\n";
  page += section("messages", "Messages", message_list(units, bounds));
  page += section("differences", "What differs from the defaults", difference_list(units));
  if (totals.has_pads)
    page += section("pads", "Pads", pictures(units, [](Unit const& unit) {
                      return unit.pad_findings == nullptr ? std::string() : pad_picture(unit);
                    }));
  if (totals.has_clocks)
    page += section(
        "clocks", "Clocks",
        "<p class=\"quiet\">Frequencies in MHz. Marked (⚠) is what cannot be made, runs above its limit, or is "
        "more than " +
            bounds.most_ppm.text() + " ppm from what is requested.</p>\n" + pictures(units, [&](Unit const& unit) {
              return unit.clock_findings == nullptr ? std::string() : clock_picture(unit, bounds.most_ppm);
            }));
  page += section("parameters", "All parameters", parameter_list(units));
  page += "</main>\n";
  if (totals.has_pads)  // for all pictures of pads
    page +=
        "<svg width=\"0\" height=\"0\" style=\"position:absolute\" aria-hidden=\"true\"><defs><pattern id=\"hatch\" "
        "width=\"8\" height=\"8\" patternUnits=\"userSpaceOnUse\" patternTransform=\"rotate(45)\"><path d=\"M0 0V8\"/>"
        "</pattern></defs></svg>\n";
  page += "<div id=\"tip\" role=\"status\" hidden></div>\n<script>\n";
  return page.append(kReportScript) + "</script>\n</body>\n</html>\n";
}

}  // namespace kdi::corepages
