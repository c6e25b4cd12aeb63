#include "tcltasks/dsp/fftalgorithm/fftalgorithm.h"
#include "tcltasks/frame/tcl_command.h"

namespace fftalgorithm_init {

int InitFFTAlgorithm(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  if (objc != 2) return tcl::fail(interp, "Invalid number of arguments.");

  int count = 0;
  Tcl_Obj** elements = nullptr;
  if (Tcl_ListObjGetElements(nullptr, objv[1], &count, &elements) != TCL_OK)
    return tcl::fail(interp, "Invalid input list provided.");
  HSTVector<double> samples(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    // A number that already is one is read without going through its text.
    if (Tcl_GetDoubleFromObj(nullptr, elements[i], &samples[static_cast<std::size_t>(i)]) != TCL_OK)
      return tcl::fail(interp, std::string("Invalid double value provided.") + Tcl_GetString(elements[i]));
  }

  HSTVector<std::pair<double, double>> response;
  if (!FFTAlgorithmImp::GetFrequencyResponse(samples, response))
    return tcl::fail(interp,
                     "Number of input samples MUST be a power-of-2 value for "
                     "FFTAlgorithmPtrHandle::GetFrequencyResponse");

  std::vector<Tcl_Obj*> pairs;
  pairs.reserve(response.size());
  for (auto const& [frequency, magnitude] : response) {
    Tcl_Obj* const pair[] = {Tcl_NewDoubleObj(frequency), Tcl_NewDoubleObj(magnitude)};
    pairs.push_back(Tcl_NewListObj(2, pair));
  }
  return tcl::succeed(interp, Tcl_NewListObj(static_cast<int>(pairs.size()), pairs.data()));
}

void init(Tcl_Interp* interp) {
  tcl::register_command<InitFFTAlgorithm>(interp, "fir_compiler_fftalgorithm::get_frequency_response");
}

void uninit() {}

}  // namespace fftalgorithm_init
