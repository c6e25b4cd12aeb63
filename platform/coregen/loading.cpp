#include "platform/coregen/loading.h"

#include <memory>
#include <mutex>

#include "kdi/common/KdiDataDir.h"
#include "kdi/common/KdiJson.h"

namespace kdi::coregen {
namespace {

constexpr int kMostRate = 100000;
constexpr char const* kWhat[] = {"slot", "rank", "stack", "width"};

int slots_of(JsonValue limit) {
  const auto slots = limit.find("slots");
  return slots ? static_cast<int>(slots->integer(1, 16)) : 1;
}

}  // namespace

std::vector<Loading> read_loadings(JsonFile const& file) {
  file.root().allow_only({"format", "source", "limits"});
  file.root().member("format").integer(1, 1);
  std::vector<Loading> all;
  for (const JsonValue value : file.root().member("limits").items()) {
    value.allow_only({"type", "what", "from", "slots", "rate_mbps"});
    all.push_back({std::string(value.member("type").text()),
                   kWhat[value.member("what").choice({"slot", "rank", "stack", "width"})],
                   static_cast<int>(value.member("from").integer(1, 4096)), slots_of(value),
                   static_cast<int>(value.member("rate_mbps").integer(1, kMostRate))});
  }
  return all;
}

std::vector<Loading> const& loadings() {
  static std::mutex mutex;
  static std::vector<Loading> const* all = nullptr;  // never destroyed
  const std::lock_guard lock(mutex);
  if (all == nullptr) {
    const std::vector<std::string> directories = data_directories("board");
    // None is no limit: a site may do without.
    all = new std::vector<Loading>(directories.empty() ? std::vector<Loading>()
                                                       : read_loadings(JsonFile(directories[0] + "/loading.json")));
  }
  return *all;
}

}  // namespace kdi::coregen
