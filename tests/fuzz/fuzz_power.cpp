// Fuzzes Ip_power_est_get_power_estimation by the text of its list. The first byte picks the kind and whether a known
// part stands before the list. Beside not crashing, the command has to keep its word: a result is a number of watts,
// finite and not negative, or the answer to an unknown part; an error is one of those that are documented.
#include <cstdint>

#include "kdi/common/host/MessageHost.h"
#include "tests/fuzz/require.h"
#include "tests/fuzz/tcl_target.h"

namespace {

using fuzz::require;

constexpr char const* kParts[] = {"zrv7030-c484-1-c", "zrv9010-f625-2-i", "brvn3716-die-2LHP-e-S-es1"};
constexpr std::size_t kWays = 4;  // the three parts, and none

void check_message(ComMsgMgrInstance const& message) {
  require(message.mask == ComMsgMgr::MSG_WARNING && !message.text.empty(), "a message of another kind", message.text);
}

bool is_watts(std::string const& text) {
  const std::size_t point = text.find_first_not_of("0123456789");
  return point != 0 && point != std::string::npos && text[point] == '.' &&
         text.find_first_not_of("0123456789", point + 1) == point + 7 && text.substr(point + 7) == "(W)";
}

bool is_documented(std::string const& error) {
  return error == "Invalid input list provided." ||
         error.starts_with("Ip_power_est_get_power_estimation : no value for \"");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  static const int sink = message_host::add_sink(check_message);
  static_cast<void>(sink);
  if (size < 1 || size > fuzz::kLongestText) return 0;
  const std::size_t way = data[0] / 2 % kWays;
  std::string text(reinterpret_cast<char const*>(data + 1), size - 1);
  if (way + 1 < kWays) text = std::string("Power_PART ") + kParts[way] + " " + text;
  Tcl_Interp* const interp = fuzz::interpreter();
  Tcl_Obj* words[] = {Tcl_NewStringObj("Ip_power_est_get_power_estimation", -1),
                      Tcl_NewStringObj(text.data(), static_cast<int>(text.size())),
                      Tcl_NewStringObj(data[0] % 2 != 0 ? "GT" : "MIG", -1)};
  for (Tcl_Obj* word : words) Tcl_IncrRefCount(word);
  const int code = Tcl_EvalObjv(interp, 3, words, 0);
  const std::string result = Tcl_GetStringResult(interp);
  if (code == TCL_OK)
    require(is_watts(result) || result == "Invalid Part!", "a result that is no estimate", text);
  else
    require(is_documented(result), "an error that is not documented", result);
  for (Tcl_Obj* word : words) Tcl_DecrRefCount(word);
  Tcl_ResetResult(interp);
  return 0;
}
