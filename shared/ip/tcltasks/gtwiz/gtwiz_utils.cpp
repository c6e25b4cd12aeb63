#include "tcltasks/gtwiz/gtwiz_utils.h"

#include <algorithm>
#include <optional>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiReplace.h"
#include "kdi/common/KdiText.h"
#include "kdi/tcl/command.h"

namespace kelvane_gtwiz_utils::gtwiz_utils {
namespace {

[[noreturn]] void refuse(std::string const& word, char const* expected) {
  throw "Ip_gtwiz : '" + kdi::text::shortened(word) + "' is not a " + expected + ".\n";
}

// Of the words for infinity, which are no numbers here, none begins with a digit or a point.
template <class Number>
Number number_of(std::string const& word) {
  const std::size_t first = word.find_first_not_of("+-");
  const bool is_figure = first != std::string::npos && (kdi::text::is_digit(word[first]) || word[first] == '.');
  const auto value = is_figure ? kdi::number::whole_with_sign<Number>(word) : std::nullopt;
  if (!value) refuse(word, "number");
  return *value;
}

ParamMap map_of(int objc, Tcl_Obj* const* objv, std::string (*name_of)(std::string_view)) {
  ParamMap map;
  for (int i = 0; i < objc; i += 2)
    map.insert_or_assign(name_of(tcl::text_view(objv[i])), i + 1 < objc ? tcl2CppStr(objv[i + 1]) : std::string());
  return map;
}

}  // namespace

std::string tcl2CppStr(Tcl_Obj* obj) { return Tcl_GetString(obj); }

StrVec tcl2CppStrVec(Tcl_Obj* obj) {
  StrVec words;
  if (const auto elements = tcl::elements_of(obj))
    for (Tcl_Obj* const element : *elements) words.push_back(tcl2CppStr(element));
  return words;
}

std::set<std::string> tcl2CppStrSet(Tcl_Obj* obj) {
  const StrVec words = tcl2CppStrVec(obj);
  return {words.begin(), words.end()};
}

ParamMap tcl2CppStrMap(int objc, Tcl_Obj* const* objv) { return map_of(objc, objv, kdi::text::lowered); }
ParamMap tcl2CppStrMapWithExactKey(int objc, Tcl_Obj* const* objv) {
  return map_of(objc, objv, [](std::string_view name) { return std::string(name); });
}

double stringToDouble(std::string const& word) { return number_of<double>(word); }
float stringToFloat(std::string const& word) { return number_of<float>(word); }

bool stringToBool(std::string const& word) {
  const std::string lowered = kdi::text::lowered(word);
  for (char const* const yes : {"true", "1", "yes", "on"})
    if (lowered == yes) return true;
  for (char const* const no : {"", "false", "0", "no", "off"})
    if (lowered == no) return false;
  refuse(word, "boolean");
}

std::string intToStr(int number) { return std::to_string(number); }

void find_and_replace(std::string& text, std::string const& search, std::string const& replacement) {
  kdi::text::replace_all(text, search, replacement);
}

StrVec reverseVector(StrVec words) {
  std::reverse(words.begin(), words.end());
  return words;
}

int set_tcl_result(Tcl_Interp* interp, std::string const& text) { return tcl::succeed(interp, text); }
int set_tcl_result(Tcl_Interp* interp, bool truth) { return tcl::succeed(interp, truth ? "true" : "false"); }
int set_tcl_result(Tcl_Interp* interp, int number) { return tcl::succeed(interp, number); }
int set_tcl_result(Tcl_Interp* interp, double number) { return tcl::succeed(interp, number); }
int set_tcl_result(Tcl_Interp* interp, StrVec const& texts) { return tcl::succeed(interp, tcl::new_list(texts)); }
int set_tcl_result(Tcl_Interp* interp, std::set<double> const& numbers) {
  return tcl::succeed(interp, tcl::new_list(numbers));
}
int set_tcl_result(Tcl_Interp* interp, ParamMap const& map) {
  Tcl_Obj* const list = tcl::new_list({});
  for (auto const& [name, value] : map) {
    tcl::append(list, name);
    tcl::append(list, value);
  }
  return tcl::succeed(interp, list);
}
int set_tcl_error(Tcl_Interp* interp, std::string const& text) { return tcl::fail(interp, text); }

}  // namespace kelvane_gtwiz_utils::gtwiz_utils
