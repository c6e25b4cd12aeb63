#include "kdi/cores/Store.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <mutex>
#include <set>
#include <utility>

#include "kdi/common/KdiDataDir.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"

namespace kdi::cores {
namespace {

namespace fs = std::filesystem;

constexpr char kSuffix[] = ".json";
constexpr char kParts[] = "parts";  // what descriptions share

// A name that leads to no other folder.
bool is_name(std::string const& word) {
  return !word.empty() && word[0] != '.' && std::all_of(word.begin(), word.end(), [](char c) {
    return kdi::text::is_letter_or_digit(c) || c == '_' || c == '-' || c == '.';
  });
}

std::string path_below(std::string const& directory, std::string const& name, std::string const& version) {
  return (fs::path(directory) / name / (version + kSuffix)).string();
}

// 1.10 comes behind 1.9, and what is no number (9.99.z) behind all numbers.
std::vector<std::pair<std::size_t, std::string_view>> in_pieces(std::string const& version) {
  std::vector<std::pair<std::size_t, std::string_view>> pieces;
  for (std::string_view piece : kdi::text::split(version, '.')) {
    const bool is_number = std::all_of(piece.begin(), piece.end(), kdi::text::is_digit);
    pieces.emplace_back(is_number ? piece.size() : std::string::npos, piece);
  }
  return pieces;
}

struct Store {
  std::mutex mutex;
  std::map<std::string, std::shared_ptr<Core const>> cores;  // by path
};

Store& store() {
  static auto& store = *new Store;  // never destroyed: asked while the process ends
  return store;
}

std::shared_ptr<Core const> known_core(std::string const& path) {
  const std::lock_guard lock(store().mutex);
  const auto known = store().cores.find(path);
  return known == store().cores.end() ? nullptr : known->second;
}

}  // namespace

std::vector<std::string> core_names() {
  std::set<std::string> names;
  for (std::string const& directory : kdi::data_directories("cores"))
    for (std::string const& name : kdi::list_directory(directory))
      if (name != kParts && kdi::is_directory((fs::path(directory) / name).string())) names.insert(name);
  return {names.begin(), names.end()};
}

std::vector<std::string> core_versions(std::string const& name) {
  std::set<std::string> found;
  if (!is_name(name) || name == kParts) return {};
  for (std::string const& directory : kdi::data_directories("cores"))
    for (std::string const& file : kdi::list_directory((fs::path(directory) / name).string(), kSuffix))
      if (kdi::text::is_digit(file[0])) found.insert(file.substr(0, file.size() - (sizeof kSuffix - 1)));
  std::vector<std::string> versions(found.begin(), found.end());
  std::sort(versions.begin(), versions.end(),
            [](std::string const& a, std::string const& b) { return in_pieces(a) < in_pieces(b); });
  return versions;
}

std::shared_ptr<Core const> core_description(std::string const& name, std::string const& version) {
  if (!is_name(name) || !is_name(version) || name == kParts) return nullptr;
  for (std::string const& directory : kdi::data_directories("cores")) {
    const std::string path = path_below(directory, name, version);
    if (!kdi::is_file(path)) continue;
    if (auto known = known_core(path)) return known;
    auto read = Core::read(directory, name, version);
    // Where two threads read it at once, the first to end counts.
    const std::lock_guard lock(store().mutex);
    return store().cores.emplace(path, std::move(read)).first->second;
  }
  return nullptr;
}

std::shared_ptr<Core const> described_core(std::string const& words) {
  const std::size_t colon = words.find(':');
  const std::string name = words.substr(0, colon);
  const std::vector<std::string> versions = core_versions(name);
  if (versions.empty())
    throw std::invalid_argument("no core " + text::shown(name) + "; there are " + text::joined(core_names(), ", "));
  const std::string version = colon == std::string::npos ? versions.back() : words.substr(colon + 1);
  if (std::find(versions.begin(), versions.end(), version) == versions.end())
    throw std::invalid_argument(name + " has no version " + text::shown(version) + "; there are " +
                                text::joined(versions, ", "));
  return core_description(name, version);
}

}  // namespace kdi::cores
