#include "kdi/hdf/HHDFHwDefUtils.h"

#include <filesystem>
#include <set>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/HUTFile.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"
#include "kdi/hdf/host/HardwareDefinition.h"
#include "platform/hdf/messages.h"

namespace {

using kdi::hdf::HardwareDefinition;
using kdi::hdf::PackedFile;

// Names that files have in the package: that of the file itself, in a folder of its own where it is taken, and one that
// can be where it cannot.
class Names {
 public:
  std::string of(std::string const& path, std::size_t number) {
    const std::string base = std::filesystem::path(path).filename().string();
    const bool can_be = kdi::hdf::is_entry_name(base);
    std::string name = can_be ? base : "file";
    if (!can_be || taken_.contains(name)) name = std::to_string(number) + "/" + name;
    if (!kdi::hdf::is_entry_name(name)) name = std::to_string(number) + "/file";  // too long with the folder
    taken_.insert(name);
    return name;
  }

 private:
  std::set<std::string> taken_;
};

// A file that is there is read, or there is no package: only what is nowhere counts as missing.
void read_content(std::string const& path, std::size_t room, PackedFile& file) {
  file.is_missing = path.empty() || (!kdi::is_file(path) && !HUTFile(path).exists());
  if (!file.is_missing) file.content = kdi::read_file(path, room);
}

HardwareDefinition collected(std::vector<std::pair<std::string, HHDFHwDefFileTypes::HWHFileType>> const& files,
                             AttrMap const& file_attributes, ParamMap attributes) {
  HardwareDefinition definition;
  definition.attributes = std::move(attributes);
  Names names;
  std::set<std::pair<std::string, int>> listed;
  std::size_t room = kdi::hdf::kMostBytes;
  for (auto const& [path, kind] : files) {
    if (!listed.emplace(path, kind).second) continue;
    PackedFile file;
    file.name = names.of(path, listed.size());
    file.kind = kind;
    if (const auto own = file_attributes.find(path); own != file_attributes.end()) file.attributes = own->second;
    read_content(path, room, file);
    room -= file.content.size();
    definition.files.push_back(std::move(file));
  }
  return definition;
}

void tell_missing(std::string const& path, HardwareDefinition const& definition) {
  StrVec names;
  for (PackedFile const& file : definition.files)
    if (file.is_missing) names.push_back(file.name);
  if (!names.empty())
    kdi::hdf::tell(ComMsgMgr::MSG_WARNING,
                   path + ": not there, and marked so in the package: " + kdi::text::joined(names, ", "));
}

}  // namespace

bool HHDFHwDefUtils::writeHDF(std::string& hwdefPath,
                              std::vector<std::pair<std::string, HHDFHwDefFileTypes::HWHFileType>> files,
                              bool overwrite, AttrMap fileAttributes, ParamMap attributes) {
  return kdi::hdf::told_if_failed(hwdefPath, [&] {
    if (!overwrite && HUTFile(hwdefPath).exists()) throw kdi::FileError(hwdefPath + ": is there already");
    const HardwareDefinition definition = collected(files, fileAttributes, std::move(attributes));
    kdi::write_file(hwdefPath, kdi::hdf::packed(definition));
    tell_missing(hwdefPath, definition);
  });
}
