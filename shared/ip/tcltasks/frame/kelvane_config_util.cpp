#include "tcltasks/frame/kelvane_config_util.h"

#include "kdi/common/KdiNumber.h"

namespace kelvane_config::util {

int check_args(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], char const* usage, char const* name1,
               Tcl_Obj*& value1, char const* name2, Tcl_Obj*& value2, char const* name3, Tcl_Obj*& value3,
               char const* name4, Tcl_Obj*& value4) {
  return marshalling::lists::check_args(interp, objc, objv, usage,
                                        {{name1, &value1}, {name2, &value2}, {name3, &value3}, {name4, &value4}});
}

int set_tcl_result(Tcl_Interp* interp, std::list<std::string> const& texts) {
  return tcl::succeed(interp, marshalling::lists::new_list(texts));
}

void tcl2cpp(Tcl_Interp* /*interp*/, Tcl_Obj* obj, int& number) {
  number = static_cast<int>(kdi::number::leading_long(Tcl_GetString(obj)));
}

bool isCombinedParam(std::string const& text) { return text.find('{') != std::string::npos; }

int getClosingBraceIndex(std::string const& text, int start) {
  int depth = 0;
  for (auto i = static_cast<std::size_t>(start); start >= 0 && i < text.size(); ++i) {
    if (text[i] == '{') ++depth;
    if (text[i] == '}') --depth;
    if (depth == 0) return static_cast<int>(i);
  }
  return -1;
}

namespace {

// For each opening brace the index of its closing one, -1 without: one pass, so that a text of unclosed braces does not
// cost a walk to its end for each of them.
std::vector<int> closing_braces(std::string const& text) {
  std::vector<int> closing(text.size(), -1);
  std::vector<std::size_t> open;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '{') open.push_back(i);
    if (text[i] == '}' && !open.empty()) {
      closing[open.back()] = static_cast<int>(i);
      open.pop_back();
    }
  }
  return closing;
}

}  // namespace

void parseParamValueDictWithBraces(std::string const& text, std::vector<std::string>& tokens) {
  const std::vector<int> closing = closing_braces(text);
  std::string word;
  const auto end_word = [&] {
    if (!word.empty()) tokens.push_back(word);
    word.clear();
  };
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == ' ' || text[i] == '\n') {
      end_word();
    } else if (text[i] != '{') {
      word += text[i];
    } else if (closing[i] >= 0) {
      const auto end = static_cast<std::size_t>(closing[i]);
      tokens.push_back(text.substr(i, end - i + 1));
      i = end;
    }
  }
  end_word();
}

}  // namespace kelvane_config::util
