// The signal-processing generators against the least that the same work can cost.
#include <fftw3.h>
#include <tcl.h>

#include <cstdlib>
#include <random>
#include <vector>

#include "bench/ratio.h"
#include "tcltasks/dsp/fftalgorithm/fftalgorithm.h"

namespace {

constexpr int kPairs = 9;
constexpr std::size_t kSamples = std::size_t{1} << 20;

using Response = HSTVector<std::pair<double, double>>;

// Takes a list of numbers and returns a list of pairs of the same shape as the command's, computing nothing.
int identity_cmd(ClientData, Tcl_Interp* interp, int, Tcl_Obj* const objv[]) {
  int count = 0;
  Tcl_Obj** elements = nullptr;
  Tcl_ListObjGetElements(nullptr, objv[1], &count, &elements);
  std::vector<double> samples(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) Tcl_GetDoubleFromObj(nullptr, elements[i], &samples[static_cast<std::size_t>(i)]);
  std::vector<Tcl_Obj*> pairs;
  pairs.reserve(samples.size() / 2 + 1);
  for (std::size_t i = 0; i <= samples.size() / 2; ++i) {
    Tcl_Obj* const pair[] = {Tcl_NewDoubleObj(static_cast<double>(i)), Tcl_NewDoubleObj(samples[i])};
    pairs.push_back(Tcl_NewListObj(2, pair));
  }
  Tcl_SetObjResult(interp, Tcl_NewListObj(static_cast<int>(pairs.size()), pairs.data()));
  return TCL_OK;
}

double command_seconds(Tcl_Interp* interp, char const* name, Tcl_Obj* list) {
  Tcl_Obj* words[] = {Tcl_NewStringObj(name, -1), list};
  Tcl_IncrRefCount(words[0]);
  const double seconds = bench::processor_seconds_of([&] {
    if (Tcl_EvalObjv(interp, 2, words, 0) != TCL_OK) std::abort();
  });
  Tcl_ResetResult(interp);
  Tcl_DecrRefCount(words[0]);
  return seconds;
}

std::vector<double> random_samples() {
  std::mt19937_64 random(1);
  std::vector<double> samples(kSamples);
  for (double& sample : samples) sample = static_cast<double>(random() >> 11) / 9007199254740992.0 - 0.5;
  return samples;
}

}  // namespace

int main() {
  Tcl_FindExecutable(nullptr);
  Tcl_Interp* interp = Tcl_CreateInterp();
  fftalgorithm_init::init(interp);
  Tcl_CreateObjCommand(interp, "identity", identity_cmd, nullptr, nullptr);

  const std::vector<double> samples = random_samples();
  std::vector<Tcl_Obj*> objects;
  for (double sample : samples) objects.push_back(Tcl_NewDoubleObj(sample));
  Tcl_Obj* list = Tcl_NewListObj(static_cast<int>(objects.size()), objects.data());
  Tcl_IncrRefCount(list);

  bench::print_heading("Frequency response of 2^20 samples");
  bool kept = bench::print_row(
      "get_frequency_response / a command with the same list and pairs",
      bench::interleaved(
          kPairs, [&] { return command_seconds(interp, "fir_compiler_fftalgorithm::get_frequency_response", list); },
          [&] { return command_seconds(interp, "identity", list); }),
      1.8);

  std::vector<double> in = samples;
  std::vector<fftw_complex> out(kSamples / 2 + 1);
  const fftw_plan plan = fftw_plan_dft_r2c_1d(static_cast<int>(kSamples), in.data(), out.data(), FFTW_ESTIMATE);
  kept &= bench::print_row("the transform alone / FFTW's estimate-planned real transform",
                           bench::interleaved(
                               kPairs,
                               [&] {
                                 return bench::processor_seconds_of([&] {
                                   Response response;
                                   fftalgorithm_init::FFTAlgorithmImp::GetFrequencyResponse(samples, response);
                                 });
                               },
                               [&] { return bench::processor_seconds_of([&] { fftw_execute(plan); }); }),
                           4.0);
  fftw_destroy_plan(plan);
  Tcl_DecrRefCount(list);
  Tcl_DeleteInterp(interp);
  return kept ? 0 : 1;
}
