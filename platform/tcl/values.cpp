#include "kdi/tcl/values.h"

#include <stdexcept>

namespace tcl {
namespace {

// A text that Tcl lets grow.
class Buffer {
 public:
  Buffer() { Tcl_DStringInit(&string_); }
  Buffer(Buffer const&) = delete;
  Buffer& operator=(Buffer const&) = delete;
  ~Buffer() { Tcl_DStringFree(&string_); }

  Tcl_DString* get() { return &string_; }
  std::string text() const {
    return {Tcl_DStringValue(&string_), static_cast<std::size_t>(Tcl_DStringLength(&string_))};
  }

 private:
  Tcl_DString string_;
};

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

std::string from_system(std::string_view text) {
  Buffer buffer;
  Tcl_ExternalToUtfDString(nullptr, text.data(), static_cast<int>(text.size()), buffer.get());
  return buffer.text();
}
std::string to_system(std::string_view text) {
  Buffer buffer;
  Tcl_UtfToExternalDString(nullptr, text.data(), static_cast<int>(text.size()), buffer.get());
  return buffer.text();
}

std::optional<std::string> native_path(Tcl_Obj* name) {
  if (text_view(name).empty()) return std::string();  // of no file, but a name
  if (Tcl_FSGetNativePath(name) == nullptr) return std::nullopt;
  if (!text_view(name).starts_with('~')) return to_system(text_view(name));
  Buffer translated;
  if (Tcl_TranslateFileName(nullptr, Tcl_GetString(name), translated.get()) == nullptr) return std::nullopt;
  return to_system(translated.text());
}

std::string required_native_path(Tcl_Obj* name) {
  if (auto path = native_path(name)) return *std::move(path);
  throw std::invalid_argument("\"" + text_of(name) + "\" names no file of the system");
}

std::string required_native_path(std::string const& name) {
  const ObjRef object(new_text(name));
  return required_native_path(object.get());
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
