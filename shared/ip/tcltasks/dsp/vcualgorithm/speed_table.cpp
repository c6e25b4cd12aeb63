#include "tcltasks/dsp/vcualgorithm/speed_table.h"

#include <sstream>

namespace vcualgorithm_init {

std::vector<std::string> split_items(std::string const& line) {
  std::vector<std::string> items;
  std::istringstream stream(line);
  for (std::string item; std::getline(stream, item, ',');) items.push_back(item);
  return items;
}

std::string join_items(std::vector<std::string> const& names, std::vector<std::string> const& values) {
  std::string joined;
  for (std::size_t i = 0; i < names.size(); ++i) joined += (i > 0 ? "#" : "") + names[i] + "@" + values[i];
  return joined;
}

}  // namespace vcualgorithm_init
