#include "host/schedule_report.h"

#include <algorithm>
#include <map>

#include "kdi/common/KdiNumber.h"

namespace host {
namespace {

// ------------------------------------------------------------------------------------------------------- text

using kdi::number::fixed;

std::string escaped(std::string const& text) {
  std::string safe;
  for (char c : text) {
    switch (c) {
      case '&':
        safe += "&amp;";
        break;
      case '<':
        safe += "&lt;";
        break;
      case '>':
        safe += "&gt;";
        break;
      case '"':
        safe += "&quot;";
        break;
      default:
        safe += c;
    }
  }
  return safe;
}

// A picture is as wide as the window, but not so narrow that its numbers cannot be read: it then moves sideways.
constexpr double kLeastWidth = 640;

class Svg {
 public:
  Svg(double width, double height, char const* label)
      : text_("<div class=\"wide\"><svg viewBox=\"0 0 " + fixed(width, 0) + " " + fixed(height, 0) + "\" width=\"" +
              fixed(width, 0) + "\" style=\"min-width:" + fixed(std::min(width, kLeastWidth), 0) +
              "px\" role=\"img\" aria-label=\"" + label + "\">\n") {}

  void rect(double x, double y, double w, double h, char const* kind, std::string const& title = {},
            std::string const& style = {}) {
    text_ += "<rect class=\"" + std::string(kind) + "\" x=\"" + fixed(x, 2) + "\" y=\"" + fixed(y, 2) + "\" width=\"" +
             fixed(std::max(w, 0.4), 2) + "\" height=\"" + fixed(h, 2) + "\"" +
             (style.empty() ? "" : " style=\"" + style + "\"") +
             (title.empty() ? "/>\n" : "><title>" + title + "</title></rect>\n");
  }
  void line(double x1, double y1, double x2, double y2, char const* kind) {
    text_ += "<line class=\"" + std::string(kind) + "\" x1=\"" + fixed(x1, 2) + "\" y1=\"" + fixed(y1, 2) + "\" x2=\"" +
             fixed(x2, 2) + "\" y2=\"" + fixed(y2, 2) + "\"/>\n";
  }
  void label(double x, double y, char const* kind, std::string const& words) {
    text_ += "<text class=\"" + std::string(kind) + "\" x=\"" + fixed(x, 2) + "\" y=\"" + fixed(y, 2) + "\">" + words +
             "</text>\n";
  }
  std::string finish() && { return std::move(text_) + "</svg></div>\n"; }

 private:
  std::string text_;
};

constexpr char const* kStyle = R"(
:root { --ink: #1b2430; --quiet: #5c6878; --rule: #d5dbe3; --work: #2f6db3; --stall: #d9822b; --update: #7b8fa6; --parity: #2f8f6b; --added: #8a5fb5; }
* { box-sizing: border-box; }
body { font: 15px/1.5 "Helvetica Neue", Helvetica, Arial, sans-serif; color: var(--ink); background: #fff; max-width: 1080px; margin: 2.5rem auto; padding: 0 1.5rem; }
h1 { font-size: 1.7rem; margin: 0 0 .2rem; } h2 { font-size: 1.15rem; margin: 2.4rem 0 .5rem; }
p.lead { color: var(--quiet); margin: 0 0 1.4rem; }
.figures { display: grid; grid-template-columns: repeat(auto-fit, minmax(150px, 1fr)); gap: 1px; padding: 1px; }
.figures div { box-shadow: 0 0 0 1px var(--rule); padding: .65rem .8rem; } .figures b { display: block; font-size: 1.3rem; font-weight: 600; font-variant-numeric: tabular-nums; } .figures span { color: var(--quiet); font-size: .82rem; }
svg { display: block; max-width: 100%; height: auto; } svg text { font-size: 10px; fill: var(--quiet); } text.end { text-anchor: end; } text.mid { text-anchor: middle; }
line { stroke: var(--rule); stroke-width: 1; } line.strong { stroke: #9aa6b5; }
rect.frame { fill: #fafbfc; stroke: var(--rule); } rect.info { fill: var(--work); } rect.parity { fill: var(--parity); } rect.added { fill: var(--added); } rect.work { fill: var(--work); } rect.stall { fill: var(--stall); } rect.update { fill: var(--update); opacity: .55; } rect.band { fill: #f5f7f9; } rect.out { fill: none; stroke: #b3361e; stroke-width: 1.5; pointer-events: none; }
.key { color: var(--quiet); font-size: .85rem; margin: .3rem 0 .8rem; } .key i { display: inline-block; width: .8em; height: .8em; margin: 0 .35em 0 1.1em; vertical-align: -.05em; } .key i:first-child { margin-left: 0; } .key i.out { border: 2px solid #b3361e; }
.wide { overflow-x: auto; }
table { border-collapse: collapse; font-size: .85rem; font-variant-numeric: tabular-nums; width: 100%; } th { text-align: right; font-weight: 600; border-bottom: 2px solid var(--ink); padding: .25rem .6rem; } td { text-align: right; border-bottom: 1px solid var(--rule); padding: .16rem .6rem; } td.wait { color: #9a5310; font-weight: 600; }
td:first-child, th:first-child { text-align: left; }
.note { color: var(--quiet); font-size: .85rem; }
@media (max-width: 600px) { body { margin: 1rem auto; padding: 0 .8rem; } th, td { padding-left: .3rem; padding-right: .3rem; } }
@media print { body { margin: 0; max-width: none; font-size: 12px; } .wide { overflow: visible; } h2 { break-after: avoid; } svg, tr { break-inside: avoid; } }
)";

// ------------------------------------------------------------------------------------------------------ schedule

// When each layer runs, in the first iteration with the stall counts of the steady state.
struct SpanOfLayer {
  std::uint64_t start;       // of the wait
  std::uint64_t work;        // first cycle of work
  std::uint64_t end;         // cycle behind the last
  std::uint64_t update;      // first cycle of the soft-output update
  std::uint64_t update_end;  // cycle behind its last
};

std::vector<SpanOfLayer> schedule_of(ReportCode const& code) {
  std::vector<SpanOfLayer> spans;
  std::uint64_t now = 0, updated = 0;
  for (ReportLayer const& layer : code.layers) {
    SpanOfLayer one{};
    one.start = now;
    one.work = now + layer.stall;
    one.end = one.work + layer.cycles;
    one.update = std::max(one.end - 1 + code.delay, updated);
    one.update_end = updated = one.update + layer.cycles;
    now = one.end;
    spans.push_back(one);
  }
  return spans;
}

std::size_t operations_of(ReportCode const& code) {
  std::size_t sum = 0;
  for (ReportLayer const& layer : code.layers) sum += layer.operations.size();
  return sum;
}

std::size_t slots_of(ReportCode const& code) {
  std::size_t sum = 0;
  for (ReportLayer const& layer : code.layers) sum += layer.slots;
  return sum;
}

// ------------------------------------------------------------------------------------------------------- sections

void add_figure(std::string& page, std::string const& value, char const* name) {
  page += "<div><b>" + value + "</b><span>" + name + "</span></div>\n";
}

std::string figures_section(ReportCode const& code, ReportOptions const& options) {
  const ReportCycles cycles = cycles_of(code);
  const std::size_t slots = slots_of(code);
  std::string page = "<div class=\"figures\">\n";
  add_figure(page, std::to_string(std::uint64_t{code.n}), "N, bits with the punctured ones");
  add_figure(page, std::to_string(std::uint64_t{code.k}), "K, information bits");
  add_figure(page, std::to_string(std::uint64_t{code.p}), "P, circulant size");
  add_figure(page, fixed(static_cast<double>(code.k) / code.n, 3), "K / N");
  add_figure(page, std::to_string(code.layers.size()), "layers");
  add_figure(page, std::to_string(operations_of(code)), "operations");
  add_figure(page, std::to_string(slots), "slots, pads included");
  add_figure(
      page,
      fixed(100.0 * static_cast<double>(operations_of(code)) / static_cast<double>(std::max<std::size_t>(slots, 1)),
            1) +
          " %",
      "slots that do work");
  add_figure(page, std::to_string(std::uint64_t{code.width}), "operations per cycle");
  add_figure(page, std::to_string(cycles.work), "work cycles per iteration");
  add_figure(page, std::to_string(cycles.stall), "stall cycles per iteration");
  add_figure(page, std::to_string(cycles.all()), "cycles per iteration");
  add_figure(page, fixed(throughput_mbps(code, options), 1) + " Mbit/s", "information throughput");
  page += "</div>\n<p class=\"note\">Throughput = K &times; clock / (iterations &times; cycles per iteration), at " +
          fixed(options.clock_mhz, 1) + " MHz and " +
          std::to_string(std::uint64_t{code.encode ? 1 : options.iterations}) +
          " iteration(s), for one code at a time; loading and unloading the codeword are not part of it.</p>\n";
  return page;
}

unsigned columns_of(ReportCode const& code) {
  unsigned columns = 0;
  for (ReportLayer const& layer : code.layers)
    for (ReportOperation const& op : layer.operations) columns = std::max(columns, op.col + 1);
  return columns;
}

unsigned given_columns(ReportCode const& code) { return code.n / std::max(code.p, 1U); }

std::string columns_text(std::vector<unsigned> const& columns) {
  std::string text;
  for (unsigned const column : columns) text += (text.empty() ? "" : ", ") + std::to_string(std::uint64_t{column});
  return text;
}

// What the picture of an encoder code shows: the matrix as it is given or as it is run, and what its layers put out.
std::string encoder_note(ReportCode const& code) {
  if (!code.encode) return {};
  std::map<unsigned, unsigned> put_out;  // layers by column
  for (ReportLayer const& layer : code.layers)
    if (layer.put_out) ++put_out[*layer.put_out];
  std::vector<unsigned> sums, added;
  for (auto const& [column, layers] : put_out)
    if (layers > 1) sums.push_back(column);
  const unsigned given = given_columns(code);
  for (unsigned column = given; column < columns_of(code); ++column) added.push_back(column);
  std::string note = "<p class=\"note\">";
  note += code.is_rewritten
              ? "The matrix is shown as the core runs it, with its double diagonal rewritten so that each layer "
                "computes one parity block from those before it: layers were inserted that the given matrix does not "
                "have."
              : "The matrix is shown as it was given; each layer computes one parity block from those before it.";
  note += " The framed position of a layer is the column that it puts out.";
  if (!added.empty())
    note += " Columns from " + std::to_string(std::uint64_t{given}) +
            " on (N / P) are added: they hold sums that later layers read, and no part of the codeword.";
  if (!sums.empty())
    note += " More than one layer puts out " + std::string(sums.size() == 1 ? "column " : "columns ") +
            columns_text(sums) + ": the earlier ones a sum that layers in between read, the last one the block itself.";
  return note + "</p>\n";
}

std::string matrix_section(ReportCode const& code) {
  const unsigned columns = columns_of(code);
  const auto rows = static_cast<double>(code.layers.size());
  const double left = 34, top = 18;
  const double cell = std::clamp(990.0 / std::max(columns, 1U), 3.0, 14.0);
  Svg plot(left + cell * columns + 2, top + cell * rows + 4, "Base matrix");
  plot.rect(left, top, cell * columns, cell * rows, "frame");
  for (unsigned col = 0; col <= columns; col += 10) {
    plot.line(left + cell * col, top, left + cell * col, top + cell * rows, "");
    if (col < columns) plot.label(left + cell * (col + 0.5), top - 5, "mid", std::to_string(std::uint64_t{col}));
  }
  for (std::size_t row = 0; row < code.layers.size(); row += 10) {
    plot.line(left, top + cell * static_cast<double>(row), left + cell * columns, top + cell * static_cast<double>(row),
              "");
    plot.label(left - 5, top + cell * (static_cast<double>(row) + 0.5) + 3, "end", std::to_string(row));
  }
  const unsigned kb = code.k / std::max(code.p, 1U);
  plot.line(left + cell * kb, top, left + cell * kb, top + cell * rows, "strong");
  for (std::size_t row = 0; row < code.layers.size(); ++row)
    for (ReportOperation const& op : code.layers[row].operations) {
      const double shade = 0.35 + 0.65 * op.shift / std::max(code.p, 1U);
      plot.rect(left + cell * op.col + 0.5, top + cell * static_cast<double>(row) + 0.5, cell - 1, cell - 1,
                op.col < kb                    ? "info"
                : op.col < given_columns(code) ? "parity"
                                               : "added",
                "layer " + std::to_string(row) + ", column " + std::to_string(std::uint64_t{op.col}) + ", shift " +
                    std::to_string(std::uint64_t{op.shift}),
                "opacity:" + fixed(shade, 2));
      if (code.layers[row].put_out == op.col)
        plot.rect(left + cell * op.col + 0.5, top + cell * static_cast<double>(row) + 0.5, cell - 1, cell - 1, "out");
    }
  std::string key =
      "<i style=\"background:var(--work)\"></i>information column"
      "<i style=\"background:var(--parity)\"></i>parity column";
  if (columns > given_columns(code)) key += "<i style=\"background:var(--added)\"></i>added column";
  if (code.encode) key += "<i class=\"out\"></i>put out by the layer";
  return "<h2>Base matrix</h2>\n<p class=\"key\">" + key +
         " &mdash; the deeper the shade, the larger the shift; hover for its value</p>\n" + std::move(plot).finish() +
         encoder_note(code);
}

std::string timeline_section(ReportCode const& code) {
  const std::vector<SpanOfLayer> spans = schedule_of(code);
  const double left = 34, top = 20, width = 990;
  const double row = std::clamp(620.0 / static_cast<double>(std::max<std::size_t>(spans.size(), 1)), 5.0, 16.0);
  const std::uint64_t last = spans.empty() ? 1 : std::max<std::uint64_t>(spans.back().update_end, 1);
  const double scale = width / static_cast<double>(last);
  const double height = row * static_cast<double>(spans.size());
  Svg plot(left + width + 12, top + height + 6, "Schedule of one iteration");
  for (std::size_t i = 0; i < spans.size(); i += 2)
    plot.rect(left, top + row * static_cast<double>(i), width, row, "band");
  std::uint64_t step = 1;
  while (last / step > 12) step *= (step % 3 == 2 || step % 3 == 0) ? 5 : 2;
  for (std::uint64_t cycle = 0; cycle <= last; cycle += step) {
    const double x = left + scale * static_cast<double>(cycle);
    plot.line(x, top, x, top + height, "");
    plot.label(x, top - 6, "mid", std::to_string(cycle));
  }
  for (std::size_t i = 0; i < spans.size(); ++i) {
    const double y = top + row * static_cast<double>(i);
    SpanOfLayer const& one = spans[i];
    const auto bar = [&](std::uint64_t from, std::uint64_t to, double offset, double part, char const* kind,
                         std::string const& what) {
      if (from == to) return;
      plot.rect(left + scale * static_cast<double>(from), y + row * offset, scale * static_cast<double>(to - from),
                row * part, kind,
                "layer " + std::to_string(i) + ": " + what + " in cycles " + std::to_string(from) + " to " +
                    std::to_string(to - 1));
    };
    bar(one.update, one.update_end, 0.56, 0.36, "update", "updated");
    bar(one.start, one.work, 0.08, 0.44, "stall", "waits");
    bar(one.work, one.end, 0.08, 0.44, "work", "reads");
    if (i % 5 == 0) plot.label(left - 5, y + row * 0.5 + 3.5, "end", std::to_string(i));
  }
  return "<h2>Schedule of one iteration</h2>\n<p class=\"key\"><i style=\"background:var(--stall)\"></i>stall"
         "<i style=\"background:var(--work)\"></i>check-node stage reads the layer"
         "<i style=\"background:var(--update);opacity:.55\"></i>soft-output stage writes it back, from " +
         std::to_string(std::uint64_t{code.delay}) + " cycles after the last read; across: cycles, down: layers</p>\n" +
         std::move(plot).finish();
}

std::string comparison_section(ReportCode const& code, ReportOptions const& options) {
  ReportCode const& other = *options.compared;
  const ReportCycles before = cycles_of(other);
  const ReportCycles after = cycles_of(code);
  const auto change = [](double from, double to) {
    return from > 0 ? fixed(100.0 * (to - from) / from, 1) + " %" : std::string("&ndash;");
  };
  const auto row = [&](char const* name, double from, double to, int digits) {
    return std::string("<tr><td>") + name + "</td><td>" + fixed(from, digits) + "</td><td>" + fixed(to, digits) +
           "</td><td>" + change(from, to) + "</td></tr>\n";
  };
  return "<h2>What the order gains</h2>\n<div class=\"wide\"><table><tr><th></th><th>" + escaped(other.name) +
         "</th><th>" + escaped(code.name) + "</th><th>change</th></tr>\n" +
         row("work cycles per iteration", static_cast<double>(before.work), static_cast<double>(after.work), 0) +
         row("stall cycles per iteration", static_cast<double>(before.stall), static_cast<double>(after.stall), 0) +
         row("cycles per iteration", static_cast<double>(before.all()), static_cast<double>(after.all()), 0) +
         row("throughput, Mbit/s", throughput_mbps(other, options), throughput_mbps(code, options), 1) +
         "</table></div>\n";
}

std::string layer_section(ReportCode const& code) {
  const std::vector<SpanOfLayer> spans = schedule_of(code);
  std::string page =
      "<h2>Layers</h2>\n<div "
      "class=\"wide\"><table><tr><th>layer</th><th>operations</th><th>slots</th><th>stall</th><th>work</th>"
      "<th>starts</th><th>ends</th><th>written back</th>" +
      std::string(code.encode ? "<th>puts out</th>" : "") + "</tr>\n";
  for (std::size_t i = 0; i < spans.size(); ++i) {
    ReportLayer const& layer = code.layers[i];
    page += "<tr><td>" + std::to_string(i) + (layer.is_extra ? " (combines)" : "") + "</td><td>" +
            std::to_string(layer.operations.size()) + "</td><td>" + std::to_string(std::uint64_t{layer.slots}) +
            "</td><td" + (layer.stall > 0 ? " class=\"wait\"" : "") + ">" + std::to_string(std::uint64_t{layer.stall}) +
            "</td><td>" + std::to_string(std::uint64_t{layer.cycles}) + "</td><td>" + std::to_string(spans[i].work) +
            "</td><td>" + std::to_string(spans[i].end - 1) + "</td><td>" + std::to_string(spans[i].update_end - 1) +
            (layer.put_out ? "</td><td>column " + std::to_string(std::uint64_t{*layer.put_out}) : "") + "</td></tr>\n";
  }
  return page + "</table></div>\n";
}

}  // namespace

ReportCycles cycles_of(ReportCode const& code) {
  ReportCycles cycles;
  for (ReportLayer const& layer : code.layers) {
    cycles.work += layer.cycles;
    cycles.stall += layer.stall;
  }
  return cycles;
}

double throughput_mbps(ReportCode const& code, ReportOptions const& options) {
  const double iterations = code.encode ? 1 : options.iterations;
  const auto cycles = static_cast<double>(cycles_of(code).all());
  return cycles > 0 ? code.k * options.clock_mhz / (iterations * cycles) : 0;
}

std::string schedule_report(ReportCode const& code, ReportOptions const& options) {
  const std::string title = options.title.empty() ? "LDPC schedule: " + code.name : options.title;
  std::string page =
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<meta name=\"viewport\" "
      "content=\"width=device-width\">\n<title>" +
      escaped(title) + "</title>\n<style>" + kStyle + "</style>\n</head>\n<body>\n<h1>" + escaped(title) +
      "</h1>\n<p class=\"lead\">Code " + escaped(code.name) + " for the " + (code.encode ? "encoder" : "decoder") +
      " of the core " + escaped(code.core) + "</p>\n";
  page += figures_section(code, options);
  if (options.compared) page += comparison_section(code, options);
  page += matrix_section(code);
  page += timeline_section(code);
  page += layer_section(code);
  return page + "</body>\n</html>\n";
}

}  // namespace host
