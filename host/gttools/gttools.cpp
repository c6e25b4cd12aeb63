// libkdi_gttools.so: transceivers for people.
//
//   gttools::solve RATE REFERENCE ?option value ...?     -> dictionary: best, exact, ppm, reason, settings
//   gttools::choose RATE OSCILLATORS ?option value ...?  -> dictionary: best, choices, stock
//   gttools::lanes TX RX ?option value ...?              -> dictionary: quads, lanes, ports, constraints, reason
//   gttools::picture TX RX ?option value ...?            -> SVG of a quad
//   gttools::ppm PROTOCOL OWN OTHER                      -> dictionary: total, allowed, fits
//   gttools::decode KIND ENTRIES REFERENCES              -> list of dictionaries, one for each lane
//   gttools::decrypt CONTENT ?KEY_FILE?                  -> text
//   gttools::protocols, gttools::kinds                   -> what there is
//
// Options: -kind (GTYP), -grade (the fastest), -part, -modulation, -pll, -aim (jitter, power), -fraction; of lanes
// -options, -quad, -rate. Rates are in Gb/s and references in MHz: decimals, or fractions such as 1188/100.1.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <stdexcept>

#include "host/gttools/quad_picture.h"
#include "host/options.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/device/parts.h"
#include "kdi/rule_engine/content_cipher.h"
#include "kdi/tcl/command.h"
#include "tcltasks/gtwiz/settings_maps.h"

namespace {

using namespace kdi::gt;

using host::asked;
using host::Options;
using host::refuse;

// The names of things, with commas.
template <class All>
std::string names_of(All const& all) {
  std::vector<std::string> names;
  for (auto const& one : all) names.push_back(one.name);
  return kdi::text::joined(names, ", ");
}

Fraction value_of(std::string const& word, char const* what) {
  const auto value = read_fraction(word);
  if (!value) refuse(std::string(what) + " " + kdi::text::shown(word) + " is no number from 0.001 to 1000000");
  return *value;
}

std::shared_ptr<Kind const> kind_of(Options const& options) {
  const std::string name = options.get("-kind", "GTYP"), part = options.get("-part");
  if (!part.empty()) {
    kdi::device::Part const* const named = kdi::device::find_part(part);
    if (named == nullptr) refuse(kdi::device::unknown_part(part));
    if (auto kind = find_kind(name, *named)) return kind;
    refuse("the part " + kdi::text::shown(part) + " has no " + name);
  }
  if (auto kind = find_kind(name, options.get("-grade"))) return kind;
  refuse("there is no kind " + kdi::text::shown(name) + " of grade " + kdi::text::shown(options.get("-grade")));
}

Aim aim_of(std::string const& word) {
  if (word == "jitter") return Aim::jitter;
  if (word == "power") return Aim::power;
  refuse("the aim " + kdi::text::shown(word) + " is none of jitter, power");
}

Request request_of(Kind const& kind, std::string const& rate, Options const& options) {
  Request request;
  request.gbps = value_of(rate, "the rate");
  const std::string modulation = options.get("-modulation");
  request.modulation = modulation.empty() ? modulation_for(kind, request.gbps) : kind.modulation(modulation);
  if (request.modulation == nullptr && !modulation.empty())
    refuse("the modulation " + kdi::text::shown(modulation) + " is none of " + kind.name + ": " +
           names_of(kind.modulations));
  if (request.modulation == nullptr) request.modulation = &kind.modulations.front();  // the solver tells why not
  const std::string pll = options.get("-pll", "any");
  request.pll = pll == "any" ? -1 : kind.pll_index(pll);
  if (pll != "any" && request.pll < 0)
    refuse("the PLL " + kdi::text::shown(pll) + " is none of " + kind.name + ": " + names_of(kind.plls));
  request.aim = aim_of(options.get("-aim", "jitter"));
  const std::string fraction_word = options.get("-fraction", "1");
  if (fraction_word != "0" && fraction_word != "1") refuse("-fraction is 0 or 1");
  request.takes_fraction = fraction_word == "1";
  return request;
}

Tcl_Obj* setting_dict(Kind const& kind, Request const& request, Setting const& setting) {
  const auto gbps = gbps_of(kind, setting, request.reference_mhz, request.modulation->bits);
  const auto vco = vco_mhz_of(kind, setting, request.reference_mhz);
  return tcl::new_dict({{"pll", kind.plls[static_cast<std::size_t>(setting.pll)].name},
                        {"M", setting.reference_divide},
                        {"N", setting.feedback},
                        {"K", setting.numerator},
                        {"D", setting.output_divide},
                        {"vco_mhz", vco ? exact_text(*vco) : std::string()},
                        {"rate_gbps", gbps ? exact_text(*gbps) : std::string()}});
}

Tcl_Obj* answer_dict(Kind const& kind, Request const& request, Answer const& answer) {
  return tcl::new_dict({{"exact", answer.is_exact},
                        {"ppm", answer.ppm},
                        {"best", answer.best ? setting_dict(kind, request, *answer.best) : tcl::new_list({})},
                        {"reason", reason_of(kind, request, answer)}});
}

Tcl_Obj* solve_command(tcl::Words words) {
  const Options options(words.subspan(2), {"-kind", "-grade", "-part", "-modulation", "-pll", "-aim", "-fraction"});
  const auto kind = kind_of(options);
  Request request = request_of(*kind, tcl::text_of(words[0]), options);
  request.reference_mhz = value_of(tcl::text_of(words[1]), "the reference");
  Tcl_Obj* const dict = answer_dict(*kind, request, solve(*kind, request));
  tcl::put(dict, "settings", tcl::new_list(exact_settings(*kind, request), [&](Setting const& setting) {
             return setting_dict(*kind, request, setting);
           }));
  return dict;
}

// Which of two oscillators is the better one for a rate.
bool is_better(Kind const& kind, Request const& request, std::pair<Fraction, Answer> const& a,
               std::pair<Fraction, Answer> const& b) {
  if (a.second.best.has_value() != b.second.best.has_value()) return a.second.best.has_value();
  if (!a.second.best) return false;
  if (a.second.is_exact != b.second.is_exact) return a.second.is_exact;
  if (std::abs(a.second.ppm) != std::abs(b.second.ppm)) return std::abs(a.second.ppm) < std::abs(b.second.ppm);
  const bool a_fraction = a.second.best->numerator != 0, b_fraction = b.second.best->numerator != 0;
  if (a_fraction != b_fraction) return b_fraction;
  const Fraction a_vco = *vco_mhz_of(kind, *a.second.best, a.first), b_vco = *vco_mhz_of(kind, *b.second.best, b.first);
  if (a_vco != b_vco) return request.aim == Aim::jitter ? less(b_vco, a_vco) : less(a_vco, b_vco);
  return less(b.first, a.first);  // the fastest detector
}

Tcl_Obj* choose_command(Tcl_Interp* interp, tcl::Words words) {
  const Options options(words.subspan(2), {"-kind", "-grade", "-part", "-modulation", "-pll", "-aim", "-fraction"});
  const auto kind = kind_of(options);
  Request request = request_of(*kind, tcl::text_of(words[0]), options);
  const auto elements = tcl::elements_of(words[1], interp);
  if (!elements) refuse(Tcl_GetStringResult(interp));
  std::vector<std::pair<Fraction, Answer>> answers;
  Tcl_Obj* const choices = tcl::new_list({});
  const tcl::ObjRef held(choices);
  for (Tcl_Obj* const one : *elements) {
    request.reference_mhz = value_of(tcl::text_of(one), "the oscillator");
    answers.emplace_back(request.reference_mhz, solve(*kind, request));
    Tcl_Obj* const choice = answer_dict(*kind, request, answers.back().second);
    tcl::put(choice, "mhz", exact_text(request.reference_mhz));
    tcl::append(choices, choice);
  }
  // Those in stock that give the rate exactly, the best first.
  std::vector<std::pair<Fraction, Answer>> stock;
  for (std::string const& mhz : stock_oscillators()) {
    request.reference_mhz = value_of(mhz, "the oscillator");
    const Answer answer = solve(*kind, request);
    if (answer.is_exact) stock.emplace_back(request.reference_mhz, answer);
  }
  const auto better = [&](auto const& a, auto const& b) { return is_better(*kind, request, a, b); };
  std::stable_sort(stock.begin(), stock.end(), better);
  const auto best = std::min_element(answers.begin(), answers.end(), better);
  const bool has_best = best != answers.end() && best->second.best;
  return tcl::new_dict({{"best", has_best ? exact_text(best->first) : std::string()},
                        {"choices", choices},
                        {"stock", tcl::new_list(stock, [](auto const& one) { return exact_text(one.first); })}});
}

// --------------------------------------------------------------------------------------------------------------- lanes

Design design_of_words(tcl::Words words, Options const& options) {
  GtSettings settings;
  kelvane_gtwiz_utils::gtwiz_utils::constructMultiMapFromTCLDict(tcl::text_of(words[0]), settings["TX_SETTINGS"]);
  kelvane_gtwiz_utils::gtwiz_utils::constructMultiMapFromTCLDict(tcl::text_of(words[1]), settings["RX_SETTINGS"]);
  return design_of(options.get("-part"), options.get("-kind"), options.get("-quad"), settings, options.get("-options"),
                   false, false);
}

std::size_t rate_of(Design const& design, Options const& options) {
  const auto rate = kdi::number::whole<unsigned>(options.get("-rate", "0"));
  if (!rate) refuse("the rate " + kdi::text::shown(options.get("-rate")) + " is no index");
  require_rate(design, *rate);
  return *rate;
}

Tcl_Obj* lane_list(Design const& design) {
  Tcl_Obj* const list = tcl::new_list({});
  for (std::size_t i = 0; i < design.lanes.size(); ++i)
    for (auto const& [direction, rates] : {std::pair("TX", &design.lanes[i].tx), std::pair("RX", &design.lanes[i].rx)})
      for (std::size_t rate = 0; rate < rates->size(); ++rate) {
        LaneRate const& lane = (*rates)[rate];
        Request request;
        request.reference_mhz = lane.reference_mhz;
        request.modulation = lane.modulation;
        Tcl_Obj* const dict = setting_dict(*design.kind, request, lane.setting);
        const auto output = output_clock(*design.kind, lane), user = user_clock(*design.kind, lane);
        tcl::put(dict, "lane", direction + std::to_string(design.lanes[i].number));
        tcl::put(dict, "rate", rate);
        tcl::put(dict, "quad", design.quad_numbers[static_cast<std::size_t>(design.packing.places[i].quad)]);
        tcl::put(dict, "channel", design.packing.places[i].channel);
        tcl::put(dict, "reference_mhz", exact_text(lane.reference_mhz));
        tcl::put(dict, "output_mhz", output ? exact_text(*output) : std::string());
        tcl::put(dict, "user_mhz", user ? exact_text(*user) : std::string());
        tcl::append(list, dict);
      }
  return list;
}

// The two pins of a pair of pads; of a die alone they have the pads' names.
void add_pins(std::vector<std::string>& lines, std::string const& part, int quad_number, std::string const& site,
              std::string const& port) {
  if (part.empty()) return;
  kdi::device::Quad const* const quad = kdi::device::find_part(part)->package->quad(quad_number);
  if (quad == nullptr) return;
  for (char const* const side : {"P", "N"})
    for (kdi::device::Pad const& pad : quad->pads)
      if (pad.name.find(site + side) != std::string::npos)
        lines.push_back("set_property PACKAGE_PIN " + pad.pin + " [get_ports " + port + "_" + side + "]");
}

// One constraint a line: pins and clocks of the references, and pins of the lanes.
std::vector<std::string> constraints_of(Design const& design, std::vector<ReferencePort> const& ports) {
  std::vector<std::string> lines;
  for (ReferencePort const& port : ports) {
    add_pins(lines, design.part, port.quad, port.name.substr(0, port.name.find('_')), port.name);
    if (const auto period = times(Fraction{1, 1}, 1000 * port.mhz.den, port.mhz.num))
      lines.push_back("create_clock -name " + port.name + " -period " + kdi::number::fixed(nearest_double(*period), 6) +
                      " [get_ports " + port.name + "_P]");
  }
  for (std::size_t i = 0; i < design.lanes.size(); ++i) {
    Place const& place = design.packing.places[i];
    const int quad = design.quad_numbers[static_cast<std::size_t>(place.quad)];
    for (auto const& [direction, rates] : {std::pair("TX", &design.lanes[i].tx), std::pair("RX", &design.lanes[i].rx)})
      if (!rates->empty())
        add_pins(lines, design.part, quad, direction + std::to_string(place.channel),
                 direction + std::to_string(design.lanes[i].number));
  }
  return lines;
}

Tcl_Obj* lanes_command(tcl::Words words) {
  const Options options(words.subspan(2), {"-kind", "-part", "-quad", "-options"});
  return asked([&] {
    const Design design = design_of_words(words, options);
    if (!design.packing.is_possible)
      return tcl::new_dict(
          {{"quads", 0}, {"reason", design.packing.reason}, {"warnings", tcl::new_list(design.warnings)}});
    const auto ports = reference_ports(design);
    return tcl::new_dict({{"quads", design.packing.quads},
                          {"reason", ""},
                          {"warnings", tcl::new_list(design.warnings)},
                          {"lanes", lane_list(design)},
                          {"ports", tcl::new_list(ports,
                                                  [](ReferencePort const& port) {
                                                    return tcl::new_dict({{"port", port.name},
                                                                          {"mhz", exact_text(port.mhz)},
                                                                          {"pad", port.pad},
                                                                          {"quad", port.quad}});
                                                  })},
                          {"constraints", tcl::new_list(constraints_of(design, ports))}});
  });
}

std::string picture_command(tcl::Words words) {
  const Options options(words.subspan(2), {"-kind", "-part", "-quad", "-options", "-rate"});
  return asked([&] {
    const Design design = design_of_words(words, options);
    if (!design.packing.is_possible) refuse(design.packing.reason);
    return gttools::quad_picture(design, 0, rate_of(design, options));
  });
}

// -------------------------------------------------------------------------------------------------------------- others

Tcl_Obj* ppm_command(tcl::Words words) {
  const auto all = protocols();
  const std::string name = tcl::text_of(words[0]);
  const auto found = std::find_if(all.begin(), all.end(), [&](Protocol const& one) { return one.name == name; });
  if (found == all.end()) refuse("there is no protocol " + kdi::text::shown(name));
  double total = 0;
  bool fits = true;
  for (Tcl_Obj* const word : words.subspan(1)) {
    const auto ppm = tcl::double_of(word);
    if (!ppm || !(*ppm >= 0 && *ppm <= 1e6)) refuse("an oscillator is off by 0 to 1000000 ppm");
    total += *ppm;
    fits = fits && *ppm <= found->ppm;
  }
  return tcl::new_dict({{"total", total}, {"allowed", 2 * found->ppm}, {"each", found->ppm}, {"fits", fits}});
}

Tcl_Obj* decode_command(Tcl_Interp* interp, tcl::Words words) {
  const auto kind = find_kind(tcl::text_of(words[0]));
  if (!kind) refuse("there is no kind " + kdi::text::shown(tcl::text_of(words[0])));
  const auto entries = tcl::elements_of(words[1], interp);
  if (!entries) refuse(Tcl_GetStringResult(interp));
  std::vector<std::uint32_t> all;
  for (Tcl_Obj* const entry : *entries) {
    const std::string text = tcl::text_of(entry);
    std::uint32_t value = 0;
    const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
    if (fault != std::errc() || end != text.data() + text.size() || text.empty())
      refuse("the entry " + kdi::text::shown(text) + " is no number of 32 bits in hexadecimal digits");
    all.push_back(value);
  }
  const auto given = tcl::elements_of(words[2], interp);
  if (!given) refuse(Tcl_GetStringResult(interp));
  std::vector<Fraction> references;
  for (Tcl_Obj* const one : *given) references.push_back(value_of(tcl::text_of(one), "the reference"));
  return asked([&] {
    const Decoded decoded = decode_entries(*kind, all, references);
    return tcl::new_dict({{"lanes", tcl::new_list(decoded.lanes,
                                                  [](DecodedLane const& lane) {
                                                    return tcl::new_dict({{"lane", lane.section},
                                                                          {"rate_gbps", lane.gbps},
                                                                          {"vco_mhz", lane.vco_mhz},
                                                                          {"pll", lane.pll},
                                                                          {"D", lane.output_divide},
                                                                          {"encoding", lane.encoding},
                                                                          {"modulation", lane.modulation},
                                                                          {"internal_width", lane.internal_width},
                                                                          {"user_width", lane.user_width}});
                                                  })},
                          {"differing", tcl::new_list(decoded.differing)}});
  });
}

std::string decrypt_command(tcl::Words words) {
  return asked([&] {
    return kelvane_gtwiz::decrypted_content(tcl::text_of(words[0]),
                                            words.size() > 1 ? tcl::required_native_path(words[1]) : "");
  });
}

Tcl_Obj* protocols_command(tcl::Words) {
  return tcl::new_list(protocols(), [](Protocol const& one) {
    return tcl::new_dict({{"name", one.name},
                          {"rate_gbps", one.rate},
                          {"reference_mhz", one.reference},
                          {"modulation", one.modulation},
                          {"encoding", one.encoding},
                          {"ppm", one.ppm},
                          {"source", one.source}});
  });
}

Tcl_Obj* kinds_command(tcl::Words) {
  return tcl::new_list(kind_names(), [](std::string const& name) {
    return tcl::new_dict(
        {{"kind", name}, {"grades", tcl::new_list(grade_names(name))}, {"description", find_kind(name)->description}});
  });
}

constexpr tcl::Row kCommands[] = {
    {"gttools::solve", tcl::handler<solve_command>,
     tcl::pairs_behind(2, tcl::usage("rate reference ?option value ...?"))},
    {"gttools::choose", tcl::handler<choose_command>,
     tcl::pairs_behind(2, tcl::usage("rate oscillators ?option value ...?"))},
    {"gttools::lanes", tcl::handler<lanes_command>, tcl::pairs_behind(2, tcl::usage("tx rx ?option value ...?"))},
    {"gttools::picture", tcl::handler<picture_command>, tcl::pairs_behind(2, tcl::usage("tx rx ?option value ...?"))},
    {"gttools::ppm", tcl::handler<ppm_command>, tcl::exactly(3, tcl::usage("protocol own other"))},
    {"gttools::decode", tcl::handler<decode_command>, tcl::exactly(3, tcl::usage("kind entries references"))},
    {"gttools::decrypt", tcl::handler<decrypt_command>, tcl::between(1, 2, tcl::usage("content ?key_file?"))},
    {"gttools::protocols", tcl::handler<protocols_command>, tcl::exactly(0, tcl::usage(""))},
    {"gttools::kinds", tcl::handler<kinds_command>, tcl::exactly(0, tcl::usage(""))},
};

}  // namespace

/// Found by Tcl's `load`.
extern "C" int Kdi_gttools_Init(Tcl_Interp* interp) {
  tcl::register_all<kCommands>(interp);
  return TCL_OK;
}
