#include "tcltasks/dsp/vcualgorithm/speed_table.h"

#include "kdi/common/KdiText.h"

namespace vcualgorithm_init {

std::vector<std::string> split_items(std::string const& line) {
  const auto items = kdi::text::lines(line, ',');
  return {items.begin(), items.end()};
}

std::string join_items(std::vector<std::string> const& names, std::vector<std::string> const& values) {
  std::string joined;
  for (std::size_t i = 0; i < names.size(); ++i) joined += (i > 0 ? "#" : "") + names[i] + "@" + values[i];
  return joined;
}

}  // namespace vcualgorithm_init
