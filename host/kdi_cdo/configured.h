// A core that a file of parameters configures.
#pragma once

#include <functional>
#include <map>
#include <stdexcept>
#include <string>

#include "kdi/cores/Configuration.h"

namespace kdi_cdo {

/// A file that says nothing sensible, or not what the core takes: "<file>:<line>: <what is wrong>".
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A configuration that has errors; they were told.
class ConfigurationError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What is given beside the file, and counts before what it says; empty for what is not.
struct Wanted {
  std::string core, version, part;
};

/// Configures the core of the file `path` and hands it over, with those of its sub-cores. Messages go to `told`, one
/// each. Throws kdi::FileError, InputError, ConfigurationError.
///
/// A line of the file is a key, a comma and a value; keys are parameters, or say which core on which device is meant.
void configured(std::string const& path, Wanted const& wanted, std::function<void(std::string const&)> const& told,
                std::function<void(std::vector<kdi::cores::Configuration*> const&)> const& use);

}  // namespace kdi_cdo
