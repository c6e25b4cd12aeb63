#include "platform/common/data_directory.h"

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <utility>
#include <vector>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/KdiDataDir.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"
#include "platform/common/given_places.h"

namespace kdi {
namespace {

namespace fs = std::filesystem;

std::vector<fs::path> data_roots() {
  std::vector<fs::path> roots;
  const GivenPlaces given = given_places(PlaceVariable::data_roots);
  for (const std::string_view name : text::words(given.text, ":"))
    if (const fs::path root = given.absolute(std::string(name)); !root.empty()) roots.push_back(root);
  if (const fs::path library = library_directory(); !library.empty()) {
    roots.push_back(library / "../share/iptasks/data");     // <prefix>/lib
    roots.push_back(library / "../../share/iptasks/data");  // <prefix>/lib/iptasks
    if (library.filename() == "iptasks")
      roots.push_back(library / "../../../share/iptasks/data");  // lib/<triplet>/iptasks
  }
  return roots;
}

}  // namespace

std::string find_data_file(std::string const& name) {
  for (fs::path const& root : data_roots())
    if (is_file((root / name).string())) return (root / name).lexically_normal().string();
  return {};
}

std::string find_data_root(std::string const& name) {
  for (fs::path const& root : data_roots()) {
    std::error_code ignored;
    // joined as texts: a name that begins with a separator stays below the root
    if (!fs::is_directory(root.string() + "/" + name, ignored)) continue;
    std::string found = root.lexically_normal().string();
    while (found.size() > 1 && found.back() == '/') found.pop_back();
    return found;
  }
  return {};
}

std::vector<std::vector<std::string>> find_data_files(std::string const& folder, std::string const& suffix) {
  std::vector<std::vector<std::string>> of_roots;
  for (fs::path const& root : data_roots()) {
    const fs::path directory = (root / folder).lexically_normal();
    std::vector<std::string> paths;
    for (std::string const& name : list_directory(directory.string(), suffix))
      paths.push_back((directory / name).string());
    if (!paths.empty()) of_roots.push_back(std::move(paths));
  }
  return of_roots;
}

std::vector<std::string> data_directories(std::string const& name) {
  std::vector<std::string> directories;
  for (fs::path const& root : data_roots()) {
    if (!is_directory((root / name).string())) continue;
    std::error_code fault;
    const fs::path directory = fs::canonical(root / name, fault);
    if (fault) throw FileError((root / name).string() + ": cannot be looked up: " + text::system_reason(fault.value()));
    if (std::find(directories.begin(), directories.end(), directory) == directories.end())
      directories.push_back(directory.string());
  }
  return directories;
}

namespace {

// What a data root has at least one of.
constexpr char const* kFolders[] = {
    "bmg",  "board",  "boot_loader", "commands", "cores", "ddr",      "devices",  "ducddc", "hard_controllers", "io",
    "ldpc", "memory", "messages",    "params",   "power", "psmodels", "software", "tavrel", "transceivers"};

bool is_data_root(fs::path const& path) {
  return std::any_of(std::begin(kFolders), std::end(kFolders),
                     [&path](char const* folder) { return is_directory((path / folder).string()); });
}

// What is wrong with a root that was given; empty if nothing is.
std::string fault_of(std::string const& name, fs::path const& root) {
  const std::string begin = "KDI_DATA_DIR names " + text::shown(name) + ", which ";
  if (root.empty() || !is_directory(root.string())) return begin + "is no folder";
  if (is_data_root(root)) return {};
  for (fs::path const& other : {root / "data", fs::path(root.string() + "/..")})
    if (is_data_root(other))
      return begin + "has none of the folders of data; those are in " +
             text::quoted(fs::path(other).lexically_normal().string());
  return begin + "has none of the folders of data, such as devices";
}

}  // namespace

void tell_data_faults() noexcept try {
  static std::once_flag once;
  std::vector<std::string> faults;
  std::call_once(once, [&faults] {
    const GivenPlaces given = given_places(PlaceVariable::data_roots);
    for (const std::string_view name : text::words(given.text, ":"))
      if (std::string fault = fault_of(std::string(name), given.absolute(name)); !fault.empty())
        faults.push_back(std::move(fault));
  });
  for (std::string const& fault : faults)
    ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, "data", ComMsgMgr::MSG_WARNING, "%s", fault.c_str());
} catch (...) {  // a process without memory for a message goes on without it
}

}  // namespace kdi
