// One command for each operation of a parameter model that the commands of a session do not drive.
#include <array>
#include <stdexcept>

#include "host/coretools/session.h"
#include "kdi/common/KdiText.h"

namespace coretools {
namespace {

using tcl::handler;
using tcl::usage;
using tcl::Words;

ModelDoor& model_of(Open& open) { return open.core.model(); }

Tcl_Obj* pair_list(StrPairs const& pairs) {
  return tcl::new_list(pairs, [](auto const& pair) {
    return tcl::new_list({tcl::new_text(pair.first), tcl::new_text(pair.second)});
  });
}

// Those of value, range and enabled that were told.
Tcl_Obj* dict_of(ModelDoor::OutMap::mapped_type const& properties) {
  using Model = HACGCCustomDRCModel;
  constexpr std::array<std::pair<Model::XGUI_PROP, char const*>, 3> kWords = {
      {{Model::XGUI_VALUE, "value"}, {Model::XGUI_RANGE, "range"}, {Model::XGUI_ENABLED, "enabled"}}};
  Tcl_Obj* const dict = Tcl_NewDictObj();
  for (auto const& [property, word] : kWords)
    if (const auto place = properties.find(property); place != properties.end()) tcl::put(dict, word, place->second);
  return dict;
}

Tcl_Obj* dict_of(ModelDoor::OutMap const& outputs) {
  Tcl_Obj* const dict = Tcl_NewDictObj();
  for (auto const& [parameter, properties] : outputs) tcl::put(dict, parameter, dict_of(properties));
  return dict;
}

Tcl_Obj* dict_of(RawResult const& rows) {
  Tcl_Obj* const dict = Tcl_NewDictObj();
  for (auto const& [parameter, its] : rows)
    tcl::put(dict, parameter, tcl::new_list(its, [](StrVec const& row) { return tcl::new_list(row); }));
  return dict;
}

// A list of words, which must be one.
StrVec texts_of(Tcl_Obj* list, char const* what) {
  const auto words = tcl::elements_of(list);
  if (!words) throw std::invalid_argument(std::string(what) + " is no list: " + kdi::text::shown(tcl::text_view(list)));
  StrVec texts;
  for (Tcl_Obj* const word : *words) texts.push_back(tcl::text_of(word));
  return texts;
}

RawResult rows_of(Tcl_Obj* dict) {
  const auto words = tcl::elements_of(dict);
  if (!words || words->size() % 2 != 0)
    throw std::invalid_argument("the rows are no list of names and rows: " + kdi::text::shown(tcl::text_view(dict)));
  std::vector<Tcl_Obj*> copies(words->begin(), words->end());  // a conversion may free the list's own
  RawResult all;
  for (std::size_t i = 0; i < copies.size(); i += 2) {
    const auto rows = tcl::elements_of(copies[i + 1]);
    if (!rows)
      throw std::invalid_argument("the rows of " + kdi::text::shown(tcl::text_view(copies[i])) + " are no list");
    const std::vector<Tcl_Obj*> each(rows->begin(), rows->end());
    std::vector<StrVec>& its = all[tcl::text_of(copies[i])];
    its.clear();
    for (Tcl_Obj* const row : each) its.push_back(texts_of(row, "a row"));
  }
  return all;
}

// --------------------------------------------------------------------------------------------------------- questions

Tcl_Obj* choices(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  return pair_list(model_of(*one).choices(one->core.engine_name(tcl::text_of(words[1]))));
}

Tcl_Obj* configuration(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  return pair_list(model_of(*one).configuration(tcl::text_of(words[1])));
}

// The model may tell of more than there are parameters.
Tcl_Obj* outputs(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  ModelDoor::OutMap const& all = one->core.outputs();
  if (words.size() == 1) return dict_of(all);
  auto place = all.find(tcl::text_of(words[1]));
  if (place == all.end()) place = all.find(one->core.engine_name(tcl::text_of(words[1])));
  return place == all.end() ? Tcl_NewDictObj() : dict_of(place->second);
}

std::string boot_mode(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  return model_of(*one).boot_mode(tcl::text_of(words[1]));
}

std::string monitor(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  return model_of(*one).monitor(tcl::text_of(words[1]), words.size() > 2 ? tcl::text_of(words[2]) : "");
}

int first_supply(Session& session, Words words) { return model_of(*opened(session, words[0])).first_supply(); }

Tcl_Obj* monitor_parameters(Session& session, Words words) {
  return tcl::new_list(model_of(*opened(session, words[0])).monitor_parameters());
}

Tcl_Obj* occupied_pins(Session& session, Words words) {
  return tcl::new_list(model_of(*opened(session, words[0])).occupied_pins());
}

bool has_bank(Session& session, Words words) { return model_of(*opened(session, words[0])).has_bank(); }

int slr_count(Session& session, Words words) { return opened(session, words[0])->core.slr_count(); }

Tcl_Obj* gui_context(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  if (words.size() > 1) model_of(*one).set_gui_context(map_of(words[1], "the context of the interface"));
  return coretools::dict_of(model_of(*one).gui_context());
}

// ------------------------------------------------------------------------------------- what models do between others

Tcl_Obj* ranges(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  const ModelDoor::Ranges all = model_of(*one).ranges(
      map_of(words[1], "the changes"), words.size() > 2 ? map_of(words[2], "what the user has given") : ParamMap());
  return tcl::new_dict({{"rows", dict_of(all.rows)}, {"messages", coretools::dict_of(all.messages)}});
}

Tcl_Obj* check(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  return coretools::dict_of(model_of(*one).check(tcl::pairs_of(words.subspan(1))));
}

bool take_messages(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  return model_of(*one).take_messages(tcl::pairs_of(words.subspan(1)));
}

Tcl_Obj* classify(Session& session, Words words) {
  const ModelDoor::Kind kind = model_of(*opened(session, words[0])).classify(tcl::text_of(words[1]));
  return tcl::new_dict({{"kind", kind.word}, {"text", kind.text}});
}

std::string replace(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  return model_of(*one).replace(tcl::text_of(words[1]), tcl::text_of(words[2]), tcl::text_of(words[3]));
}

Tcl_Obj* number(Session& session, Words words) {
  const ModelDoor::Number number = model_of(*opened(session, words[0])).number(tcl::text_of(words[1]));
  return tcl::new_dict({{"numeric", number.is_numeric},
                        {"float", number.is_float},
                        {"whole", number.whole},
                        {"fraction", number.fraction}});
}

bool clock_in_range(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  return model_of(*one).is_clock_in_range(tcl::text_of(words[1]), tcl::text_of(words[2]),
                                          texts_of(words[3], "the range"));
}

std::string merge(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  return model_of(*one).merge(tcl::text_of(words[1]), tcl::text_of(words[2]));
}

Tcl_Obj* cross_configure(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  return dict_of(model_of(*one).cross_configure(map_of(words[1], "the source"), map_of(words[2], "the target"),
                                                tcl::text_of(words[3]), tcl::text_of(words[4]),
                                                texts_of(words[5], "the names")));
}

Tcl_Obj* outputs_of(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  return dict_of(model_of(*one).outputs_of(rows_of(words[1])));
}

Tcl_Obj* inputs_of(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  return dict_of(model_of(*one).inputs_of(tcl::pairs_of(words.subspan(1))));
}

void load_sub_presets(Session& session, Words words) {
  model_of(*opened(session, words[0])).load_sub_presets(map_of(words[1], "the parameters"));
}

Tcl_Obj* create(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  const auto strength = tcl::int_of(words[2]);
  if (!strength)
    throw std::invalid_argument("the strength is no number: " + kdi::text::shown(tcl::text_view(words[2])));
  const auto apart = words.size() > 3 ? tcl::bool_of(words[3]) : std::optional(false);
  if (!apart) throw std::invalid_argument("no truth: " + kdi::text::shown(tcl::text_view(words[3])));
  StrVec errors;
  const ModelDoor::OutMap told = model_of(*one).create(map_of(words[1], "the parameters"), *strength, *apart, errors);
  if (!errors.empty()) throw std::runtime_error(kdi::text::joined(errors, "\n"));
  return dict_of(told);
}

constexpr tcl::WordCount kName = tcl::exactly(1, usage("name"));
constexpr tcl::WordCount kPairs = tcl::pairs_behind(1, usage("name ?parameter value ...?"));

constexpr tcl::Row kCommands[] = {
    {"coretools::choices", handler<choices>, tcl::exactly(2, usage("name parameter"))},
    {"coretools::outputs", handler<outputs>, tcl::between(1, 2, usage("name ?parameter?"))},
    {"coretools::configuration", handler<configuration>, tcl::exactly(2, usage("name list"))},
    {"coretools::boot_mode", handler<boot_mode>, tcl::exactly(2, usage("name peripheral"))},
    {"coretools::monitor", handler<monitor>, tcl::between(2, 3, usage("name what ?which?"))},
    {"coretools::first_supply", handler<first_supply>, kName},
    {"coretools::monitor_parameters", handler<monitor_parameters>, kName},
    {"coretools::occupied_pins", handler<occupied_pins>, kName},
    {"coretools::has_bank", handler<has_bank>, kName},
    {"coretools::slr_count", handler<slr_count>, kName},
    {"coretools::gui_context", handler<gui_context>, tcl::between(1, 2, usage("name ?context?"))},
    {"coretools::ranges", handler<ranges>, tcl::between(2, 3, usage("name changes ?user?"))},
    {"coretools::check", handler<check>, kPairs},
    {"coretools::take_messages", handler<take_messages>, kPairs},
    {"coretools::classify", handler<classify>, tcl::exactly(2, usage("name text"))},
    {"coretools::replace", handler<replace>, tcl::exactly(4, usage("name text search replacement"))},
    {"coretools::number", handler<number>, tcl::exactly(2, usage("name text"))},
    {"coretools::clock_in_range", handler<clock_in_range>, tcl::exactly(4, usage("name parameter value range"))},
    {"coretools::merge", handler<merge>, tcl::exactly(3, usage("name current update"))},
    {"coretools::cross_configure", handler<cross_configure>,
     tcl::exactly(6, usage("name source target internal public names"))},
    {"coretools::outputs_of", handler<outputs_of>, tcl::exactly(2, usage("name rows"))},
    {"coretools::inputs_of", handler<inputs_of>, kPairs},
    {"coretools::load_sub_presets", handler<load_sub_presets>, tcl::exactly(2, usage("name params"))},
    {"coretools::create", handler<create>, tcl::between(3, 4, usage("name params strength ?apart?"))},
};

}  // namespace

void register_model_commands(Session& session) { tcl::register_all<kCommands>(session.interp, &session); }

}  // namespace coretools
