// libkdi_clocktools.so: what a clock primitive can make of an input, in full.
//
//   clocktools::setting name value ?name value ...?     -> dictionary
//   clocktools::fewest name value ?name value ...?      -> dictionary
//   clocktools::trade_offs name value ?name value ...?  -> list of dictionaries
//   clocktools::generics setting ?-language L? ?-names D?                -> text
//   clocktools::constraints setting ?-port P? ?-instance I? ?-pin P?     -> text
//
// data/commands/clocktools.json lists the names and the keys of the answers. A question that cannot be asked is an
// error; one that has no solution is not, for why is the answer.
#include <tcl.h>

#include <algorithm>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "host/clock_export.h"
#include "kdi/common/KdiText.h"
#include "kdi/ip/host/clock_study.h"
#include "kdi/tcl/command.h"

namespace {

template <std::string (*ask)(std::vector<std::string_view> const&)>
std::string study(tcl::Words words) {
  std::vector<std::string_view> question;
  for (Tcl_Obj* const word : words) question.push_back(tcl::text_view(word));
  return ask(question);
}

// ------------------------------------------------------------------------------------------- a setting for a design

using clock_export::Figure;
using BadInput = std::invalid_argument;

Tcl_Obj* entry_of(Tcl_Obj* dict, char const* key, bool is_needed = true) {
  const auto value = tcl::Key(key).find(dict);
  if (!value) throw BadInput("the setting is no dictionary");
  if (*value == nullptr && is_needed) throw BadInput(std::string("the setting has no \"") + key + "\"");
  return *value;
}

Figure figure_of(Tcl_Obj* dict, char const* key, double least) {
  Tcl_Obj* const value = entry_of(dict, key);
  const auto number = tcl::double_of(value);
  if (!number || !(*number >= least) || !(*number < 1e9))
    throw BadInput(std::string("the setting's ") + key + " is " + kdi::text::shown(tcl::text_view(value)));
  return {tcl::text_of(value), *number};
}

// What goes into files for other tools: a name, with places between slashes and in brackets.
std::string name_of(Tcl_Obj* word) {
  const std::string_view name = tcl::text_view(word);
  const auto may_stand = [](char c) {
    return kdi::text::is_letter_or_digit(c) || std::string_view("_%/[].$").find(c) != std::string_view::npos;
  };
  if (name.empty() || !std::all_of(name.begin(), name.end(), may_stand))
    throw BadInput(kdi::text::shown(name) + " is no name");
  return std::string(name);
}

// A setting, or the answer of clocktools::setting with one in it.
clock_export::Setting setting_of(Tcl_Obj* dict) {
  if (Tcl_Obj* const inner = entry_of(dict, "setting", false)) dict = inner;
  if (Tcl_Obj* const reason = entry_of(dict, "reason", false))
    throw BadInput("there is no setting: " + tcl::text_of(reason));
  constexpr double kPositive = 1e-9;
  clock_export::Setting setting;
  setting.primitive = name_of(entry_of(dict, "primitive"));
  setting.bandwidth = name_of(entry_of(dict, "bandwidth"));
  setting.input = figure_of(dict, "input", kPositive);
  setting.m = figure_of(dict, "m", kPositive);
  setting.d = figure_of(dict, "d", kPositive);
  if (entry_of(dict, "second_input", false) != nullptr)
    setting.second_input = figure_of(dict, "second_input", kPositive).text;
  if (Tcl_Obj* const mode = entry_of(dict, "ss_mode", false)) {
    setting.spread_mode = name_of(mode);
    setting.spread_frequency = figure_of(dict, "mod_freq", 0);
  }
  const auto outputs = tcl::elements_of(entry_of(dict, "outputs"));
  if (!outputs) throw BadInput("the setting's outputs are no list");
  for (Tcl_Obj* const one : *outputs)  // in the order of the counters
    setting.outputs.push_back({static_cast<int>(setting.outputs.size()), figure_of(one, "frequency", kPositive),
                               figure_of(one, "divide", kPositive), figure_of(one, "phase", -360),
                               figure_of(one, "duty_cycle", 0), figure_of(one, "jitter", 0)});
  return setting;
}

// Options behind the setting, each of `known` at most once with its value.
std::map<std::string, Tcl_Obj*> options_of(tcl::Words words, std::vector<std::string_view> const& known) {
  std::map<std::string, Tcl_Obj*> options;
  for (std::size_t i = 1; i + 1 < words.size(); i += 2) {
    const std::string name = tcl::text_of(words[i]);
    if (std::find(known.begin(), known.end(), name) == known.end())
      throw BadInput("no option " + kdi::text::shown(name) + "; there are " + kdi::text::joined(known, ", "));
    if (!options.emplace(name, words[i + 1]).second) throw BadInput("the option " + name + " is given twice");
  }
  return options;
}

std::string generics(tcl::Words words) {
  const auto options = options_of(words, {"-language", "-names"});
  auto language = clock_export::Language::verilog;
  if (const auto given = options.find("-language"); given != options.end()) {
    const std::string_view name = tcl::text_view(given->second);
    if (name != "verilog" && name != "vhdl")
      throw BadInput("no language " + kdi::text::shown(name) + ": use verilog or vhdl");
    if (name == "vhdl") language = clock_export::Language::vhdl;
  }
  clock_export::Names names = clock_export::default_names();
  if (const auto given = options.find("-names"); given != options.end()) {
    const auto pairs = tcl::elements_of(given->second);
    if (!pairs || pairs->size() % 2 != 0) throw BadInput("-names is no dictionary");
    for (std::size_t i = 0; i < pairs->size(); i += 2) {
      const auto place = names.find(tcl::text_view((*pairs)[i]));
      if (place == names.end()) throw BadInput("no generic " + kdi::text::shown(tcl::text_view((*pairs)[i])));
      place->second = name_of((*pairs)[i + 1]);
    }
  }
  return clock_export::generics(setting_of(words[0]), language, names);
}

std::string constraints(tcl::Words words) {
  clock_export::Places places;
  for (auto const& [name, value] : options_of(words, {"-port", "-instance", "-pin"}))
    (name == "-port" ? places.port : name == "-instance" ? places.instance : places.pin) = name_of(value);
  return clock_export::constraints(setting_of(words[0]), places);
}

constexpr tcl::WordCount kQuestion = tcl::at_least(1, tcl::usage("name value ?name value ...?"));

constexpr tcl::Row kCommands[] = {
    {"clocktools::setting", tcl::handler<study<kdi::clocking::study_setting>>, kQuestion},
    {"clocktools::fewest", tcl::handler<study<kdi::clocking::study_fewest>>, kQuestion},
    {"clocktools::trade_offs", tcl::handler<study<kdi::clocking::study_trade_offs>>, kQuestion},
    {"clocktools::generics", tcl::handler<generics>, tcl::pairs_behind(1, tcl::usage("setting ?option value ...?"))},
    {"clocktools::constraints", tcl::handler<constraints>,
     tcl::pairs_behind(1, tcl::usage("setting ?option value ...?"))},
};

}  // namespace

/// Found by Tcl's `load`.
extern "C" int Kdi_clocktools_Init(Tcl_Interp* interp) {
  tcl::register_all<kCommands>(interp);
  return TCL_OK;
}
