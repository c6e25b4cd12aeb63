// Fuzzes what reads texts about transceivers. The first line names the reader, with words of its own behind it; the
// rest is the text. Beside not crashing or hanging: a dictionary in braces, written again from what was read, reads the
// same, and on a fault the map is as it was; flat texts give the keys that they are to have; a quad of settings is
// refused by a text of the system's form or decodes to what it is; a fraction's text reads as the fraction.
#include <tcl.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiText.h"
#include "kdi/rule_engine/content_cipher.h"
#include "kdi/rule_engine/host/Quad.h"
#include "tcltasks/gtwiz/settings_maps.h"
#include "tests/fuzz/require.h"

namespace {

using namespace kelvane_gtwiz_utils::gtwiz_utils;
using Words = std::vector<std::string_view>;

constexpr std::size_t kLongest = 4096;

// ------------------------------------------------------------------------------------------------------------- braces

std::string written(std::string const& leaf) { return leaf; }
std::string written(StrVec const& leaf) {
  std::string all;
  for (std::string const& word : leaf) all += "{" + word + "} ";
  return all;
}
template <class Value>
std::string written(std::map<std::string, Value> const& map) {
  std::string all;
  for (auto const& [key, value] : map) all += "{" + key + "} {" + written(value) + "} ";
  return all;
}

template <class Map>
void braces(std::string const& text) {
  Map map;
  constructMultiMapFromTCLDict("first {a {b c}}", map);
  const Map before = map;
  try {
    constructMultiMapFromTCLDict(text, map);
  } catch (std::string const& fault) {
    fuzz::require(fault == "Ip_gtwiz : unbalanced braces in settings text.\n", "another fault", fault);
    fuzz::require(map == before, "a map that a fault changed", text);
    return;
  }
  Map again;
  constructMultiMapFromTCLDict(written(map), again);
  fuzz::require(again == map, "what was written reads otherwise", text);
}

// --------------------------------------------------------------------------------------------------------- flat texts

template <class Map>
void require_keys(Map const& map, std::string_view part, std::string const& text) {
  for (auto const& [key, value] : map) fuzz::require(key.find(part) != std::string::npos, "a strange key", text);
}

void flat(Words const& words, std::string const& text) {
  const std::string prefix(words.size() > 1 ? words[1] : "TX");
  for (std::string const& word : getSettingsVec(text))
    fuzz::require(word.find_first_of("{} ") == std::string::npos, "a word that was not taken apart", text);
  for (std::string const& word : getBraceList(text))
    fuzz::require(!word.empty() && word.find(' ') == std::string::npos, "a token that was not taken apart", text);
  try {
    require_keys(tcl2cpp3LevelMap(text, prefix), prefix, text);
    require_keys(tcl2LaneUsageMap(text), "PROT", text);
    const GtMap3 quads = tcl2cppQuadUsage(text);
    fuzz::require(quads.size() == 2 && quads.contains("TX_QUAD_CH") && quads.contains("RX_QUAD_CH"), "keys", text);
    require_keys(quads.at("TX_QUAD_CH"), "TXQuad_", text);
    require_keys(getTXRXSettingsMap(3, prefix, "RX", getSettingsVec(text)), prefix, text);
    for (auto const& [word, parts] : getLRSettingsMap("LR", prefix, "RX", getSettingsVec(text)))
      for (auto const& [part, pairs] : parts)
        fuzz::require((part == "SETTINGS" || part == prefix || part == "RX") && !pairs.empty(), "a strange part", text);
  } catch (std::string const& fault) {
    fuzz::require(fault == "Ip_gtwiz : too many sections in settings text.\n", "another fault", fault);
  }
}

// --------------------------------------------------------------------------------------------------------- the engine

bool is_of_form(std::string const& fault) { return fault.starts_with("Ip_gtwiz : ") && fault.ends_with(".\n"); }

// Lines: options, transmitters, receivers, usage, what is common.
void quad(Words const& words, std::string const& text) {
  auto lines = kdi::text::split(text, '\n');
  lines.resize(5);
  const std::string kind(words.size() > 1 ? words[1] : "");
  try {
    GtSettings settings;
    constructMultiMapFromTCLDict(std::string(lines[1]), settings["TX_SETTINGS"]);
    constructMultiMapFromTCLDict(std::string(lines[2]), settings["RX_SETTINGS"]);
    constructMultiMapFromTCLDict(std::string(lines[3]), settings["quadUsage"]["quadUsage"]);
    constructMultiMapFromTCLDict(std::string(lines[4]), settings["QUAD_COMMON_SETTINGS"]);
    const bool is_one_quad = words.size() < 3 || words[2] == "one";
    const auto design = kdi::gt::design_of({}, kind, {}, settings, std::string(lines[0]), is_one_quad, !is_one_quad);
    if (!design.packing.is_possible) {
      fuzz::require(!design.packing.reason.empty(), "no reason", text);
      return;
    }
    kdi::gt::reference_ports(design);
    if (!is_one_quad) return;
    for (std::size_t rate = 0; rate < design.rates(); ++rate) {
      const auto decoded = kdi::gt::decode_entries(*design.kind, kdi::gt::table_entries(design, {}, rate),
                                                   kdi::gt::references_of(design));
      fuzz::require(decoded.differing.empty(), "registers that decode otherwise", text);
    }
  } catch (std::string const& fault) {
    fuzz::require(is_of_form(fault), "a fault of another form", fault);
  } catch (std::invalid_argument const&) {
    // more lanes, rates or references than packing takes
  }
}

void entries(Words const& words, std::string const& text) {
  const auto kind = kdi::gt::find_kind(std::string(words.size() > 1 ? words[1] : "GTYP"));
  if (!kind) return;
  std::vector<std::uint32_t> all;
  for (const std::string_view word : kdi::text::words(text)) {
    std::uint32_t entry = 0;
    std::from_chars(word.data(), word.data() + word.size(), entry, 16);
    all.push_back(entry);
  }
  try {
    kdi::gt::decode_entries(*kind, all, {*kdi::gt::read_fraction("156.25"), *kdi::gt::read_fraction("1188/100.1")});
  } catch (std::string const& fault) {
    fuzz::require(is_of_form(fault), "a fault of another form", fault);
  }
}

void rate(Words const&, std::string const& text) {
  const auto value = kdi::gt::read_fraction(text);
  if (!value) return;
  fuzz::require(kdi::gt::read_fraction(kdi::gt::exact_text(*value)) == value, "a fraction that reads otherwise", text);
}

void content(Words const&, std::string const& text) {
  const std::string key(32, 'k');
  try {
    kelvane_gtwiz::opened(text, key);
  } catch (std::string const& fault) {
    fuzz::require(is_of_form(fault), "a fault of another form", fault);
  }
}

template <class Read>
void data(std::string const& text, Read read) {
  try {
    read(text, "file");
  } catch (std::runtime_error const& fault) {
    fuzz::require(std::string_view(fault.what()).starts_with("file"), "a fault without its place", fault.what());
  }
}

using Reader = std::function<void(Words const&, std::string const&)>;
std::map<std::string, Reader, std::less<>> const& readers() {
  static const std::map<std::string, Reader, std::less<>> all{
      {"map2", [](auto const&, std::string const& text) { braces<GtMap2>(text); }},
      {"map3", [](auto const&, std::string const& text) { braces<GtMap3>(text); }},
      {"vectors", [](auto const&, std::string const& text) { braces<VectorMap>(text); }},
      {"vectors2", [](auto const&, std::string const& text) { braces<VectorMap2>(text); }},
      {"flat", flat},
      {"quad", quad},
      {"entries", entries},
      {"rate", rate},
      {"content", content},
      {"kind", [](auto const&, std::string const& text) { data(text, kdi::gt::read_kinds); }},
      {"registers", [](auto const&, std::string const& text) { data(text, kdi::gt::read_sections); }}};
  return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size) {
  static const bool is_ready = (Tcl_FindExecutable(nullptr), true);  // expressions are Tcl's
  static_cast<void>(is_ready);
  const std::string input(reinterpret_cast<char const*>(bytes), std::min(size, kLongest));
  const std::size_t end = std::min(input.find('\n'), input.size());
  const Words words = kdi::text::words(std::string_view(input).substr(0, end));
  const auto reader = words.empty() ? readers().end() : readers().find(words[0]);
  if (reader != readers().end()) reader->second(words, input.substr(std::min(end + 1, input.size())));
  return 0;
}
