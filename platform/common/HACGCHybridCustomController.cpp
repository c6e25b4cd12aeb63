#include "kdi/common/HACGCHybridCustomController.h"

#include <algorithm>
#include <mutex>
#include <utility>

namespace {

struct Registry {
  std::mutex mutex;
  std::vector<std::pair<std::string, HACGCHybridCustomController::Functions>> rows;  // a few dozen

  HACGCHybridCustomController::Functions& row(std::string const& identifier) {
    // from the end: the two functions of an identifier are registered one after the other
    const auto place =
        std::find_if(rows.rbegin(), rows.rend(), [&](auto const& row) { return row.first == identifier; });
    if (place != rows.rend()) return place->second;
    return rows.emplace_back(identifier, HACGCHybridCustomController::Functions()).second;
  }
};

// Never destroyed: libraries register while they are loaded, and ask while the process ends.
Registry& registry() {
  static auto& registry = *new Registry;
  return registry;
}

}  // namespace

void HACGCHybridCustomController::setDRCModelBasedonIP(std::string const& identifier, HACGCDRCModelFunc factory) {
  const std::lock_guard lock(registry().mutex);
  registry().row(identifier).factory = factory;
}

void HACGCHybridCustomController::setDeleteFuncOnDRCModelObject(std::string const& identifier,
                                                                HACGCDRCModelFunc deleter) {
  const std::lock_guard lock(registry().mutex);
  registry().row(identifier).deleter = deleter;
}

std::optional<HACGCHybridCustomController::Functions> HACGCHybridCustomController::find(std::string const& identifier) {
  const std::lock_guard lock(registry().mutex);
  for (auto const& [name, functions] : registry().rows)
    if (name == identifier) return functions;
  return std::nullopt;
}

std::vector<std::string> HACGCHybridCustomController::identifiers() {
  const std::lock_guard lock(registry().mutex);
  std::vector<std::string> names;
  for (auto const& row : registry().rows) names.push_back(row.first);
  return names;
}
