#include "platform/common/given_places.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>

#include "kdi/common/KdiDataDir.h"

namespace kdi {
namespace {

namespace fs = std::filesystem;

constexpr char const* kNames[] = {"KDI_DATA_DIR", "KDI_PARAMS"};  // by PlaceVariable

// What this library found when it was loaded. Without memory for it, it counts as not found.
struct Start {
  Start() : directory(::getcwd(nullptr, 0)) {
    for (std::size_t i = 0; i < std::size(kNames); ++i)
      if (char const* const value = std::getenv(kNames[i])) values[i] = ::strdup(value);
  }
  char const* directory;
  char const* values[std::size(kNames)] = {};
};
const Start start;  // nothing of it is ever released, since data are read while the process ends, too

fs::path start_directory() { return start.directory != nullptr ? start.directory : ""; }

fs::path seen_from(fs::path const& directory, fs::path const& name) {
  if (name.is_absolute()) return name;
  return directory.empty() ? fs::path() : directory / name;
}

fs::path current_directory() {
  std::error_code is_gone;
  return fs::current_path(is_gone);
}

}  // namespace

fs::path GivenPlaces::absolute(std::string_view name) const { return seen_from(from, name); }

GivenPlaces given_places(PlaceVariable variable) {
  const auto index = static_cast<std::size_t>(variable);
  char const* const now = std::getenv(kNames[index]);
  if (now == nullptr) return {};
  char const* const then = start.values[index];
  if (then != nullptr && std::strcmp(now, then) == 0) return {now, start_directory()};

  static std::mutex mutex;
  static auto* const later = new std::optional<GivenPlaces>[std::size(kNames)];  // never destroyed, likewise
  const std::lock_guard lock(mutex);
  if (!later[index] || later[index]->text != now) later[index] = GivenPlaces{now, current_directory()};
  return *later[index];
}

std::string library_directory() {
  Dl_info info{};
  if (::dladdr(kNames, &info) == 0 || info.dli_fname == nullptr) return {};
  const fs::path path = seen_from(start_directory(), info.dli_fname);
  std::error_code ignored;
  return fs::weakly_canonical(path, ignored).parent_path().string();
}

}  // namespace kdi
