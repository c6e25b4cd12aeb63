#include "tcltasks/clocking/options.h"

#include <algorithm>
#include <map>
#include <memory>

#include "kdi/ip/HIPClocking.h"

namespace Ip_Clocking {

bool read_options(std::string const& schema, int objc, Tcl_Obj* const objv[], std::initializer_list<Option> options) {
  StrVec words;
  for (int i = 1; i < objc; ++i) words.emplace_back(Tcl_GetString(objv[i]));
  std::map<std::string, void*> values;
  if (!HIPClockingUtils::parseArgs(schema, words, values)) return false;
  // Nothing here asks for memory, so no value is left behind.
  for (auto const& [name, value] : values) {
    const auto option =
        std::find_if(options.begin(), options.end(), [&known = name](Option const& one) { return known == one.name; });
    if (option == options.end()) continue;
    std::visit(
        [&, given = value]<class Value>(Value* local) {
          const std::unique_ptr<Value> owned(static_cast<Value*>(given));
          *local = std::move(*owned);
        },
        option->value);
  }
  return true;
}

StrVec split_words(std::string const& text) {
  std::map<std::string, void*> values;
  if (!HIPClockingUtils::parseArgs("-words <mandatory:list:>", {"-words", text}, values)) return {text};
  return std::move(*std::unique_ptr<StrVec>(static_cast<StrVec*>(values.at("-words"))));
}

}  // namespace Ip_Clocking
