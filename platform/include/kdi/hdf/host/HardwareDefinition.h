// Hardware definitions and the data files beside them, as hosts and tools read them (docs/hardware-definition.md).
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/common/KdiTypes.h"

namespace kdi::hdf {

/// What is wrong with a package: "<package>: <what>", or "<package>: manifest.json:<line>: <field>: ...".
class KDI_DOOR DefinitionError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

constexpr std::size_t kMostFiles = 10'000;                   ///< in a package
constexpr std::size_t kMostBytes = std::size_t{1} << 29;     ///< of a package, and of all that it holds together
constexpr std::size_t kLongestName = 255;                    ///< of a file in a package, in bytes
constexpr std::size_t kMostManifest = std::size_t{1} << 24;  ///< bytes
constexpr int kMostKind = 65535;

struct PackedFile {
  std::string name;  ///< in the package; may have folders, and leads nowhere else (is_entry_name)
  int kind = 0;      ///< HHDFHwDefFileTypes::HWHFileType, or one of a site's own
  ParamMap attributes;
  bool is_missing = false;
  std::string content;  ///< none if missing

  bool operator==(PackedFile const&) const = default;
};

struct HardwareDefinition {
  ParamMap attributes;
  std::vector<PackedFile> files;

  bool operator==(HardwareDefinition const&) const = default;
};

/// Whether a file in a package may be called so: UTF-8, not empty, no control character and no backslash, at most
/// kLongestName bytes, and no component that is empty, `.` or `..`; nor `manifest.json`.
KDI_DOOR bool is_entry_name(std::string_view name);

/// The package as bytes, equal for equal definitions. Throws DefinitionError for names that are none or come twice, for
/// texts that are not UTF-8, and where a bound above is exceeded.
KDI_DOOR std::string packed(HardwareDefinition const& definition);

/// The package that the bytes are; errors call it `name`. Entries may be compressed. Throws DefinitionError for bytes
/// that are no whole package: where a byte of a content, of a name or of an attribute has changed, where a bound is
/// exceeded, where files and manifest do not agree.
KDI_DOOR HardwareDefinition unpacked(std::string_view bytes, std::string const& name);

/// The package in a file. Throws FileError (kdi/common/KdiFile.h) if it cannot be read, else as unpacked.
KDI_DOOR HardwareDefinition read_hardware_definition(std::string const& path);

/// What SWParamWriter stored.
struct ParamInfo {
  std::string instance, kind, data;

  bool operator==(ParamInfo const&) const = default;
};

/// The text of such a file, and what one tells. Throw JsonError (kdi/common/KdiJson.h), for texts that are no UTF-8 as
/// well, and FileError.
KDI_DOOR std::string param_info_text(ParamInfo const& info);
KDI_DOOR ParamInfo read_param_info_text(std::string_view text, std::string const& name);
KDI_DOOR ParamInfo read_param_info(std::string const& path);

}  // namespace kdi::hdf
