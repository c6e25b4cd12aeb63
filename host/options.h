// Options behind the words of a companion's command, and what its engine refuses.
#pragma once

#include <algorithm>
#include <initializer_list>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

#include "kdi/common/KdiText.h"
#include "kdi/tcl/command.h"

namespace host {

[[noreturn]] inline void refuse(std::string const& what) { throw std::invalid_argument(what); }

/// What an engine throws as a text, as an exception of the standard.
template <class Ask>
auto asked(Ask ask) {
  try {
    return ask();
  } catch (std::string const& fault) {
    refuse(std::string(kdi::text::trimmed(fault)));
  }
}

/// Pairs of a name, one of `names`, and a value; of two with one name the later counts.
class Options {
 public:
  Options(tcl::Words words, std::initializer_list<std::string_view> names) {
    for (std::size_t i = 0; i < words.size(); i += 2) {
      const std::string name = tcl::text_of(words[i]);
      if (std::find(names.begin(), names.end(), name) == names.end())
        refuse("no option is called " + kdi::text::shown(name) + "; there are " + kdi::text::joined(names, ", "));
      values_[name] = tcl::text_of(words[i + 1]);
    }
  }
  std::string get(std::string const& name, std::string const& otherwise = {}) const {
    const auto found = values_.find(name);
    return found == values_.end() ? otherwise : found->second;
  }

 private:
  std::map<std::string, std::string> values_;
};

}  // namespace host
