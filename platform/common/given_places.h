// Names of files and folders that the process was given from outside: by environment variables, and by whoever loaded
// this library.
//
// A relative one is seen from where the process stood when it was given. A script may go elsewhere before the first
// file is asked for, and what lies under that name there is none of ours.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace kdi {

/// The environment variables that name places.
enum class PlaceVariable { data_roots, parameter_values };

struct GivenPlaces {
  std::string text;            ///< of the variable; empty if it is not set
  std::filesystem::path from;  ///< what relative names in it start from; empty if that directory was gone

  /// `name`, which is one of those in the text, as an absolute path; empty if it has none.
  std::filesystem::path absolute(std::string_view name) const;
};

/// The variable as it is now. A value that it had when this library was loaded is seen from there, one that came later
/// from where the process is when it is first asked for here. For any thread.
GivenPlaces given_places(PlaceVariable variable);

}  // namespace kdi
