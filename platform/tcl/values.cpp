#include "kdi/tcl/values.h"

namespace tcl {
namespace {

template <class Value, class Read, class Stored = Value>
std::optional<Value> read(Read get, Tcl_Interp* interp, Tcl_Obj* obj, Stored value = {}) {
  if (get(interp, obj, &value) != TCL_OK) return std::nullopt;
  return static_cast<Value>(value);
}

}  // namespace

std::optional<int> int_of(Tcl_Obj* obj, Tcl_Interp* interp) { return read<int>(Tcl_GetIntFromObj, interp, obj); }
std::optional<Tcl_WideInt> wide_of(Tcl_Obj* obj, Tcl_Interp* interp) {
  return read<Tcl_WideInt>(Tcl_GetWideIntFromObj, interp, obj);
}
std::optional<double> double_of(Tcl_Obj* obj, Tcl_Interp* interp) {
  return read<double>(Tcl_GetDoubleFromObj, interp, obj);
}
std::optional<bool> bool_of(Tcl_Obj* obj, Tcl_Interp* interp) {
  return read<bool>(Tcl_GetBooleanFromObj, interp, obj, 0);
}

std::optional<std::span<Tcl_Obj* const>> elements_of(Tcl_Obj* list, Tcl_Interp* interp) {
  int count = 0;
  Tcl_Obj** elements = nullptr;
  if (Tcl_ListObjGetElements(interp, list, &count, &elements) != TCL_OK) return std::nullopt;
  return std::span<Tcl_Obj* const>(elements, static_cast<std::size_t>(count));
}

std::optional<Tcl_Obj*> Key::find(Tcl_Obj* dict) const {
  Tcl_Obj* value = nullptr;
  if (Tcl_DictObjGet(nullptr, dict, object_.get(), &value) != TCL_OK) return std::nullopt;
  return value;
}

Tcl_Obj* new_dict(std::initializer_list<Entry> entries) {
  Tcl_Obj* const dict = Tcl_NewDictObj();
  for (Entry const& entry : entries) put(dict, entry.name, entry.object);
  return dict;
}

DictWalk::DictWalk(Tcl_Obj* dict) {
  is_dict_ = Tcl_DictObjFirst(nullptr, dict, &search_, &key_, &value_, &done_) == TCL_OK;
}

}  // namespace tcl
