// Compile time of the FEC subsystem: against Tcl's own work on the same dictionaries, and against the size of a code.
#include <sys/resource.h>
#include <sys/wait.h>
#include <tcl.h>
#include <unistd.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "bench/ratio.h"
#include "tcltasks/fec/sd_fec.h"
#include "tests/support/dict_text.h"
#include "tests/support/nr_code.h"

namespace {

using Spec = sd_fec::ldpc_code_spec_t;

constexpr int kPairs = 15;

std::vector<Spec> nr_decoder_codes() {
  std::vector<Spec> codes;
  for (int graph : {1, 2})
    for (unsigned z : test_support::lifting_sizes()) {
      Spec& spec = codes.emplace_back();
      static_cast<fec::CodeSpec&>(spec) = test_support::nr_code(graph, z);
    }
  return codes;
}

// ------------------------------------------------------------------------ Tcl's own work: parse and walk a dictionary

void walk_numbers(Tcl_Obj* list, double& sum) {
  int count = 0;
  Tcl_Obj** values = nullptr;
  Tcl_ListObjGetElements(nullptr, list, &count, &values);
  for (int i = 0; i < count; ++i) {
    double number = 0;
    Tcl_GetDoubleFromObj(nullptr, values[i], &number);
    sum += number;
  }
}

void walk_dict(Tcl_Obj* dict, double& sum, bool is_code) {
  Tcl_DictSearch search;
  Tcl_Obj *key = nullptr, *value = nullptr;
  int done = 0;
  for (Tcl_DictObjFirst(nullptr, dict, &search, &key, &value, &done); !done;
       Tcl_DictObjNext(&search, &key, &value, &done)) {
    if (is_code && std::string_view(Tcl_GetString(key)) == "sm_array") {
      int count = 0;
      Tcl_Obj** elements = nullptr;
      Tcl_ListObjGetElements(nullptr, value, &count, &elements);
      for (int i = 0; i < count; ++i) walk_dict(elements[i], sum, false);
    } else {
      walk_numbers(value, sum);
    }
  }
  Tcl_DictObjDone(&search);
}

double parse_seconds(std::vector<std::string> const& texts) {
  double sum = 0;
  const double seconds = bench::processor_seconds_of([&] {
    for (std::string const& text : texts) {
      Tcl_Obj* dict = Tcl_NewStringObj(text.data(), static_cast<int>(text.size()));
      Tcl_IncrRefCount(dict);
      walk_dict(dict, sum, true);
      Tcl_DecrRefCount(dict);
    }
  });
  if (sum <= 0) std::abort();  // the walk must have read something
  return seconds;
}

double command_seconds(Tcl_Interp* interp, Tcl_Obj* command, std::vector<std::string> const& texts) {
  return bench::processor_seconds_of([&] {
    for (std::string const& text : texts) {
      Tcl_Obj* words[] = {command, Tcl_NewStringObj(text.data(), static_cast<int>(text.size()))};
      Tcl_IncrRefCount(words[1]);
      if (Tcl_EvalObjv(interp, 2, words, 0) != TCL_OK) {
        std::fprintf(stderr, "%s\n", Tcl_GetStringResult(interp));
        std::abort();
      }
      Tcl_DecrRefCount(words[1]);
    }
    Tcl_ResetResult(interp);
  });
}

double stall_seconds(std::vector<sd_fec::ldpc_code_config_t>& configs) {
  return bench::processor_seconds_of([&] {
    for (auto& config : configs) sd_fec::perf_analyser::calc_ldpc_stall(config, nullptr, nullptr);
  });
}

// ------------------------------------------------------------------------------------ compile time against operations

// A code of `rows` layers of `degree` operations each over `cols` block columns, at P of 128.
Spec regular_code(unsigned rows, unsigned degree, unsigned cols) {
  std::mt19937 random(rows);
  Spec spec;
  spec.p = 128;
  spec.n = spec.p * cols;
  spec.k = spec.n / 2;
  for (unsigned row = 0; row < rows; ++row)
    for (unsigned i = 0; i < degree; ++i) {
      fec::ldpc_sm_element_t element;
      element.row = row;
      element.col = (row * 7 + i * (cols / degree)) % cols;
      element.shift = {static_cast<std::uint32_t>(random() % spec.p)};
      spec.sm_array.push_back(element);
    }
  return spec;
}

double compile_seconds(Spec const& spec, unsigned repeats) {
  return bench::processor_seconds_of([&] {
    for (unsigned i = 0; i < repeats; ++i) {
      sd_fec::ldpc_code_config_t config;
      sd_fec::ldpc_code_stats_t stats;
      sd_fec::gen_ldpc_code_config(spec, config, stats, nullptr, nullptr, sd_fec::Variant::kMinSlots, true);
    }
  });
}

void print_scaling() {
  std::printf("\nCompile time against operations (layers of 8 operations; up to 256 layers with the stall analysis)\n");
  std::printf("%10s %12s %14s\n", "layers", "operations", "ns/operation");
  for (unsigned rows : {16U, 32U, 64U, 128U, 256U, 1024U, 4096U, 16384U, 65536U}) {
    const Spec spec = regular_code(rows, 8, 128);
    const unsigned repeats = std::max(1U, 65536 / rows);
    std::vector<double> samples;
    for (int i = 0; i < 5; ++i) samples.push_back(compile_seconds(spec, repeats));
    std::printf("%10u %12u %14.1f\n", rows, rows * 8, bench::median(samples) / repeats / (rows * 8.0) * 1e9);
  }
}

// ------------------------------------------------------------------------------------------------------------ memory

// Peak resident memory of a child process that does `work`, in KiB.
template <class Work>
long child_peak_kib(Work work) {
  const pid_t child = fork();
  if (child == 0) {
    work();
    _exit(0);
  }
  int status = 0;
  rusage usage{};
  wait4(child, &status, 0, &usage);
  return usage.ru_maxrss;
}

void print_memory(Tcl_Interp* interp, Tcl_Obj* command, std::vector<std::string> const& texts) {
  const auto largest =
      *std::max_element(texts.begin(), texts.end(), [](auto const& a, auto const& b) { return a.size() < b.size(); });
  const long idle = child_peak_kib([] {});
  const long one = child_peak_kib([&] { command_seconds(interp, command, {largest}); });
  std::printf("\nPeak memory of the largest of these codes: %ld KiB above the idle process (%ld KiB)\n", one - idle,
              idle);
}

}  // namespace

int main() {
  Tcl_FindExecutable(nullptr);
  Tcl_Interp* interp = Tcl_CreateInterp();
  sd_fec::init(interp);
  Tcl_Obj* command = Tcl_NewStringObj("sd_fec::gen_ldpc_params", -1);
  Tcl_IncrRefCount(command);

  const std::vector<Spec> codes = nr_decoder_codes();
  std::vector<std::string> texts;
  std::vector<sd_fec::ldpc_code_config_t> configs(codes.size());
  for (std::size_t i = 0; i < codes.size(); ++i) {
    texts.push_back(test_support::dict_text(codes[i]));
    sd_fec::ldpc_code_stats_t stats;
    sd_fec::gen_ldpc_code_config(codes[i], configs[i], stats, nullptr, nullptr, sd_fec::Variant::kMinSlots, true);
    if (!stats.dec_ok) std::abort();
  }
  print_memory(interp, command, texts);  // first, while the process is small

  bench::print_heading("All 102 5G NR decoder codes (51 lifting sizes, both base graphs)");
  const auto parse = [&] { return parse_seconds(texts); };
  bool kept = bench::print_row("gen_ldpc_params / parse and walk of the same text by Tcl",
                               bench::interleaved(
                                   kPairs, [&] { return command_seconds(interp, command, texts); }, parse),
                               3.0);
  kept &= bench::print_row("stall analysis / the same parse",
                           bench::interleaved(
                               kPairs, [&] { return stall_seconds(configs); }, parse),
                           0.05);
  if (!bench::runs_once()) print_scaling();

  Tcl_DecrRefCount(command);
  Tcl_DeleteInterp(interp);
  return kept ? 0 : 1;
}
