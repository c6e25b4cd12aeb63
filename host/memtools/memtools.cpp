// libkdi_memtools.so: memory interfaces for people.
//
//   memtools::plan PART TYPE ?option value ...?         -> dictionary: possible, memory, width, ..., pins
//   memtools::diagnose PART TYPE ?option value ...?     -> dictionary: possible, smallest, obstacles, near
//   memtools::constraints PART TYPE ?option value ...?  -> list of lines
//   memtools::table PART TYPE ?option value ...?        -> the plan as comma-separated values
//   memtools::banks PART TYPE ?option value ...?        -> list of dictionaries, one for each bank
//   memtools::lengths PART TYPE ?option value ...?      -> list of dictionaries, one for each signal
//   memtools::connector PART TYPE ?option value ...?    -> list of dictionaries: signal, contact, pin, slots, ball
//   memtools::picture PART TYPE ?option value ...?      -> SVG
//   memtools::check PART TYPE FILE ?option value ...?   -> dictionary: violations, open, others, swaps, ..., left, pins
//   memtools::joint PART CONTROLLERS                    -> dictionary: possible, exact, controllers, sequence
//   memtools::migrate PART OTHER TYPE ?option value ...? -> dictionary: kept, lost, broken, possible
//   memtools::difference FILE OTHER                     -> list of dictionaries
//   memtools::swaps, memtools::types                    -> what there is
//
// data/commands/memtools.json lists options and keys.
#include <algorithm>
#include <optional>
#include <set>

#include "host/memtools/bank_picture.h"
#include "host/memtools/connectors.h"
#include "host/memtools/tables.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/device/parts.h"
#include "kdi/planning/Board.h"
#include "kdi/planning/Diagnosis.h"
#include "kdi/planning/Joint.h"
#include "kdi/tcl/command.h"

namespace {

using namespace memtools;
namespace text = kdi::text;

std::string word(tcl::Words words, std::size_t at) { return tcl::text_of(words[at]); }

// A design with its request, and where it is placed.
struct Question {
  Design design;
  planning::Asked asked;

  explicit Question(Design made) : design(std::move(made)), asked(design.wanted) {}
  planning::PlacementRequest const& request() const { return asked.request(); }
};

Question question_of(tcl::Words words, std::size_t behind, std::vector<std::string> const& others = {}) {
  Design design =
      design_of(word(words, 0), word(words, behind - 1), options_of(words.subspan(behind), design_options(others)));
  return memtools::asked([&] { return Question(std::move(design)); });
}

std::string named(planning::Diagnosis const& diagnosis) {
  if (diagnosis.obstacles.empty())
    return "the pins cannot be placed: the interface is larger than what five rows of banks have";
  std::string all = "the pins cannot be placed; they could without this: ";
  for (std::size_t i = 0; i < diagnosis.obstacles.size(); ++i)
    all += (i == 0 ? "" : "; ") + diagnosis.obstacles[i].rule + ", " + diagnosis.obstacles[i].text;
  return all;
}

std::vector<int> pads_or_refusal(Question const& question) {
  const planning::PlacementResult result = planning::place(question.request());
  if (!result.plan) refuse(named(planning::diagnose(question.request())));
  return result.plan->pad_of_signal;
}

// ---------------------------------------------------------------------------------------------------------------- plan

Tcl_Obj* row_dict(Row const& row) {
  return tcl::new_dict({{"signal", row.signal},
                        {"ball", row.ball},
                        {"pad", row.pad},
                        {"bank", row.bank},
                        {"lane", row.lane},
                        {"site", row.site},
                        {"standard", row.standard},
                        {"direction", row.direction},
                        {"delay_ps", row.delay_ps}});
}

Tcl_Obj* plan_dict(planning::Wanted const& wanted, planning::PlacementRequest const& request,
                   planning::Plan const& plan) {
  return tcl::new_dict({{"possible", true},
                        {"memory", wanted.interface.part.name},
                        {"width", wanted.interface.width},
                        {"ranks", wanted.interface.ranks},
                        {"rate_mbps", wanted.rate_mbps},
                        {"banks", plan.objective.banks},
                        {"lanes", plan.objective.lanes},
                        {"off_centre", plan.objective.off_centre},
                        {"pins", tcl::new_list(rows_of(request, plan.pad_of_signal), row_dict)}});
}

Tcl_Obj* plan_command(tcl::Words words) {
  const Question question = question_of(words, 2);
  const planning::PlacementResult result = planning::place(question.request());
  if (result.plan) return plan_dict(question.design.wanted, question.request(), *result.plan);
  return tcl::new_dict({{"possible", false}, {"reason", named(planning::diagnose(question.request()))}});
}

Tcl_Obj* diagnose_command(tcl::Words words) {
  const Question question = question_of(words, 2);
  const planning::Diagnosis diagnosis = planning::diagnose(question.request());
  if (diagnosis.is_possible) return tcl::new_dict({{"possible", true}});
  const auto near = memtools::asked([&] { return planning::nearest_plans(question.design.wanted); });
  return tcl::new_dict({{"possible", false},
                        {"smallest", diagnosis.is_smallest},
                        {"obstacles", tcl::new_list(diagnosis.obstacles,
                                                    [](planning::Obstacle const& one) {
                                                      return tcl::new_dict({{"rule", one.rule}, {"text", one.text}});
                                                    })},
                        {"near", tcl::new_list(near, [](planning::NearPlan const& one) {
                           return tcl::new_dict({{"change", one.change},
                                                 {"text", one.text},
                                                 {"banks", one.plan.objective.banks},
                                                 {"lanes", one.plan.objective.lanes}});
                         })}});
}

Tcl_Obj* constraints_command(tcl::Words words) {
  const Question question = question_of(words, 2);
  return tcl::new_list(constraints_of(question.request(), pads_or_refusal(question)));
}

std::string table_command(tcl::Words words) {
  const Question question = question_of(words, 2);
  return csv_of(rows_of(question.request(), pads_or_refusal(question)));
}

Tcl_Obj* banks_command(tcl::Words words) {
  const Question question = question_of(words, 2);
  return tcl::new_list(schematic_of(question.request(), pads_or_refusal(question)), [](SchematicBank const& bank) {
    return tcl::new_dict({{"bank", bank.number},
                          {"kind", bank.kind},
                          {"vcco", bank.vcco},
                          {"vref", bank.vref},
                          {"pads", tcl::new_list(bank.rows, [](SchematicRow const& row) {
                             return tcl::new_dict({{"ball", row.ball},
                                                   {"pad", row.pad},
                                                   {"lane", row.lane},
                                                   {"site", row.site},
                                                   {"signal", row.signal},
                                                   {"standard", row.standard},
                                                   {"use", row.use}});
                           })}});
  });
}

std::string picture_command(tcl::Words words) {
  const Question question = question_of(words, 2);
  planning::InterfaceRequest const& asked = question.design.wanted.interface;
  return bank_picture(asked.part.name + ", " + std::to_string(asked.width) + " bits at " +
                          std::to_string(question.design.wanted.rate_mbps) + " Mb/s, on " + question.design.part->name,
                      {{&question.request(), pads_or_refusal(question)}});
}

// --------------------------------------------------------------------------------------------------------------
// lengths

double speed_of(Options const& options) {
  constexpr char kUsual[] = "6.9";  // ps for a mm of stripline in a board of a relative permittivity of 4.3
  const std::string given = option(options, "-ps_per_mm", kUsual);
  const auto value = kdi::number::whole<double>(given);
  if (!value || !(*value >= 1 && *value <= 100))
    refuse("-ps_per_mm " + text::shown(given) + " is no number from 1 to 100");
  return *value;
}

std::map<std::string, double> traces_of(Options const& options) {
  std::map<std::string, double> traces;
  const tcl::ObjRef given(tcl::new_text(option(options, "-traces")));
  tcl::DictWalk at(given.get());
  if (!at.is_dict()) refuse("-traces is no dictionary of signals and lengths in mm");
  for (; !at.at_end(); at.next()) {
    const auto length = tcl::double_of(at.value());
    if (!length || !(*length >= 0 && *length <= 10000))
      refuse("-traces: " + text::shown(tcl::text_view(at.value())) + " is no length from 0 to 10000 mm");
    traces[tcl::text_of(at.key())] = *length;
  }
  return traces;
}

Tcl_Obj* lengths_command(tcl::Words words) {
  const Question question = question_of(words, 2, {"-ps_per_mm", "-traces"});
  const Options options = options_of(words.subspan(2), design_options({"-ps_per_mm", "-traces"}));
  const double speed = speed_of(options);
  const std::map<std::string, double> traces = traces_of(options);
  for (auto const& [signal, length] : traces)
    if (question.request().interface->signal(signal) < 0) refuse("-traces: no signal " + text::shown(signal));
  return tcl::new_list(lengths_of(question.request(), pads_or_refusal(question), traces, speed), [](Length const& one) {
    return tcl::new_dict({{"signal", one.signal},
                          {"reference", one.reference},
                          {"package_ps", one.package_ps},
                          {"trace_mm", one.trace_mm},
                          {"total_ps", one.total_ps},
                          {"skew_ps", one.skew_ps},
                          {"skew_mm", one.skew_mm}});
  });
}

Tcl_Obj* connector_command(tcl::Words words) {
  const Question question = question_of(words, 2);
  planning::InterfaceRequest const& asked = question.design.wanted.interface;
  if (asked.part.module.empty()) refuse(asked.part.name + " is no module: it has no connector");
  const std::vector<int> pads = pads_or_refusal(question);
  planning::Interface const& interface = *question.request().interface;
  Tcl_Obj* const list = tcl::new_list({});
  for (std::size_t i = 0; i < pads.size(); ++i) {
    planning::Signal const& signal = interface.signals[i];
    const auto contact = memtools::asked([&] { return contact_of(asked, signal); });
    if (!contact) continue;
    tcl::append(list,
                tcl::new_dict({{"signal", signal.name},
                               {"contact", contact->name},
                               {"pin", contact->pin ? std::to_string(*contact->pin) : std::string()},
                               {"slots", tcl::new_list(contact->slots)},
                               {"ball", question.request().layout->pads[static_cast<std::size_t>(pads[i])].ball}}));
  }
  return list;
}

// ----------------------------------------------------------------------------------------------------------------
// board

std::vector<planning::PinRow> rows_in(std::string const& file, std::string const& component) {
  return planning::read_pin_table(content_of(file), file, component);
}

Tcl_Obj* violation_list(planning::PlacementRequest const& request, std::vector<planning::Violation> const& violations) {
  return tcl::new_list(violations, [&](planning::Violation const& one) {
    const auto name = [&](int signal) { return request.interface->signals[static_cast<std::size_t>(signal)].name; };
    const auto ball = [&](int pad) { return pad < 0 ? "" : request.layout->pads[static_cast<std::size_t>(pad)].ball; };
    return tcl::new_dict({{"rule", one.rule},
                          {"text", one.text},
                          {"signals", tcl::new_list(one.signals, name)},
                          {"balls", tcl::new_list(one.pads, ball)}});
  });
}

bool flag_of(Options const& options, std::string const& name) {
  const std::string given = option(options, name, "0");
  if (given != "0" && given != "1") refuse(name + " is 0 or 1");
  return given == "1";
}

// Ranks whose addresses the board has mirrored: those that are told, else the odd ones of modules without registers.
std::set<int> mirrored_ranks(Options const& options, planning::InterfaceRequest const& asked) {
  const int count = asked.ranks * asked.slots;
  std::set<int> ranks;
  for (std::string const& word : list_of(options, "-mirrored")) {
    const auto rank = kdi::number::whole<int>(word);
    if (!rank || *rank < 0 || *rank >= count)
      refuse("-mirrored: " + text::shown(word) + " is no rank from 0 to " + std::to_string(count - 1));
    ranks.insert(*rank);
  }
  if (options.contains("-mirrored") || asked.part.module.empty() || asked.part.module == "rdimm") return ranks;
  for (int rank = 1; rank < asked.ranks * asked.slots; ++rank)
    if (rank % asked.ranks % 2 == 1) ranks.insert(rank);
  return ranks;
}

// The same by the names that ranks have after swaps.
std::set<int> mirrored_after(std::vector<planning::Swap> const& swaps, planning::Interface const& interface, int count,
                             std::set<int> ranks) {
  for (planning::Swap const& one : swaps) {
    std::set<int> after;
    for (int rank = 0; rank < count; ++rank) {
      int before = rank;
      if (one.what == "rank") {
        const int first = interface.signals[static_cast<std::size_t>(one.signals[0].first)].index;
        const int second = interface.signals[static_cast<std::size_t>(one.signals[0].second)].index;
        before = rank == first ? second : rank == second ? first : rank;
      }
      if (ranks.contains(before) != (one.what == "mirror")) after.insert(rank);
    }
    ranks = std::move(after);
  }
  return ranks;
}

Tcl_Obj* check_command(tcl::Words words) {
  const std::vector<std::string> known = design_options({"-component", "-checksum", "-design", "-mirrored"});
  const Options options = options_of(words.subspan(3), known);
  const std::string file = word(words, 2), design_file = option(options, "-design");
  return memtools::asked([&] {
    Design design = design_of(word(words, 0), word(words, 1), options);
    const planning::Interface interface = planning::interface_of(design.wanted.interface);
    const planning::BoardPins board =
        planning::pins_of_rows(*design.layout, interface, rows_in(file, option(options, "-component")));
    design.wanted.taken.insert(design.wanted.taken.end(), board.others.begin(), board.others.end());
    if (!design_file.empty()) {
      const planning::BoardPins made = planning::pins_of_rows(*design.layout, interface, rows_in(design_file, {}));
      for (std::size_t i = 0; i < interface.signals.size(); ++i)
        if (made.pad_of_signal[i] >= 0) design.wanted.pad_of_signal[interface.signals[i].name] = made.pad_of_signal[i];
    }
    const planning::Asked asked(design.wanted);
    planning::PlacementRequest const& request = asked.request();
    const auto violations = planning::violations(request, board.pad_of_signal);
    const auto mending =
        planning::mend(request, board.pad_of_signal,
                       planning::permitted_swaps(design.wanted.interface, interface, flag_of(options, "-checksum")));
    const std::set<int> mirrored =
        mirrored_after(mending.swaps, interface, design.wanted.interface.ranks * design.wanted.interface.slots,
                       mirrored_ranks(options, design.wanted.interface));
    std::vector<std::string> open;
    for (std::size_t i = 0; i < interface.signals.size(); ++i)
      if (board.pad_of_signal[i] < 0) open.push_back(interface.signals[i].name);
    return tcl::new_dict(
        {{"violations", violation_list(request, violations)},
         {"open", tcl::new_list(open)},
         {"others", board.others.size()},
         {"swaps",
          tcl::new_list(mending.swaps,
                        [](planning::Swap const& one) {
                          return tcl::new_dict({{"what", one.what}, {"first", one.first}, {"second", one.second}});
                        })},
         {"fewest", mending.is_fewest},
         {"at_least", mending.at_least},
         {"mirrored", tcl::new_list(mirrored)},
         {"left", violation_list(request, mending.left)},
         {"pins", tcl::new_list(rows_of(request, mending.pads), row_dict)}});
  });
}

Tcl_Obj* swaps_command(tcl::Words) {
  return tcl::new_list(planning::swap_rules(), [](planning::SwapRule const& one) {
    const auto words = [](planning::MirrorPair const& pair) {
      return tcl::new_list({tcl::new_text(pair.port), tcl::new_value(pair.first), tcl::new_value(pair.second)});
    };
    return tcl::new_dict({{"what", one.what},
                          {"types", tcl::new_list(one.types)},
                          {"not_modules", tcl::new_list(one.not_modules)},
                          {"pairs", tcl::new_list(one.pairs, words)},
                          {"bound_by_checksum", one.bound_by_checksum},
                          {"text", one.text},
                          {"source", one.source}});
  });
}

// ----------------------------------------------------------------------------------------------------------------
// joint

// The controllers of a list, each a type and its options.
std::vector<std::unique_ptr<Question>> controllers_of(Tcl_Interp* interp, std::string const& part, Tcl_Obj* list) {
  const auto elements = tcl::elements_of(list, interp);
  if (!elements) refuse(Tcl_GetStringResult(interp));
  if (elements->empty() || elements->size() > planning::kMostJoint)
    refuse("1 to " + std::to_string(planning::kMostJoint) + " controllers are planned together");
  std::vector<std::unique_ptr<Question>> all;
  for (Tcl_Obj* const one : *elements) {
    const tcl::ObjRef held(one);
    const auto own = tcl::elements_of(one, interp);
    if (!own || own->size() % 2 != 1) refuse("a controller is a list of a type and pairs of options and values");
    // One layout for all, so that pads can be compared.
    all.push_back(std::make_unique<Question>(design_of(part, tcl::text_of((*own)[0]),
                                                       options_of(own->subspan(1), design_options()),
                                                       all.empty() ? nullptr : all.front()->design.layout)));
  }
  return all;
}

Tcl_Obj* joint_command(Tcl_Interp* interp, tcl::Words words) {
  return memtools::asked([&] {
    const auto questions = controllers_of(interp, word(words, 0), words[1]);
    std::vector<planning::PlacementRequest> requests;
    for (auto const& one : questions) requests.push_back(one->request());
    const planning::JointPlan joint = planning::place_jointly(requests);
    const std::vector<planning::Plan> sequence = planning::place_in_sequence(requests);
    Tcl_Obj* const controllers = tcl::new_list({});
    for (std::size_t i = 0; i < joint.plans.size(); ++i)
      tcl::append(controllers, plan_dict(questions[i]->design.wanted, requests[i], joint.plans[i]));
    std::string reason;
    if (sequence.size() < requests.size())
      reason =
          "one after the other, controller " + std::to_string(sequence.size() + 1) + " finds no room" +
          (joint.plans.empty() ? "" : ", since those before it take what it alone can use; together all have room");
    std::string picture;
    if (!joint.plans.empty()) {
      std::vector<Drawn> drawn;
      for (std::size_t i = 0; i < requests.size(); ++i) drawn.push_back({&requests[i], joint.plans[i].pad_of_signal});
      picture = bank_picture(std::to_string(requests.size()) + " controllers on " + word(words, 0), drawn);
    }
    return tcl::new_dict({{"possible", !joint.plans.empty()},
                          {"exact", joint.is_exact},
                          {"least_pads", joint.has_least_pads},
                          {"pads_proven", joint.pads_proven},
                          {"banks", joint.sum.banks},
                          {"lanes", joint.sum.lanes},
                          {"controllers", controllers},
                          {"in_sequence", sequence.size()},
                          {"reason", reason},
                          {"picture", picture}});
  });
}

// ------------------------------------------------------------------------------------------------------ two placements

Tcl_Obj* migrate_command(tcl::Words words) {
  const Options options = options_of(words.subspan(3), design_options());
  return memtools::asked([&] {
    const Question from(design_of(word(words, 0), word(words, 2), options));
    const std::vector<int> pads = pads_or_refusal(from);
    const Question to(design_of(word(words, 1), word(words, 2), options));
    planning::Layout const& layout = *to.design.layout;
    std::vector<int> moved(pads.size(), -1);
    std::vector<std::string> lost;
    for (std::size_t i = 0; i < pads.size(); ++i) {
      std::string const& ball = from.design.layout->pads[static_cast<std::size_t>(pads[i])].ball;
      moved[i] = layout.pad_of_ball(ball);
      if (moved[i] < 0) lost.push_back(from.request().interface->signals[i].name);
    }
    const planning::PlacementResult anew = planning::place(to.request());
    return tcl::new_dict(
        {{"kept", pads.size() - lost.size()},
         {"lost", tcl::new_list(lost)},
         {"broken", violation_list(to.request(), planning::violations(to.request(), moved))},
         {"possible", anew.plan.has_value()},
         {"reason", anew.plan ? std::string() : named(planning::diagnose(to.request()))},
         {"pins",
          tcl::new_list(anew.plan ? rows_of(to.request(), anew.plan->pad_of_signal) : std::vector<Row>(), row_dict)}});
  });
}

Tcl_Obj* difference_command(tcl::Words words) {
  return memtools::asked([&] {
    std::map<std::string, planning::PinRow> before, after;
    for (auto& row : rows_in(word(words, 0), {})) before.emplace(row.signal, row);
    for (auto& row : rows_in(word(words, 1), {})) after.emplace(row.signal, row);
    std::set<std::string> signals;
    for (auto const& [signal, row] : before) signals.insert(signal);
    for (auto const& [signal, row] : after) signals.insert(signal);
    Tcl_Obj* const list = tcl::new_list({});
    for (std::string const& signal : signals) {
      const auto first = before.find(signal), second = after.find(signal);
      const bool was = first != before.end(), is = second != after.end();
      std::string what;
      if (!was || !is)
        what = was ? "gone" : "new";
      else if (first->second.ball != second->second.ball)
        what = "moved";
      else if (first->second.standard != second->second.standard)
        what = "standard";
      if (what.empty()) continue;
      const auto told = [&](planning::PinRow const& row) { return what == "standard" ? row.standard : row.ball; };
      tcl::append(list, tcl::new_dict({{"signal", signal},
                                       {"what", what},
                                       {"before", was ? told(first->second) : std::string()},
                                       {"after", is ? told(second->second) : std::string()}}));
    }
    return list;
  });
}

Tcl_Obj* types_command(tcl::Words) {
  return tcl::new_list(planning::memory_types(), [](std::string const& type) {
    planning::MemoryKind const& kind = *planning::find_memory(type);
    return tcl::new_dict({{"type", type},
                          {"devices", tcl::new_list(kind.devices)},
                          {"modules", tcl::new_list(kind.modules)},
                          {"ranks_max", kind.ranks_max},
                          {"source", kind.source}});
  });
}

constexpr tcl::WordCount kDesign = tcl::pairs_behind(2, tcl::usage("part type ?option value ...?"));

constexpr tcl::Row kCommands[] = {
    {"memtools::plan", tcl::handler<plan_command>, kDesign},
    {"memtools::diagnose", tcl::handler<diagnose_command>, kDesign},
    {"memtools::constraints", tcl::handler<constraints_command>, kDesign},
    {"memtools::table", tcl::handler<table_command>, kDesign},
    {"memtools::banks", tcl::handler<banks_command>, kDesign},
    {"memtools::lengths", tcl::handler<lengths_command>, kDesign},
    {"memtools::connector", tcl::handler<connector_command>, kDesign},
    {"memtools::picture", tcl::handler<picture_command>, kDesign},
    {"memtools::check", tcl::handler<check_command>,
     tcl::pairs_behind(3, tcl::usage("part type file ?option value ...?"))},
    {"memtools::joint", tcl::handler<joint_command>, tcl::exactly(2, tcl::usage("part controllers"))},
    {"memtools::migrate", tcl::handler<migrate_command>,
     tcl::pairs_behind(3, tcl::usage("part other type ?option value ...?"))},
    {"memtools::difference", tcl::handler<difference_command>, tcl::exactly(2, tcl::usage("file other"))},
    {"memtools::swaps", tcl::handler<swaps_command>, tcl::exactly(0, tcl::usage(""))},
    {"memtools::types", tcl::handler<types_command>, tcl::exactly(0, tcl::usage(""))},
};

}  // namespace

/// Found by Tcl's `load`.
extern "C" int Kdi_memtools_Init(Tcl_Interp* interp) {
  tcl::register_all<kCommands>(interp);
  return TCL_OK;
}
