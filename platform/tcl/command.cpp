#include "kdi/tcl/command.h"

#include <exception>
#include <string>
#include <string_view>

namespace tcl {
namespace {

// A word, but of one of more than 200 bytes the begin, to a whole character, and dots. The ground has nothing below it
// but Tcl.
std::string shortened(Tcl_Obj* word) {
  constexpr int kMostShown = 200;
  const ObjRef shown(Tcl_NewObj());
  const std::string_view text = text_view(word);
  Tcl_AppendLimitedToObj(shown.get(), text.data(), static_cast<int>(text.size()), kMostShown, "...");
  return text_of(shown.get());
}

// The text with the name and the words of the call where it asks for them.
std::string filled(std::string_view text, std::string_view name, std::span<Tcl_Obj* const> call) {
  constexpr std::string_view kName = "{name}";
  constexpr std::size_t kWordLength = 3;  // {3}
  std::string all;
  while (!text.empty()) {
    if (text.starts_with(kName)) {
      all += name;
      text.remove_prefix(kName.size());
    } else if (text.size() >= kWordLength && text[0] == '{' && text[1] >= '0' && text[1] <= '9' && text[2] == '}') {
      const auto word = static_cast<std::size_t>(text[1] - '0');
      if (word < call.size()) all += shortened(call[word]);
      text.remove_prefix(kWordLength);
    } else {
      all += text[0];
      text.remove_prefix(1);
    }
  }
  return all;
}

}  // namespace

extern "C" bool kdi_tcl_count_words(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], WordCount words,
                                    char const* name) {
  if (words.allows(objc - 1)) return true;
  if (words.is_usage)
    Tcl_WrongNumArgs(interp, 1, objv, *words.complaint == '\0' ? nullptr : words.complaint);
  else
    fail(interp, filled(words.complaint, name, {objv, static_cast<std::size_t>(objc)}));
  return false;
}

int fail_with_current_exception(Tcl_Interp* interp) {
  try {
    throw;
  } catch (std::exception const& error) {
    return fail(interp, error.what());
  } catch (std::string const& text) {
    return fail(interp, text);
  } catch (char const* text) {
    return fail(interp, text);
  } catch (...) {
    return fail(interp, "unknown exception");
  }
}

}  // namespace tcl
