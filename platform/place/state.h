// What an instance of I/O planning is, behind the doors.
#pragma once

#include <mutex>
#include <set>
#include <string>

#include "kdi/device/Device.h"
#include "kdi/place/kelvane_io_v1.h"

namespace kelvane_io::kelvane_io_v1 {

struct HIPKelvaneIoInstance::State {
  std::mutex mutex;                         ///< held by each operation
  kdi::device::Part const* part = nullptr;  ///< never null once loaded; lives as long as the process
  OptionMap options;                        ///< what the user said of the interface, `-instance_name` and `-part` apart
  std::set<std::string> directories;        ///< that it was given, absolute and without links

  /// Keeps the directories among the values of `SW_DIR_PATH` and `MEM_DIR_PATH`. Throws if it has been given very many.
  void remember(ParamMap const& params);
};

}  // namespace kelvane_io::kelvane_io_v1
