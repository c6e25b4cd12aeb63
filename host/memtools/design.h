// What a user asks of a memory interface, in the words of a command, made ready for the planner.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/options.h"
#include "kdi/device/Device.h"
#include "kdi/planning/Wanted.h"
#include "kdi/tcl/values.h"

namespace memtools {

namespace planning = kdi::planning;

/// Options behind the words of a command, by name. Throws std::invalid_argument for one that is none of `known`.
using Options = std::map<std::string, std::string>;
Options options_of(std::span<Tcl_Obj* const> words, std::vector<std::string> const& known);
std::string option(Options const& options, std::string const& name, std::string const& unless = {});

/// The elements of a list in an option; none of an option that is not given.
std::vector<std::string> list_of(Options const& options, std::string const& name);

/// Names of the options that describe an interface, and `others`.
std::vector<std::string> design_options(std::vector<std::string> others = {});

struct Design {
  kdi::device::Part const* part = nullptr;
  std::shared_ptr<planning::Layout const> layout;
  planning::Wanted wanted;
};

/// An interface to memories of a type on a part, whose layout may be there already. Throws std::invalid_argument for
/// words that fit nothing.
Design design_of(std::string const& part, std::string const& type, Options const& options,
                 std::shared_ptr<planning::Layout const> layout = nullptr);

/// The content of the file that a script means by `name`.
std::string content_of(std::string const& name);

using host::asked;
using host::refuse;

}  // namespace memtools
