// What a script pays for the ranges of a core that lives: the engine's answer as nested Tcl lists, against those lists
// alone, built of what the engine said.
#include <tcl.h>

#include <cstdlib>
#include <list>
#include <string>
#include <vector>

#include "bench/ratio.h"
#include "kdi/ippcw/HardIP.h"
#include "kdi/ippcw/HardIPInstance.h"

namespace {

constexpr int kPairs = 15;
constexpr std::size_t kPairsOfACall = 1000;

Tcl_Obj* text(std::string const& text) { return Tcl_NewStringObj(text.data(), static_cast<int>(text.size())); }

// Parameters and their rows, as commands give them.
Tcl_Obj* nested(RawResult const& rows) {
  Tcl_Obj* const all = Tcl_NewListObj(0, nullptr);
  for (auto const& [name, columns] : rows) {
    Tcl_Obj* const row = Tcl_NewListObj(0, nullptr);
    for (std::vector<std::string> const& column : columns) {
      Tcl_Obj* const words = Tcl_NewListObj(0, nullptr);
      for (std::string const& word : column) Tcl_ListObjAppendElement(nullptr, words, text(word));
      Tcl_ListObjAppendElement(nullptr, row, words);
    }
    Tcl_ListObjAppendElement(nullptr, all, text(name));
    Tcl_ListObjAppendElement(nullptr, all, row);
  }
  return all;
}

double seconds_of_lists(RawResult const& rows) {
  return bench::processor_seconds_of([&] {
    Tcl_Obj* const lists = nested(rows);
    Tcl_IncrRefCount(lists);
    Tcl_DecrRefCount(lists);
  });
}

}  // namespace

int main(int, char** argv) {
  Tcl_FindExecutable(argv[0]);  // which makes its values ready
  bench::print_heading("Ranges of a core that lives, 1,000 pairs");
  StrVec errors;
  hardip_eng::HardIPInterface* const core = hardip_eng::HardIPManager::getInstance()->getOrCreateInstance(
      {{"ps_core_name", "psxl"}, {"instance_name", "bench"}, {"part", "brvn3716-die-2LHP-e-S-es1"}}, errors);
  if (core == nullptr) {
    for (std::string const& error : errors) std::fprintf(stderr, "%s\n", error.c_str());
    return EXIT_FAILURE;
  }
  // Parameters are given what they have: what is left is what every call costs.
  RawResult rows;
  core->getOutputParams(rows);
  ParamMap params;
  for (auto const& [name, columns] : rows) {
    if (params.size() == kPairsOfACall) break;
    if (columns.size() < 2 || columns[0].empty()) continue;
    // What is disabled shows no value: the first that it may have.
    const bool is_shown = columns[0][0] != "SKIP";
    if (is_shown || !columns[1].empty()) params.emplace(name, is_shown ? columns[0][0] : columns[1][0]);
  }
  bool kept = true;
  for (const int strength : {1, 5, 10}) {
    const auto ours = [&] {
      return bench::processor_seconds_of([&] {
        RawResult answer;
        ParamMap messages;
        core->getRanges(params, answer, messages, strength);
        Tcl_Obj* const lists = nested(answer);
        Tcl_IncrRefCount(lists);
        Tcl_DecrRefCount(lists);
      });
    };
    RawResult answer;
    ParamMap messages;
    core->getRanges(params, answer, messages, strength);
    const std::string what = "strength " + std::to_string(strength) + ", " + std::to_string(params.size()) +
                             " pairs, " + std::to_string(answer.size()) + " rows / the lists alone";
    const bench::RatioResult result = bench::interleaved(kPairs, ours, [&] { return seconds_of_lists(answer); });
    if (strength < 10)
      kept = bench::print_row(what.c_str(), result, 4) && kept;
    else
      std::printf("%-58s %10.3f ms %10.3f ms %8.3f\n", what.c_str(), result.first * 1e3, result.second * 1e3,
                  result.ratio);
  }
  return kept ? EXIT_SUCCESS : EXIT_FAILURE;
}
