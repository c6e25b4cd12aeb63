#include "clocking/options.h"

#include <map>
#include <memory>

#include "ip/HIPClocking.h"

namespace Ip_Clocking {

bool read_options(std::string const& schema, int objc, Tcl_Obj* const objv[], std::initializer_list<Option> options) {
  StrVec words;
  for (int i = 1; i < objc; ++i) words.emplace_back(Tcl_GetString(objv[i]));
  std::map<std::string, void*> values;
  if (!HIPClockingUtils::parseArgs(schema, words, values)) return false;
  for (Option const& option : options) {
    const auto found = values.find(option.name);
    if (found == values.end()) continue;
    std::visit(
        [&]<class Value>(Value* local) {
          const std::unique_ptr<Value> value(static_cast<Value*>(found->second));
          *local = std::move(*value);
        },
        option.value);
  }
  return true;
}

StrVec split_words(std::string const& text) {
  constexpr char const* kSeparators = ", \t\n\r";
  StrVec words;
  for (std::size_t begin = text.find_first_not_of(kSeparators); begin != std::string::npos;) {
    const std::size_t end = text.find_first_of(kSeparators, begin);
    words.push_back(text.substr(begin, end - begin));
    begin = text.find_first_not_of(kSeparators, end);
  }
  return words;
}

}  // namespace Ip_Clocking
