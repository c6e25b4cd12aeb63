#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "kdi/tcl/command.h"
#include "tcltasks/dsp/v_scaler/lanczos.h"
#include "tcltasks/dsp/v_scaler/v_scaler.h"

namespace {

constexpr char const* kNoInteger = "Error: Incorrect format of arguments expects an integer";
constexpr std::size_t kWords = 9;
constexpr std::size_t kChromaWord = 7;
constexpr tcl::WordCount kAtLeastNine = tcl::at_least(kWords, "Error: Incorrect number of arguments");

// The two words stand for 0 and 1 in every position that takes an integer.
bool read_integer(Tcl_Obj* word, int& value) {
  const std::string_view text = Tcl_GetString(word);
  if (text == "false" || text == "true") {
    value = text == "true";
    return true;
  }
  return Tcl_GetInt(nullptr, text.data(), &value) == TCL_OK;
}

}  // namespace

int Ip_v_scaler_v8_1_generate_lancoz_coefficients_tcl(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  if (!kAtLeastNine.allows(objc - 1)) return tcl::fail(interp, kAtLeastNine.complaint);  // has callers outside Tcl

  std::array<int, kWords> words{};
  for (std::size_t i = 0; i < kWords; ++i) {
    if (i == kChromaWord)
      words[i] = v_scaler::getChromaFormatValue(Tcl_GetString(objv[i + 1]));
    else if (!read_integer(objv[i + 1], words[i]))
      return tcl::fail(interp, kNoInteger);
  }
  const auto [h_phases, v_phases, h_taps, v_taps, max_phases, use_chroma, use_vertical, chroma, sets] = words;
  if (!v_scaler::are_sizes_supported(h_phases, v_phases, h_taps, v_taps, max_phases, use_chroma, use_vertical, chroma,
                                     sets))
    return tcl::fail(interp, kNoInteger);
  std::string path;  // as the script names it, and as the system does
  std::optional<std::string> native = path;
  if (objc > static_cast<int>(kWords) + 1) {
    path = tcl::text_of(objv[kWords + 1]);
    native = tcl::native_path(objv[kWords + 1]);
  }
  if (native)  // else it cannot be opened, which is no error
    v_scaler::CreateCoefsMatrix(h_phases, v_phases, h_taps, v_taps, max_phases, use_chroma, use_vertical, chroma, sets,
                                *native);
  return tcl::succeed(interp, v_scaler::coefs_file_name(path));
}

namespace v_scaler_init::v_scaler_kdi_tcltasks {

constexpr tcl::Row kCommands[] = {
    {"generate_lancoz_coefficients", Ip_v_scaler_v8_1_generate_lancoz_coefficients_tcl, kAtLeastNine},
};

void init(Tcl_Interp* interp) { tcl::register_all<kCommands>(interp); }

void uninit() {}

}  // namespace v_scaler_init::v_scaler_kdi_tcltasks
