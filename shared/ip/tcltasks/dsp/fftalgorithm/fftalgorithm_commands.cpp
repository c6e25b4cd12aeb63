#include "kdi/tcl/command.h"
#include "tcltasks/dsp/fftalgorithm/fftalgorithm.h"

namespace fftalgorithm_init {

int InitFFTAlgorithm(ClientData, Tcl_Interp* interp, int /*objc*/, Tcl_Obj* const objv[]) {
  const auto elements = tcl::elements_of(objv[1]);
  if (!elements) return tcl::fail(interp, "Invalid input list provided.");
  HSTVector<double> samples;
  samples.reserve(elements->size());
  for (Tcl_Obj* const element : *elements) {
    // A number that already is one is read without going through its text.
    const auto sample = tcl::double_of(element);
    if (!sample) return tcl::fail(interp, "Invalid double value provided." + tcl::text_of(element));
    samples.push_back(*sample);
  }

  HSTVector<std::pair<double, double>> response;
  if (!FFTAlgorithmImp::GetFrequencyResponse(samples, response))
    return tcl::fail(interp,
                     "Number of input samples MUST be a power-of-2 value for "
                     "FFTAlgorithmPtrHandle::GetFrequencyResponse");

  return tcl::succeed(interp, tcl::new_list(response, [](auto const& point) {
                        return tcl::new_list({tcl::new_value(point.first), tcl::new_value(point.second)});
                      }));
}

constexpr tcl::Row kCommands[] = {
    {"fir_compiler_fftalgorithm::get_frequency_response", InitFFTAlgorithm,
     tcl::exactly(1, "Invalid number of arguments.")},
};

void init(Tcl_Interp* interp) { tcl::register_all<kCommands>(interp); }

void uninit() {}

}  // namespace fftalgorithm_init
