// Fuzzes gen_ldpc_params of both cores by the text of its dictionary. The first byte picks the core; the rest is what a
// script would pass. Beside not crashing, the command has to keep its word: an error has a text, and a result has its
// three keys and well-formed writes.
#include <cstdint>

#include "tests/fuzz/require.h"
#include "tests/fuzz/tcl_target.h"

namespace {

using fuzz::require;

Tcl_Obj* value_of(Tcl_Obj* dict, char const* key) {
  Tcl_Obj* const name = Tcl_NewStringObj(key, -1);
  Tcl_IncrRefCount(name);
  Tcl_Obj* value = nullptr;
  Tcl_DictObjGet(nullptr, dict, name, &value);
  Tcl_DecrRefCount(name);
  return value;
}

void check_result(Tcl_Obj* result, std::string const& text) {
  for (char const* key : {"config", "transactions", "messages"})
    require(value_of(result, key) != nullptr, "a key of the result is missing", text);
  int count = 0;
  Tcl_Obj** writes = nullptr;
  require(Tcl_ListObjGetElements(nullptr, value_of(result, "transactions"), &count, &writes) == TCL_OK,
          "the transactions are no list", text);
  for (int i = 0; i < count; ++i) {
    int words = 0;
    Tcl_Obj* address = nullptr;
    Tcl_WideInt number = -1;
    require(Tcl_ListObjLength(nullptr, writes[i], &words) == TCL_OK && words == 3, "a write has not three words", text);
    Tcl_ListObjIndex(nullptr, writes[i], 0, &address);
    require(Tcl_GetWideIntFromObj(nullptr, address, &number) == TCL_OK && number >= 0x2000 && number % 4 == 0,
            "a write has a bad address", text);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size < 1 || size > fuzz::kLongestText) return 0;
  const std::string text(reinterpret_cast<char const*>(data + 1), size - 1);
  Tcl_Interp* const interp = fuzz::interpreter();
  Tcl_Obj* words[] = {Tcl_NewStringObj(data[0] % 2 != 0 ? "sd_fec::gen_ldpc_params" : "ldpc::gen_ldpc_params", -1),
                      Tcl_NewStringObj(text.data(), static_cast<int>(text.size()))};
  for (Tcl_Obj* word : words) Tcl_IncrRefCount(word);
  const int status = Tcl_EvalObjv(interp, 2, words, 0);
  require(status == TCL_OK || status == TCL_ERROR, "a status of another kind", text);
  Tcl_Obj* const result = Tcl_GetObjResult(interp);
  if (status == TCL_OK)
    check_result(result, text);
  else
    require(*Tcl_GetString(result) != '\0', "an error without a text", text);
  for (Tcl_Obj* word : words) Tcl_DecrRefCount(word);
  Tcl_ResetResult(interp);
  return 0;
}
