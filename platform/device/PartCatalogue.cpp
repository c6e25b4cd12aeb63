#include "kdi/device/host/PartCatalogue.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <utility>

#include "kdi/common/KdiDataDir.h"
#include "kdi/common/KdiFile.h"
#include "platform/device/device_reader.h"

namespace kdi::device {
namespace {

namespace fs = std::filesystem;

constexpr char kSuffix[] = ".json";
constexpr char kSchema[] = "schema.json";  // describes the others

// The file of the device in the first directory that has one; empty if none has.
std::string path_of(std::string const& device, std::vector<std::string> const& directories) {
  for (std::string const& directory : directories) {
    const std::string path = (fs::path(directory) / (device + kSuffix)).string();
    if (is_file(path)) return path;
  }
  return {};
}

}  // namespace

PartCatalogue::PartCatalogue(std::vector<std::string> directories) : directories_(std::move(directories)) {}

PartCatalogue& PartCatalogue::global() {
  static PartCatalogue& catalogue = *new PartCatalogue(data_directories("devices"));
  return catalogue;
}

HDARPart const* PartCatalogue::part(std::string const& name) {
  const std::lock_guard lock(mutex_);
  if (const auto known = parts_.find(name); known != parts_.end()) return known->second;
  // A part's name begins with its device's. Names ascend, so the longest that fits comes last.
  const std::vector<std::string> names = device_names();
  for (auto device = names.rbegin(); device != names.rend(); ++device) {
    if (devices_.count(*device) != 0 || name.rfind(*device, 0) != 0) continue;
    load(*device);
    if (const auto found = parts_.find(name); found != parts_.end()) return found->second;
  }
  return nullptr;
}

void PartCatalogue::add_directory(std::string directory) {
  const std::lock_guard lock(mutex_);
  directories_.insert(directories_.begin(), std::move(directory));
}

std::vector<std::string> PartCatalogue::devices() const {
  const std::lock_guard lock(mutex_);
  return device_names();
}

std::vector<std::string> PartCatalogue::parts(std::string const& device) {
  const std::lock_guard lock(mutex_);
  const std::vector<std::string> known = device_names();
  std::vector<std::string> names;
  if (!std::binary_search(known.begin(), known.end(), device)) return names;
  for (HDARPart const& part : load(device)) names.push_back(part.values().name);
  std::sort(names.begin(), names.end());
  return names;
}

// The parts of a device that has a file, read if need be.
std::deque<HDARPart> const& PartCatalogue::load(std::string const& device) {
  if (const auto known = devices_.find(device); known != devices_.end()) return known->second;
  std::deque<HDARPart> parts;
  for (Part& part : read_device_file(path_of(device, directories_), directories_))
    parts.emplace_back(std::make_shared<Part const>(std::move(part)));
  std::deque<HDARPart> const& kept = devices_.emplace(device, std::move(parts)).first->second;
  for (HDARPart const& part : kept) parts_.emplace(part.values().name, &part);
  return kept;
}

std::vector<std::string> PartCatalogue::device_names() const {
  std::set<std::string> names;
  for (std::string const& directory : directories_)
    for (std::string const& name : list_directory(directory, kSuffix))
      if (name != kSchema && is_file((fs::path(directory) / name).string()))
        names.insert(name.substr(0, name.size() - (sizeof kSuffix - 1)));
  return {names.begin(), names.end()};
}

std::vector<Part> read_device_file(std::string const& path, std::vector<std::string> const& directories) {
  std::vector<std::string> places{fs::path(path).parent_path().string()};
  places.insert(places.end(), directories.begin(), directories.end());
  const JsonFile file(path, kLargestDeviceFile);
  std::vector<Part> parts = read_device(file, places);
  // Parts are found by the file's name, so it has to be the device's.
  const JsonValue device = file.root().member("device");
  if (device.text() != fs::path(path).stem()) device.refuse("the file's own name");
  return parts;
}

std::vector<Part> read_device_text(std::string_view text, std::string const& name,
                                   std::vector<std::string> const& directories) {
  return read_device(JsonFile(text, name), directories);
}

}  // namespace kdi::device
