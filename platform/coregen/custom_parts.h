// Memory parts of the user's own, from files of comma-separated values and from attributes.
//
// A file has a heading with the names of its columns, and a part a line. Names of attributes are those of kAttributes,
// in letters of either case; docs/memory-controllers.md tells what each may be. Each value is held against the range of
// the type's standard, and of a file or part with a fault nothing is taken.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiTypes.h"
#include "kdi/planning/Memory.h"

namespace kdi::coregen {

struct CustomPart {
  planning::MemoryPart part;
  ParamMap attributes;  ///< as they are told again: all names, values in their plain form
};

/// By type and name.
using CustomParts = std::map<std::string, std::map<std::string, CustomPart>>;

/// Something wrong: `line` 0 of what is no line's, `field` empty of what is no field's.
struct PartFault {
  int line = 0;
  std::string field;
  std::string reason;

  /// `file line field reason`, without commas.
  std::string text(std::string const& file) const;
};

struct ReadParts {
  std::map<std::string, CustomPart> parts;
  std::vector<PartFault> faults;  ///< of a file with some, the parts are not to be used
};

/// The parts of a file of a type of memory. What cannot be read is one fault.
ReadParts read_parts(std::string const& file, planning::MemoryKind const& kind);
/// The same of what stands in one.
ReadParts parts_of_text(std::string_view content, planning::MemoryKind const& kind);
/// One part.
ReadParts read_part(std::string const& name, ParamMap const& attributes, planning::MemoryKind const& kind);

/// What is told of a part that is not the user's: as of one that is.
ParamMap attributes_of(planning::MemoryPart const& part, planning::MemoryKind const& kind);

}  // namespace kdi::coregen
