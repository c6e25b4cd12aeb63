#include "host/gttools/quad_picture.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/svg.h"
#include "kdi/common/KdiNumber.h"

namespace gttools {
namespace {

using namespace kdi::gt;

constexpr int kLaneX = 20, kPllX = 330, kReferenceX = 640, kBoxWidth = 220, kBoxHeight = 74, kStep = 92, kTop = 60;

using svg::escaped;
using svg::number;
using Texts = std::vector<std::string>;

std::string box(int x, int y, char const* fill, Texts const& texts) {
  std::string all = "<rect x=\"" + number(x) + "\" y=\"" + number(y) + "\" width=\"" + number(kBoxWidth) +
                    "\" height=\"" + number(kBoxHeight) + "\" rx=\"4\" fill=\"" + fill + "\" stroke=\"#444\"/>\n";
  for (std::size_t i = 0; i < texts.size(); ++i)
    all += "<text x=\"" + number(x + 8) + "\" y=\"" + number(y + 17 + 16 * static_cast<int>(i)) + "\"" +
           (i == 0 ? "" : " fill=\"#555\"") + ">" + escaped(texts[i]) + "</text>\n";
  return all;
}

std::string in_mhz(std::optional<Fraction> const& clock) {
  return clock ? kdi::number::general(nearest_double(*clock), 9) + " MHz" : std::string();
}

// Of one quad of the design, and of one of its rates where it has several.
std::string title_of(Design const& design, int quad, std::size_t rate) {
  return design.kind->name + " quad " + number(design.quad_numbers[static_cast<std::size_t>(quad)]) +
         (design.part.empty() ? ", of any part" : " of " + design.part) +
         (design.rates() > 1 ? ", rate " + std::to_string(rate) : "");
}

std::string line(int x1, int y1, int x2, int y2) {
  return "<path d=\"M" + number(x1) + " " + number(y1) + " C" + number((x1 + x2) / 2) + " " + number(y1) + " " +
         number((x1 + x2) / 2) + " " + number(y2) + " " + number(x2) + " " + number(y2) +
         "\" fill=\"none\" stroke=\"#888\"/>\n";
}

// What lines lead to: boxes in the order in which they are first asked for.
struct Column {
  int x;
  std::map<std::string, int> places;
  std::vector<Texts> texts;

  int middle(std::string const& key, Texts const& said) {
    const auto [at, is_new] = places.try_emplace(key, static_cast<int>(texts.size()));
    if (is_new) texts.push_back(said);
    return kTop + at->second * kStep + kBoxHeight / 2;
  }
};

}  // namespace

std::string quad_picture(Design const& design, int quad, std::size_t rate) {
  Column plls{kPllX, {}, {}}, references{kReferenceX, {}, {}};
  std::string lines, lanes;
  int row = 0;
  for (std::size_t i = 0; i < design.lanes.size(); ++i) {
    Place const& place = design.packing.places[i];
    if (place.quad != quad) continue;
    for (auto const& [direction, rates] :
         {std::pair("TX", &design.lanes[i].tx), std::pair("RX", &design.lanes[i].rx)}) {
      if (rates->empty()) continue;
      LaneRate const& lane = design.at(*rates, rate);
      Setting const& setting = lane.setting;
      Pll const& pll = design.kind->plls[static_cast<std::size_t>(setting.pll)];
      const std::string name = pll.name + (pll.is_shared ? "" : number(place.channel));
      const std::string reference = exact_text(lane.reference_mhz) + " MHz";
      const int y = kTop + row++ * kStep;
      lanes +=
          box(kLaneX, y, "#e8f0ff",
              {direction + number(design.lanes[i].number) + ", channel " + number(place.channel),
               exact_text(lane.real_gbps) + " Gb/s " + lane.modulation->name + ", D " + number(setting.output_divide),
               "as wanted, exactly",  // else the lanes would not be packed
               "clock out " + in_mhz(output_clock(*design.kind, lane))});
      std::string feedback = "M " + number(setting.reference_divide) + ", N " + std::to_string(setting.feedback);
      if (setting.numerator != 0)
        feedback += " + " + std::to_string(setting.numerator) + "/2^" + number(pll.fraction_bits);
      const int at_pll =
          plls.middle(name, {name, feedback, "VCO " + in_mhz(vco_mhz_of(*design.kind, setting, lane.reference_mhz))});
      const int at_reference = references.middle(reference, {"reference", reference});
      lines += line(kLaneX + kBoxWidth, y + kBoxHeight / 2, kPllX, at_pll);
      lines += line(kPllX + kBoxWidth, at_pll, kReferenceX, at_reference);
    }
  }
  const int height = kTop + std::max({row, static_cast<int>(plls.texts.size()), 1}) * kStep;
  std::string picture = svg::opening(kReferenceX + kBoxWidth + kLaneX, height + 30, 13) +
                        "<text x=\"20\" y=\"30\" font-size=\"16\">" + escaped(title_of(design, quad, rate)) +
                        "</text>\n" + lines + lanes;
  for (auto const& [column, fill] : {std::pair(&plls, "#fff2d8"), std::pair(&references, "#e4f6e4")})
    for (std::size_t i = 0; i < column->texts.size(); ++i)
      picture += box(column->x, kTop + static_cast<int>(i) * kStep, fill, column->texts[i]);
  return picture + "<text x=\"20\" y=\"" + number(height + 12) +
         "\" fill=\"#555\">Rates and clocks follow from the settings; limits are those of a model, and nothing is "
         "measured."
         "</text>\n</svg>\n";
}

}  // namespace gttools
