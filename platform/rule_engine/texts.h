// How this library's doors say what is wrong: a std::string that begins with "Ip_gtwiz : " and ends in a line feed.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "kdi/common/KdiText.h"
#include "kdi/rule_engine/host/Kinds.h"

namespace kdi::gt {

[[noreturn]] inline void refuse(std::string const& what) { throw "Ip_gtwiz : " + what + ".\n"; }

/// What `ask` answers; a fault of data or files becomes a text as well.
template <class Ask>
auto answered(Ask ask) {
  try {
    return ask();
  } catch (std::runtime_error const& error) {
    refuse(error.what());
  }
}

/// The names of things, with commas.
template <class All>
std::string names_of(All const& all) {
  std::string names;
  for (auto const& one : all) names.append(names.empty() ? "" : ", ").append(one.name);
  return names;
}

/// The kind, as the part has it if one is named. Throws for what is not known.
std::shared_ptr<Kind const> required_kind(std::string const& kind, std::string const& part);

}  // namespace kdi::gt
