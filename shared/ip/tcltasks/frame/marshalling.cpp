#include "tcltasks/frame/marshalling.h"

#include <cstring>

namespace marshalling {
namespace lists {

int check_args(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], char const* usage,
               std::vector<NamedSlot> const& slots) {
  // Scripts rely on the words having been offered as lists; what comes of it does not matter here.
  for (int i = 0; i < objc; ++i) tcl::elements_of(objv[i]);
  for (NamedSlot const& slot : slots) *slot.value = nullptr;

  for (int i = 1; i < objc; i += 2) {
    char const* const name = Tcl_GetString(objv[i]);
    NamedSlot const* taker = nullptr;
    for (NamedSlot const& slot : slots)
      if (taker == nullptr && *slot.value == nullptr && std::strcmp(name, slot.name) == 0) taker = &slot;
    if (taker == nullptr || i + 1 == objc) return set_tcl_error(interp, objc, objv, usage);
    *taker->value = objv[i + 1];
  }
  for (NamedSlot const& slot : slots)
    if (*slot.value == nullptr) return set_tcl_error(interp, objc, objv, usage);
  return TCL_OK;
}

Tcl_Obj* new_text(std::string const& text) { return tcl::new_text(text.c_str()); }

Tcl_Obj* new_list(ParamMap const& params) {
  std::vector<std::string> flat;
  for (auto const& [name, value] : params) flat.insert(flat.end(), {name, value});
  return new_list(flat);
}

}  // namespace lists

namespace {

int fail_with_words(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], Tcl_Obj* message) {
  return tcl::fail(interp, tcl::new_list({message, Tcl_NewListObj(objc, objv)}));
}

Tcl_Obj* list_of_rows(std::vector<std::vector<std::string>> const& rows) {
  return tcl::new_list(rows, lists::new_list<std::vector<std::string>>);
}

void append_results(Tcl_Obj* list, RawResult const& results) {
  for (auto const& [key, rows] : results) {
    tcl::append(list, lists::new_text(key));
    tcl::append(list, list_of_rows(rows));
  }
}

// Of what is no list, none.
std::span<Tcl_Obj* const> elements_of(Tcl_Interp* interp, Tcl_Obj* obj) {
  return tcl::elements_of(obj, interp).value_or(std::span<Tcl_Obj* const>());
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
  return fail_with_words(interp, objc, objv, tcl::new_text(message));
}

int set_tcl_error(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], std::vector<std::string> const& messages) {
  return fail_with_words(interp, objc, objv, lists::new_list(messages));
}

int set_tcl_error(Tcl_Interp* interp, char const* message) { return tcl::fail(interp, message); }

int set_tcl_error(Tcl_Interp* interp, RawResult const& results, ParamMap const& errors) {
  Tcl_Obj* list = tcl::new_list({tcl::new_text("Errors"), lists::new_list(errors)});
  append_results(list, results);
  return tcl::fail(interp, list);
}

int set_tcl_result(Tcl_Interp* interp, std::string const& text) { return tcl::succeed(interp, lists::new_text(text)); }

int set_tcl_result(Tcl_Interp* interp, char const* text) { return tcl::succeed(interp, text); }

int set_tcl_result(Tcl_Interp* interp, std::vector<std::vector<std::string>> const& rows) {
  return tcl::succeed(interp, list_of_rows(rows));
}

int set_tcl_result(Tcl_Interp* interp, RawResult const& results) {
  Tcl_Obj* list = tcl::new_list({});
  append_results(list, results);
  return tcl::succeed(interp, list);
}

void tcl2cpp(Tcl_Interp* /*interp*/, Tcl_Obj* obj, std::string& text) { text = Tcl_GetString(obj); }

void tcl2cpp(Tcl_Interp* interp, Tcl_Obj* obj, std::set<std::string>& elements) {
  elements.clear();
  for (Tcl_Obj* element : elements_of(interp, obj)) elements.insert(Tcl_GetString(element));
}

void tcl2cpp(Tcl_Interp* interp, Tcl_Obj* obj, ParamMap& params) { params = tcl::pairs_of(elements_of(interp, obj)); }

}  // namespace marshalling
