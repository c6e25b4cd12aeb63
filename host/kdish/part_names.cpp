#include "host/kdish/part_names.h"

#include <algorithm>
#include <utility>

#include "kdi/common/KdiText.h"
#include "kdi/device/host/PartCatalogue.h"

namespace kdish {

using kdi::device::PartCatalogue;

std::vector<std::string> all_parts(std::function<void(std::exception const&)> const& tell) {
  std::vector<std::string> names;
  for (std::string const& device : PartCatalogue::global().devices()) {
    try {
      const std::vector<std::string> parts = PartCatalogue::global().parts(device);
      names.insert(names.end(), parts.begin(), parts.end());
    } catch (std::exception const& error) {
      tell(error);
    }
  }
  return names;
}

std::vector<std::string> parts_close_to(std::string const& name) {
  constexpr std::size_t kMost = 3;
  constexpr std::size_t kLongest = 100;  // a word that long is no part's name
  if (name.empty() || name.size() > kLongest) return {};
  std::vector<std::pair<std::size_t, std::string>> found;
  const std::string lowered = kdi::text::lowered(name);
  for (std::string const& part : all_parts([](std::exception const&) {})) {
    const std::string known = kdi::text::lowered(part);
    // somebody may have written the begin alone
    const std::size_t apart = kdi::text::edit_distance(lowered, known);
    const std::size_t begin_apart = kdi::text::edit_distance(lowered, known.substr(0, lowered.size()));
    const std::size_t least = std::min(apart, begin_apart);
    if (least * 4 <= name.size()) found.emplace_back(least, part);
  }
  std::sort(found.begin(), found.end());
  std::vector<std::string> names;
  for (auto const& [apart, part] : found)
    if (names.size() < kMost) names.push_back(part);
  return names;
}

}  // namespace kdish
