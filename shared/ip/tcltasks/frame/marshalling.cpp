#include "tcltasks/frame/marshalling.h"

#include <cstring>

namespace marshalling {
namespace lists {

int check_args(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], char const* usage,
               std::vector<named_slot> const& slots) {
  // Scripts rely on the words having been offered as lists; what comes of it does not matter here.
  for (int i = 0; i < objc; ++i) {
    int count = 0;
    Tcl_Obj** elements = nullptr;
    Tcl_ListObjGetElements(nullptr, objv[i], &count, &elements);
  }
  for (named_slot const& slot : slots) *slot.value = nullptr;

  for (int i = 1; i < objc; i += 2) {
    char const* const name = Tcl_GetString(objv[i]);
    named_slot const* taker = nullptr;
    for (named_slot const& slot : slots)
      if (taker == nullptr && *slot.value == nullptr && std::strcmp(name, slot.name) == 0) taker = &slot;
    if (taker == nullptr || i + 1 == objc) return set_tcl_error(interp, objc, objv, usage);
    *taker->value = objv[i + 1];
  }
  for (named_slot const& slot : slots)
    if (*slot.value == nullptr) return set_tcl_error(interp, objc, objv, usage);
  return TCL_OK;
}

Tcl_Obj* new_text(std::string const& text) { return Tcl_NewStringObj(text.c_str(), -1); }

Tcl_Obj* new_list(ParamMap const& params) {
  Tcl_Obj* list = Tcl_NewListObj(0, nullptr);
  for (auto const& [name, value] : params) {
    Tcl_ListObjAppendElement(nullptr, list, new_text(name));
    Tcl_ListObjAppendElement(nullptr, list, new_text(value));
  }
  return list;
}

int set_result(Tcl_Interp* interp, Tcl_Obj* result) {
  Tcl_SetObjResult(interp, result);
  return TCL_OK;
}

}  // namespace lists

namespace {

int fail_with(Tcl_Interp* interp, Tcl_Obj* result) {
  Tcl_SetObjResult(interp, result);
  return TCL_ERROR;
}

int fail_with_words(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], Tcl_Obj* message) {
  Tcl_Obj* const parts[] = {message, Tcl_NewListObj(objc, objv)};
  return fail_with(interp, Tcl_NewListObj(2, parts));
}

Tcl_Obj* list_of_rows(std::vector<std::vector<std::string>> const& rows) {
  Tcl_Obj* list = Tcl_NewListObj(0, nullptr);
  for (std::vector<std::string> const& row : rows) Tcl_ListObjAppendElement(nullptr, list, lists::new_list(row));
  return list;
}

void append_results(Tcl_Obj* list, RawResult const& results) {
  for (auto const& [key, rows] : results) {
    Tcl_ListObjAppendElement(nullptr, list, lists::new_text(key));
    Tcl_ListObjAppendElement(nullptr, list, list_of_rows(rows));
  }
}

std::vector<Tcl_Obj*> elements_of(Tcl_Interp* interp, Tcl_Obj* obj) {
  int count = 0;
  Tcl_Obj** elements = nullptr;
  if (Tcl_ListObjGetElements(interp, obj, &count, &elements) != TCL_OK) return {};
  return {elements, elements + count};
}

}  // namespace

int check_args(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], char const* usage, char const* name1,
               Tcl_Obj*& value1) {
  return lists::check_args(interp, objc, objv, usage, {{name1, &value1}});
}

int check_args(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], char const* usage, char const* name1,
               Tcl_Obj*& value1, char const* name2, Tcl_Obj*& value2) {
  return lists::check_args(interp, objc, objv, usage, {{name1, &value1}, {name2, &value2}});
}

int check_args(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], char const* usage, char const* name1,
               Tcl_Obj*& value1, char const* name2, Tcl_Obj*& value2, char const* name3, Tcl_Obj*& value3) {
  return lists::check_args(interp, objc, objv, usage, {{name1, &value1}, {name2, &value2}, {name3, &value3}});
}

int set_tcl_error(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], char const* message) {
  return fail_with_words(interp, objc, objv, Tcl_NewStringObj(message, -1));
}

int set_tcl_error(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], std::vector<std::string> const& messages) {
  return fail_with_words(interp, objc, objv, lists::new_list(messages));
}

int set_tcl_error(Tcl_Interp* interp, char const* message) { return fail_with(interp, Tcl_NewStringObj(message, -1)); }

int set_tcl_error(Tcl_Interp* interp, RawResult const& results, ParamMap const& errors) {
  Tcl_Obj* list = Tcl_NewListObj(0, nullptr);
  Tcl_ListObjAppendElement(nullptr, list, Tcl_NewStringObj("Errors", -1));
  Tcl_ListObjAppendElement(nullptr, list, lists::new_list(errors));
  append_results(list, results);
  return fail_with(interp, list);
}

int set_tcl_result(Tcl_Interp* interp, std::string const& text) {
  return lists::set_result(interp, lists::new_text(text));
}

int set_tcl_result(Tcl_Interp* interp, char const* text) {
  return lists::set_result(interp, Tcl_NewStringObj(text, -1));
}

int set_tcl_result(Tcl_Interp* interp, std::vector<std::vector<std::string>> const& rows) {
  return lists::set_result(interp, list_of_rows(rows));
}

int set_tcl_result(Tcl_Interp* interp, RawResult const& results) {
  Tcl_Obj* list = Tcl_NewListObj(0, nullptr);
  append_results(list, results);
  return lists::set_result(interp, list);
}

void tcl2cpp(Tcl_Interp* /*interp*/, Tcl_Obj* obj, std::string& text) { text = Tcl_GetString(obj); }

void tcl2cpp(Tcl_Interp* interp, Tcl_Obj* obj, std::set<std::string>& elements) {
  elements.clear();
  for (Tcl_Obj* element : elements_of(interp, obj)) elements.insert(Tcl_GetString(element));
}

void tcl2cpp(Tcl_Interp* interp, Tcl_Obj* obj, ParamMap& params) {
  params.clear();
  const std::vector<Tcl_Obj*> elements = elements_of(interp, obj);
  for (std::size_t i = 0; i + 1 < elements.size(); i += 2)
    params[Tcl_GetString(elements[i])] = Tcl_GetString(elements[i + 1]);
}

}  // namespace marshalling
