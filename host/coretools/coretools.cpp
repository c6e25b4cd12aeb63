// libkdi_coretools.so: cores under customisation, for scripts.
//
//   coretools::open identifier context ?params?   -> name
//   coretools::set name parameter value ...       -> names of what moved
//   coretools::explain name parameter ?message?   -> dictionary, docs/explain.md
//
// data/commands/coretools.json lists all commands, docs/coretools.md goes through a session. Open cores belong to their
// interpreter and end with it.
#include <tcl.h>

#include <algorithm>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "host/coretools/engine_model.h"
#include "host/coretools/session.h"
#include "kdi/common/HACGCHybridCustomController.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/corepages/ExplanationText.h"
#include "kdi/cores/Store.h"
#include "kdi/tcl/command.h"

namespace coretools {

std::shared_ptr<Open> opened(Session& session, Tcl_Obj* name) {
  const auto place = session.cores.find(tcl::text_of(name));
  if (place == session.cores.end())
    throw std::invalid_argument("no core is open by the name " + kdi::text::shown(tcl::text_view(name)));
  return place->second;
}

StrPairs pairs_of(tcl::Words words) {
  StrPairs pairs;
  for (std::size_t i = 0; i + 1 < words.size(); i += 2)
    pairs.emplace_back(tcl::text_of(words[i]), tcl::text_of(words[i + 1]));
  return pairs;
}

ParamMap map_of(Tcl_Obj* list, char const* what) {
  const auto words = tcl::elements_of(list);
  if (!words || words->size() % 2 != 0)
    throw std::invalid_argument(std::string(what) +
                                " is no list of names and values: " + kdi::text::shown(tcl::text_view(list)));
  return tcl::pairs_of(*words);
}

Tcl_Obj* dict_of(ParamMap const& map) {
  Tcl_Obj* const dict = Tcl_NewDictObj();
  for (auto const& [key, value] : map) tcl::put(dict, key, value);
  return dict;
}

Tcl_Obj* object_of(kdi::cores::Record const& record) {
  using kdi::cores::Record;
  switch (record.form()) {
    case Record::Form::text:
      return tcl::new_text(record.text());
    case Record::Form::list:
      return tcl::new_list(record.items(), object_of);
    case Record::Form::dictionary:
      break;
  }
  Tcl_Obj* const dict = Tcl_NewDictObj();
  for (std::size_t i = 0; i < record.keys().size(); ++i) tcl::put(dict, record.keys()[i], object_of(record.items()[i]));
  return dict;
}

}  // namespace coretools

namespace {

using coretools::dict_of;
using coretools::map_of;
using coretools::object_of;
using coretools::Open;
using coretools::opened;
using coretools::OpenedCore;
using coretools::pairs_of;
using coretools::Session;
using Words = tcl::Words;

// ------------------------------------------------------------------------------------------------------------ events

// Calls a script, which is a list, with the core and more words behind it. The interpreter's result stays that of the
// command at work; what the script fails with is thrown, for whoever delivers the event to report.
void call(Tcl_Interp* interp, std::string const& name, std::string const& script,
          std::initializer_list<Tcl_Obj*> more) {
  const tcl::ObjRef command(tcl::new_text(script));
  const tcl::ObjRef words(Tcl_DuplicateObj(command.get()));
  tcl::append(words.get(), name);
  for (Tcl_Obj* const word : more) tcl::append(words.get(), word);
  Tcl_Preserve(interp);
  Tcl_InterpState const before = Tcl_SaveInterpState(interp, TCL_OK);
  const int code = Tcl_EvalObjEx(interp, words.get(), TCL_EVAL_GLOBAL | TCL_EVAL_DIRECT);
  const std::string text = Tcl_GetStringResult(interp);
  Tcl_RestoreInterpState(interp, before);
  Tcl_Release(interp);
  if (code == TCL_ERROR) throw std::runtime_error("the script for " + name + " failed: " + text);
}

// ---------------------------------------------------------------------------------------------------------- commands

int strength_of(Tcl_Obj* word) {
  const auto strength = tcl::int_of(word);
  if (!strength) throw std::invalid_argument("the strength is no number: " + kdi::text::shown(tcl::text_view(word)));
  return *strength;
}

std::string open(Session& session, Words words) {
  kdi::ip::Customization::Begin begin;
  if (words.size() > 2) begin.params = map_of(words[2], "the parameters");
  if (words.size() > 3) begin.gui_context = map_of(words[3], "the context of the interface");
  if (words.size() > 4) begin.strength = strength_of(words[4]);
  auto made = std::make_shared<Open>(tcl::text_of(words[0]), map_of(words[1], "the context"), std::move(begin));
  std::string name = "core" + std::to_string(session.count++);
  made->core.on_update = [open = made.get(), interp = session.interp, name](StrVec const& names) {
    if (open->on_update.empty() || Tcl_InterpDeleted(interp) != 0) return;
    call(interp, name, open->on_update, {tcl::new_list(names)});
  };
  made->core.on_change = [open = made.get(), interp = session.interp, name](std::string const& flow,
                                                                            ParamMap const& params) {
    if (open->on_change.empty() || Tcl_InterpDeleted(interp) != 0) return;
    call(interp, name, open->on_change, {tcl::new_text(flow), dict_of(params)});
  };
  session.cores.emplace(name, std::move(made));
  return name;
}

void close(Session& session, Words words) {
  opened(session, words[0]);
  session.cores.erase(tcl::text_of(words[0]));
}

Tcl_Obj* list(Session& session) {
  return tcl::new_list(session.cores, [](auto const& entry) -> std::string const& { return entry.first; });
}

template <std::string Open::*script>
std::string on_event(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  if (words.size() > 1) {
    int length = 0;
    if (Tcl_ListObjLength(nullptr, words[1], &length) != TCL_OK)
      throw std::invalid_argument("the script is no list: " + kdi::text::shown(tcl::text_view(words[1])));
    (*one).*script = tcl::text_of(words[1]);
  }
  return (*one).*script;
}

Tcl_Obj* set(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  return tcl::new_list(one->core.set(pairs_of(words.subspan(1))));
}

Tcl_Obj* set_together(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  return tcl::new_list(one->core.set_together(pairs_of(words.subspan(1))));
}

bool update(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  return one->core.update(tcl::pairs_of(words.subspan(1)));
}

Tcl_Obj* take_back(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  StrVec names;
  for (Tcl_Obj* const word : words.subspan(1)) names.push_back(tcl::text_of(word));
  return tcl::new_list(one->core.take_back(names));
}

template <StrVec (OpenedCore::*step)()>
Tcl_Obj* moved_by(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  return tcl::new_list((one->core.*step)());
}

Tcl_Obj* get(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  const std::string name = tcl::text_of(words[1]);
  return object_of(words.size() > 2 ? one->core.get(name, tcl::text_of(words[2])) : one->core.get(name));
}

Tcl_Obj* errors(Session& session, Words words) { return dict_of(opened(session, words[0])->core.errors()); }

std::string modified(Session& session, Words words) { return opened(session, words[0])->core.modified(); }

Tcl_Obj* sub_presets(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  if (words.size() == 1) return tcl::new_list(one->core.sub_presets());
  return object_of(one->core.sub_preset(tcl::text_of(words[1])));
}

Tcl_Obj* choose(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  return tcl::new_list(one->core.choose(tcl::text_of(words[1])));
}

template <kdi::cores::Origin from>
Tcl_Obj* named_settings(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  if (words.size() == 1) return tcl::new_list(one->core.named_settings(from));
  return object_of(one->core.named_settings(from, tcl::text_of(words[1])));
}

template <kdi::cores::Origin from>
Tcl_Obj* apply(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  return tcl::new_list(one->core.apply(from, tcl::text_of(words[1])));
}

Tcl_Obj* explain(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  const std::string name = tcl::text_of(words[1]);
  return object_of(words.size() > 2 ? one->core.explain(name, tcl::text_of(words[2])) : one->core.explain(name));
}

// For people: lines of a width that a terminal has.
std::string why(Session& session, Words words) {
  constexpr std::size_t kWidth = 100, kWidest = 1000;
  const auto one = opened(session, words[0]);
  const std::string name = tcl::text_of(words[1]);
  const std::string message = words.size() > 2 ? tcl::text_of(words[2]) : std::string();
  std::size_t width = kWidth;
  if (words.size() > 3) {
    const auto given = kdi::number::whole<std::size_t>(tcl::text_view(words[3]));
    if (!given) throw std::invalid_argument("the width is no number: " + kdi::text::shown(tcl::text_view(words[3])));
    width = std::min(*given, kWidest);
  }
  return kdi::corepages::explanation_text(message.empty() ? one->core.explain(name) : one->core.explain(name, message),
                                          width);
}

Tcl_Obj* names(Session& session, Words words) {
  StrVec all = opened(session, words[0])->core.names();
  if (words.size() > 1)
    std::erase_if(
        all, [&](std::string const& one) { return Tcl_StringMatch(one.c_str(), tcl::text_of(words[1]).c_str()) == 0; });
  return tcl::new_list(all);
}

Tcl_Obj* try_set(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  return object_of(one->core.try_set(pairs_of(words.subspan(1))));
}

Tcl_Obj* compare(Session& session, Words words) {
  const auto one = opened(session, words[0]), other = opened(session, words[1]);
  return object_of(one->core.compare(other->core));
}

Tcl_Obj* carry(Session& session, Words words) {
  const auto one = opened(session, words[0]), other = opened(session, words[1]);
  return object_of(one->core.carry_to(other->core));
}

bool is_json(Tcl_Obj* form) {
  const std::string_view word = tcl::text_view(form);
  if (word != "script" && word != "json")
    throw std::invalid_argument("no form " + kdi::text::shown(word) + ": use script or json");
  return word == "json";
}

void write(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  const std::string text = is_json(words[1]) ? one->core.json() : one->core.script();
  kdi::write_file(tcl::required_native_path(words[2]), text);
}

void report(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  const std::string path = tcl::required_native_path(words[1]);
  kdi::write_file(path, one->core.report());
}

Tcl_Obj* read(Session& session, Words words) {
  const auto one = opened(session, words[0]);
  const bool json = is_json(words[1]);
  const std::string path = tcl::required_native_path(words[2]);
  const std::string text = kdi::read_file(path);
  return tcl::new_list(json ? one->core.read_json(text, path) : one->core.read_script(text, path));
}

// ------------------------------------------------------------------------------------------------------ descriptions

Tcl_Obj* cores() {
  Tcl_Obj* const dict = Tcl_NewDictObj();
  for (std::string const& name : kdi::cores::core_names())
    tcl::put(dict, name, tcl::new_list(kdi::cores::core_versions(name)));
  return dict;
}

// Those of the models, in the order of their registration, and of cores that have none.
Tcl_Obj* identifiers() {
  StrVec all = HACGCHybridCustomController::identifiers();
  for (std::string& one : coretools::EngineModel::identifiers()) all.push_back(std::move(one));
  return tcl::new_list(all);
}

// Of the newest version unless one is named.
Tcl_Obj* parameters(Words words) {
  const std::string name = tcl::text_of(words[0]);
  const StrVec versions = kdi::cores::core_versions(name);
  const std::string version = words.size() > 1 ? tcl::text_of(words[1]) : versions.empty() ? "" : versions.back();
  const auto core = kdi::cores::core_description(name, version);
  if (core == nullptr)
    throw std::invalid_argument("no core " + kdi::text::shown(words.size() > 1 ? name + " " + version : name) +
                                "; there are " + kdi::text::joined(kdi::cores::core_names(), ", "));
  Tcl_Obj* const dict = Tcl_NewDictObj();
  for (kdi::cores::Parameter const& one : core->parameters())
    tcl::put(dict, one.name,
             tcl::new_dict({{"group", one.group()},
                            {"default", kdi::cores::value_text(one.default_value)},
                            {"values", tcl::new_list(one.values())},
                            {"user_names", tcl::new_list(one.user_names())},
                            {"display_name", one.display_name()},
                            {"description", one.description()}}));
  return dict;
}

using tcl::handler;
using tcl::usage;

constexpr tcl::WordCount kName = tcl::exactly(1, usage("name"));
constexpr tcl::WordCount kScript = tcl::between(1, 2, usage("name ?script?"));
constexpr tcl::WordCount kFile = tcl::exactly(3, usage("name form file"));
constexpr tcl::WordCount kTwo = tcl::exactly(2, usage("name other"));

constexpr tcl::Row kCommands[] = {
    {"coretools::open", handler<open>,
     tcl::between(2, 5, usage("identifier context ?params? ?gui_context? ?strength?"))},
    {"coretools::close", handler<close>, kName},
    {"coretools::list", handler<list>, tcl::exactly(0, usage(""))},
    {"coretools::on_update", handler<on_event<&Open::on_update>>, kScript},
    {"coretools::on_change", handler<on_event<&Open::on_change>>, kScript},
    {"coretools::set", handler<set>, tcl::pairs_behind(3, usage("name parameter value ?parameter value ...?"))},
    {"coretools::set_together", handler<set_together>,
     tcl::pairs_behind(3, usage("name parameter value ?parameter value ...?"))},
    {"coretools::update", handler<update>, tcl::pairs_behind(1, usage("name ?parameter value ...?"))},
    {"coretools::take_back", handler<take_back>, tcl::at_least(2, usage("name parameter ..."))},
    {"coretools::undo", handler<moved_by<&OpenedCore::undo>>, kName},
    {"coretools::redo", handler<moved_by<&OpenedCore::redo>>, kName},
    {"coretools::get", handler<get>, tcl::between(2, 3, usage("name parameter ?kind?"))},
    {"coretools::errors", handler<errors>, kName},
    {"coretools::modified", handler<modified>, kName},
    {"coretools::sub_presets", handler<sub_presets>, tcl::between(1, 2, usage("name ?parameter?"))},
    {"coretools::choose", handler<choose>, tcl::exactly(2, usage("name choice"))},
    {"coretools::presets", handler<named_settings<kdi::cores::Origin::preset>>,
     tcl::between(1, 2, usage("name ?preset?"))},
    {"coretools::boards", handler<named_settings<kdi::cores::Origin::board>>,
     tcl::between(1, 2, usage("name ?board?"))},
    {"coretools::apply_preset", handler<apply<kdi::cores::Origin::preset>>, tcl::exactly(2, usage("name preset"))},
    {"coretools::apply_board", handler<apply<kdi::cores::Origin::board>>, tcl::exactly(2, usage("name board"))},
    {"coretools::explain", handler<explain>, tcl::between(2, 3, usage("name parameter ?message?"))},
    {"coretools::try", handler<try_set>, tcl::pairs_behind(3, usage("name parameter value ?parameter value ...?"))},
    {"coretools::compare", handler<compare>, kTwo},
    {"coretools::carry", handler<carry>, kTwo},
    {"coretools::write", handler<write>, kFile},
    {"coretools::read", handler<read>, kFile},
    {"coretools::report", handler<report>, tcl::exactly(2, usage("name file"))},
    {"coretools::why", handler<why>, tcl::between(2, 4, usage("name parameter ?message? ?width?"))},
    {"coretools::names", handler<names>, tcl::between(1, 2, usage("name ?pattern?"))},
    {"coretools::cores", handler<cores>, tcl::exactly(0, usage(""))},
    {"coretools::identifiers", handler<identifiers>, tcl::exactly(0, usage(""))},
    {"coretools::parameters", handler<parameters>, tcl::between(1, 2, usage("core ?version?"))},
};

}  // namespace

/// Found by Tcl's `load`.
extern "C" int Kdi_coretools_Init(Tcl_Interp* interp) {
  constexpr char kKey[] = "coretools";
  if (Tcl_GetAssocData(interp, kKey, nullptr) != nullptr) return TCL_OK;
  auto* const session = new Session{interp, {}};
  Tcl_SetAssocData(
      interp, kKey, [](ClientData data, Tcl_Interp*) { delete static_cast<Session*>(data); }, session);
  tcl::register_all<kCommands>(interp, session);
  coretools::register_model_commands(*session);
  coretools::register_cdo_commands(*session);
  coretools::register_output_commands(*session);
  return TCL_OK;
}
