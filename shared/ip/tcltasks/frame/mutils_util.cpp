#include "tcltasks/frame/mutils_util.h"

#include <algorithm>
#include <span>

#include "kdi/common/HSTStringUtils.h"
#include "kdi/common/KdiReplace.h"
#include "kdi/common/KdiText.h"
#include "tcltasks/frame/marshalling.h"

namespace mutils::util {

namespace lists = marshalling::lists;

int set_tcl_error(Tcl_Interp* interp, std::string const& message) {
  return tcl::fail(interp, lists::new_text(message));
}

int set_tcl_result(Tcl_Interp* interp, std::string text) {
  return tcl::succeed(interp, lists::new_list(std::vector<std::string>{std::move(text)}));
}

int set_tcl_result(Tcl_Interp* interp, int number) { return set_tcl_result(interp, intToStr(number)); }

int set_tcl_result(Tcl_Interp* interp, bool truth) {
  return set_tcl_result(interp, std::string(truth ? "true" : "false"));
}

int set_tcl_result(Tcl_Interp* interp, ParamMap const& params) { return tcl::succeed(interp, lists::new_list(params)); }

int set_tcl_result(Tcl_Interp* interp, StrList const& texts) { return tcl::succeed(interp, lists::new_list(texts)); }

int set_tcl_result(Tcl_Interp* interp, PinMap const& values) {
  StrList flat;
  for (auto const& [key, texts] : values) {
    flat.push_back(key);
    flat.insert(flat.end(), texts.begin(), texts.end());
  }
  return set_tcl_result(interp, flat);
}

std::string tcl2cpp(Tcl_Obj* obj) { return Tcl_GetString(obj); }
std::string tcl2cppString(Tcl_Obj* obj) { return tcl2cpp(obj); }

namespace {

std::span<Tcl_Obj* const> words_of(int objc, Tcl_Obj* const* objv) {
  return {objv, static_cast<std::size_t>(std::max(objc, 0))};
}

bool is_pin_name(std::string const& word) {
  for (char const* part : {"DQ[", "Address/Ctrl-", "D[", "Q[", "Q-"})
    if (word.find(part) != std::string::npos) return true;
  return false;
}

}  // namespace

ParamMap tcl2cpp(int objc, Tcl_Obj* const* objv) {
  return tcl::pairs_of(words_of(objc, objv), HSTStringUtils::to_lower);
}

ParamMap tcl2cppString(int objc, Tcl_Obj* const* objv) { return tcl2cpp(objc, objv); }

ParamMap tcl2cppWithExactKey(int objc, Tcl_Obj* const* objv) { return tcl::pairs_of(words_of(objc, objv)); }

std::vector<std::string> tcl2cpp(int& count, int objc, Tcl_Obj* const* objv) {
  std::vector<std::string> words;
  for (int i = 0; i < objc; ++i, ++count) words.push_back(tcl2cpp(objv[i]));
  return words;
}

PinMap tcl2cpp(int objc, Tcl_Obj* const* objv, int& count) {
  PinMap table;
  std::string name;
  std::vector<std::string> values;  // sic: a name that follows one value keeps that value for itself
  int taken = 0;
  for (int i = 0; i < objc; ++i) {
    const std::string word = tcl2cpp(objv[i]);
    ++count;
    if (is_pin_name(word)) {
      name = word;
      taken = 0;
      continue;
    }
    if (i == 0 || taken == 2) break;
    values.push_back(word);
    if (++taken == 2 && !name.empty()) {
      table[name] = std::move(values);
      values.clear();
    }
  }
  return table;
}

namespace {

bool is_scalar(std::string_view name) {
  constexpr std::string_view kScalars[] = {"APPLICATION_TYPE", "EXDES_INST",       "EXDES_INST_NUM_HALF_BANKS",
                                           "SINGLE_IO_STD",    "DIFF_IO_STD",      "NUM_BANKS_IP",
                                           "TEMPLATE",         "BANKS_IN_TRIPLET", "ENABLE_ZERO_PPM_CDR",
                                           "MAX_BANKS",        "BIDIR_MODE",       "TRI_SELECT",
                                           "DIFF_DC_BIAS",     "SINGLE_DC_BIAS"};
  return std::find(std::begin(kScalars), std::end(kScalars), name) != std::end(kScalars);
}

// Adjacent blanks count as one; one at an end of the text has an empty word beyond it.
ParamMap split_pairs(std::string text) {
  const auto both_blank = [](char a, char b) { return a == ' ' && b == ' '; };
  text.erase(std::unique(text.begin(), text.end(), both_blank), text.end());
  const std::vector<std::string_view> words = kdi::text::split(text, ' ');
  ParamMap pairs;
  for (std::size_t i = 0; i + 1 < words.size(); i += 2) pairs[std::string(words[i])] = words[i + 1];
  return pairs;
}

}  // namespace

MultiMap tcl2cppMultiLevelMap(int objc, Tcl_Obj* const* objv) {
  MultiMap maps;
  for (auto& [name, value] : tcl2cppWithExactKey(objc, objv)) {
    std::string text = value;
    ReplaceStringInPlace(text, "{Clk Fwd}", "ClkFwd");
    ReplaceStringInPlace(text, "{Input Clock}", "InputClock");
    maps[name] = is_scalar(name) ? ParamMap{{name, text}} : split_pairs(text);
  }
  return maps;
}

void uniquifyMapFormat(ParamMap const& in, ParamMap& out) {
  // The plain prefix is last: a memory's own loses the memory's name as well.
  constexpr char const* kPrefixes[] = {"c0.ddr4_",   "c0.lpddr3_", "c0.ddr3_", "c0.rld3_",
                                       "c0.qdriip_", "c0.qdriv_",  "c0."};
  for (auto const& [name, value] : in) {
    std::string key = kdi::text::lowered(name);
    for (char const* prefix : kPrefixes) ReplaceStringInPlace(key, prefix, "-");
    out[key] = value;
  }
}

std::string get(ParamMap const& params, char const* needle) {
  const auto found = params.find(std::string("-") + needle);
  if (found == params.end()) throw std::string("Internal Error: needle '") + needle + "' not passed from TCL to C++";
  return found->second;
}

std::string intToStr(int number) { return std::to_string(number); }

void ReplaceStringInPlace(std::string& subject, std::string const& search, std::string const& replace) {
  kdi::text::replace_all(subject, search, replace);
}

}  // namespace mutils::util
