#include "tcltasks/psmodels/measurements.h"

#include <algorithm>
#include <ranges>
#include <utility>
#include <vector>

#include "kdi/common/KdiText.h"
#include "tcltasks/frame/brace_words.h"
#include "tcltasks/psmodels/engine_messages.h"
#include "tcltasks/psmodels/model_parts.h"

namespace psmodels {
namespace {

// Texts, not pointers to them: nothing is relocated when the library is loaded.
using Name = char[37];
constexpr Name kSysmonIpParams[] = {"SMON_OT",
                                    "SMON_PMBUS_ADDRESS",
                                    "SMON_PMBUS_UNRESTRICTED",
                                    "SMON_ENABLE_TEMP_AVERAGING",
                                    "SMON_USER_TEMP",
                                    "SMON_ENABLE_INT_VOLTAGE_MONITORING",
                                    "SMON_VOLTAGE_AVERAGING_SAMPLES",
                                    "SMON_ALARMS",
                                    "SMON_REFERENCE_SOURCE",
                                    "SMON_MEASUREMENT_LIST",
                                    "SMON_MEASUREMENT_COUNT",
                                    "SMON_HI_PERF_MODE",
                                    "SMON_INT_MEASUREMENT_ENABLE",
                                    "SMON_INT_MEASUREMENT_MODE",
                                    "SMON_INT_MEASUREMENT_TH_LOW",
                                    "SMON_INT_MEASUREMENT_TH_HIGH",
                                    "SMON_INT_MEASUREMENT_ALARM_ENABLE",
                                    "SMON_INT_MEASUREMENT_AVG_ENABLE"};
constexpr Name kDictMeasurements[] = {"SMON_INT_MEASUREMENT_ALARM_ENABLE", "SMON_INT_MEASUREMENT_AVG_ENABLE",
                                      "SMON_INT_MEASUREMENT_ENABLE",       "SMON_INT_MEASUREMENT_MODE",
                                      "SMON_INT_MEASUREMENT_TH_HIGH",      "SMON_INT_MEASUREMENT_TH_LOW"};

struct Token {
  char text[2];
  char token[8];
};
// In this order, which matters for texts that hold tokens already.
constexpr Token kTokens[] = {{" ", "<space>"}, {":", "<colon>"}, {",", "<comma>"}, {"#", "<hash>"}, {"|", "<or>"}};

template <class Names>
bool has(Names const& names, std::string const& name) {
  return std::ranges::any_of(names, [&](char const* one) { return name == one; });
}

// Words as pairs; the last odd one is dropped.
template <class Words, class Take>
void for_each_pair(Words const& words, Take take) {
  for (std::size_t i = 0; i + 1 < words.size(); i += 2) take(std::string(words[i]), std::string(words[i + 1]));
}

}  // namespace

StrVec sysmon_ip_params() { return {std::begin(kSysmonIpParams), std::end(kSysmonIpParams)}; }
bool is_sysmon_ip_param(std::string const& name) { return has(kSysmonIpParams, name); }

StrVec dict_measurements() { return {std::begin(kDictMeasurements), std::end(kDictMeasurements)}; }
bool is_dict_measurement(std::string const& name) { return has(kDictMeasurements, name); }

bool has_tokens() {
  return param_exists_and_is_true("psx.InternalVoltageMonitoring") ||
         param_exists_and_is_true("ps.InternalVoltageMonitoring");
}

std::string with_tokens(std::string text) {
  for (Token const& pair : kTokens) replaceStrInPlace(text, pair.text, pair.token);
  return text;
}
std::string without_tokens(std::string text) {
  for (Token const& pair : kTokens) replaceStrInPlace(text, pair.token, pair.text);
  return text;
}

bool is_one_group(std::string const& text) {
  const int end = kelvane_config::util::getClosingBraceIndex(text, 0);
  return text.starts_with('{') && end >= 0 && static_cast<std::size_t>(end) + 1 == text.size();
}

ParamMap read_dict(std::string const& text) {
  std::string inside(kdi::text::trimmed(text));
  if (is_one_group(inside)) inside = inside.substr(1, inside.size() - 2);
  std::vector<std::string> words;
  kelvane_config::util::parseParamValueDictWithBraces(inside, words);
  ParamMap dict;
  for_each_pair(words, [&](std::string name, std::string value) { dict[std::move(name)] = std::move(value); });
  return dict;
}

std::string write_dict(ParamMap const& dict) {
  std::string text;
  for (auto const& [name, value] : dict) text.append(" ").append(name).append(" ").append(kdi::text::trimmed(value));
  return text;
}

std::string merged_dict(std::string const& current, std::string const& update) {
  constexpr std::string_view kBlank = " ";
  std::string_view inside = current;
  if (inside.starts_with('{') && inside.ends_with('}')) inside = inside.substr(1, inside.size() - 2);
  ParamMap before, after;
  for_each_pair(kdi::text::words(inside, kBlank),
                [&](std::string name, std::string value) { before[std::move(name)] = std::move(value); });
  for_each_pair(kdi::text::words(update, kBlank),
                [&](std::string name, std::string value) { after[with_tokens(std::move(name))] = std::move(value); });
  std::string merged;
  for (auto const& [name, value] : before) {
    const auto place = after.find(with_tokens(name));
    merged.append(name).append(" ").append(place == after.end() ? value : place->second).append(" ");
  }
  return std::string(kdi::text::trimmed(merged));
}

}  // namespace psmodels
