#include "data_directory.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <vector>

#include "common/KdiDataDir.h"

namespace kdi {
namespace {

namespace fs = std::filesystem;

fs::path library_directory() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<void const*>(&find_data_file), &info) == 0 || info.dli_fname == nullptr) return {};
  std::error_code ignored;
  return fs::weakly_canonical(info.dli_fname, ignored).parent_path();
}

std::vector<fs::path> data_roots() {
  std::vector<fs::path> roots;
  if (char const* const given = std::getenv("KDI_DATA_DIR")) {
    std::istringstream list(given);
    for (std::string root; std::getline(list, root, ':');)
      if (!root.empty()) roots.emplace_back(root);
  }
  if (const fs::path library = library_directory(); !library.empty()) {
    roots.push_back(library / "../share/iptasks/data");     // <prefix>/lib
    roots.push_back(library / "../../share/iptasks/data");  // <prefix>/lib/<triplet>
  }
  roots.emplace_back(KDI_SOURCE_DATA_DIR);
  return roots;
}

}  // namespace

std::string find_data_file(std::string const& name) {
  for (fs::path const& root : data_roots()) {
    std::error_code ignored;
    if (fs::is_regular_file(root / name, ignored)) return (root / name).lexically_normal().string();
  }
  return {};
}

[[gnu::visibility("default")]] std::vector<std::string> data_directories(std::string const& name) {
  std::vector<std::string> directories;
  for (fs::path const& root : data_roots()) {
    std::error_code fault;
    const fs::path directory = fs::canonical(root / name, fault);
    if (!fault && fs::is_directory(directory, fault) &&
        std::find(directories.begin(), directories.end(), directory) == directories.end())
      directories.push_back(directory.string());
  }
  return directories;
}

}  // namespace kdi
