// Devices as files: for hosts, tools and tests that look at more than one part by name.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/common/KdiNameHash.h"
#include "kdi/device/Device.h"
#include "kdi/device/HDARPart.h"

namespace kdi::device {

/// The parts of the device files in some directories, each file read when one of its parts is first asked for. All
/// operations may be called from several threads; none waits while another one reads a file.
///
/// A directory holds one file `<device>.json` for each device, and family files in `families/`. Where two directories
/// have a file of the same name, the first one's counts. Errors are kdi::JsonError and kdi::FileError (common/),
/// whose text names file, line and field; a file that failed is read again when it is asked for again. A directory that
/// cannot be listed is an error too, since half a list would hide devices.
class KDI_DOOR PartCatalogue {
 public:
  explicit PartCatalogue(std::vector<std::string> directories);

  /// The parts of the data root's directory `devices`, for each root (KDI_DATA_DIR first, then the shipped data).
  /// HARPartMgr answers from it. Never destroyed.
  static PartCatalogue& global();

  /// The part `name`, owned by the catalogue; null if no file in the directories has it.
  HDARPart const* part(std::string const& name);

  /// Looks into `directory` before all others. Parts that were asked for before stay as they are.
  void add_directory(std::string directory);

  /// Names of the devices that have a file, ascending; the files are not read.
  std::vector<std::string> devices() const;
  /// Names of the device's parts, ascending; none if it has no file.
  std::vector<std::string> parts(std::string const& device);

 private:
  struct Device {
    std::deque<HDARPart> parts;
    std::unordered_map<std::string_view, HDARPart const*, NameHash, std::equal_to<>> by_name;
  };
  Device const& load(std::string const& device, std::vector<std::string> const& directories);
  Device const* device_read(std::string const& device) const;
  HDARPart const* part_read(std::string const& name) const;
  std::vector<std::string> directories() const;

  mutable std::mutex mutex_;
  std::vector<std::string> directories_;
  std::map<std::string, Device> devices_;  // those that were read; none is taken out again
};

/// Reads a device file and returns its parts; a family file is looked for beside it first, then in `directories`.
KDI_DOOR std::vector<Part> read_device_file(std::string const& path, std::vector<std::string> const& directories);

/// The same for the text of a file; errors call it `name`.
KDI_DOOR std::vector<Part> read_device_text(std::string_view text, std::string const& name,
                                            std::vector<std::string> const& directories);

}  // namespace kdi::device
