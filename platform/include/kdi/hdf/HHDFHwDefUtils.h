// Writes hardware definitions: the files that a configured core leaves behind, in one package for the software tools.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/common/KdiTypes.h"
#include "kdi/hdf/HHDFHwDefFileTypes.h"

struct KDI_DOOR HHDFHwDefUtils {
  /// Packs the files, each a path and its kind, into the package `hwdefPath` (docs/hardware-definition.md), whose
  /// directory has to be there. A path that is listed twice with one kind counts once. A file that is not there is
  /// listed as missing, and one warning names them all.
  ///
  /// \param overwrite       whether a package that is there is replaced
  /// \param fileAttributes  attributes by path; those of a path that is not listed have no place
  /// \param attributes      of the definition as a whole
  /// \return                false, and a message, if the package could not be written: what was there then stands. A
  ///                        file that is there and cannot be read is such a case.
  static bool writeHDF(std::string& hwdefPath,
                       std::vector<std::pair<std::string, HHDFHwDefFileTypes::HWHFileType>> files, bool overwrite,
                       AttrMap fileAttributes, ParamMap attributes);
};
