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
    std::string path = (fs::path(directory) / (device + kSuffix)).string();
    if (is_file(path)) return path;
  }
  return {};
}

std::vector<std::string> device_names(std::vector<std::string> const& directories) {
  std::set<std::string> names;
  for (std::string const& directory : directories)
    for (std::string const& name : list_directory(directory, kSuffix))
      if (name != kSchema && is_file((fs::path(directory) / name).string()))
        names.insert(name.substr(0, name.size() - (sizeof kSuffix - 1)));
  return {names.begin(), names.end()};
}

}  // namespace

PartCatalogue::PartCatalogue(std::vector<std::string> directories) : directories_(std::move(directories)) {}

PartCatalogue& PartCatalogue::global() {
  static PartCatalogue& catalogue = *new PartCatalogue(data_directories("devices"));
  tell_data_faults();
  return catalogue;
}

HDARPart const* PartCatalogue::part(std::string const& name) {
  if (HDARPart const* const known = part_read(name)) return known;
  const std::vector<std::string> places = directories();
  // A part's name begins with its device's. Names ascend, so the longest that fits comes last.
  const std::vector<std::string> names = device_names(places);
  for (auto device = names.rbegin(); device != names.rend(); ++device) {
    if (name.rfind(*device, 0) != 0) continue;
    load(*device, places);
    if (HDARPart const* const found = part_read(name)) return found;
  }
  return nullptr;
}

void PartCatalogue::add_directory(std::string directory) {
  const std::lock_guard lock(mutex_);
  directories_.insert(directories_.begin(), std::move(directory));
}

std::vector<std::string> PartCatalogue::devices() const { return device_names(directories()); }

std::vector<std::string> PartCatalogue::parts(std::string const& device) {
  const std::vector<std::string> places = directories();
  const std::vector<std::string> known = device_names(places);
  std::vector<std::string> names;
  if (!std::binary_search(known.begin(), known.end(), device)) return names;
  for (HDARPart const& part : load(device, places).parts) names.push_back(part.values().name);
  std::sort(names.begin(), names.end());
  return names;
}

// A device that has a file, read if need be; where two threads read it at once, the first to end counts.
PartCatalogue::Device const& PartCatalogue::load(std::string const& device,
                                                 std::vector<std::string> const& directories) {
  if (Device const* const known = device_read(device)) return *known;
  Device read;
  for (Part& part : read_device_file(path_of(device, directories), directories))
    read.parts.emplace_back(std::make_shared<Part const>(std::move(part)));
  for (HDARPart const& part : read.parts) read.by_name.emplace(part.values().name, &part);
  const std::lock_guard lock(mutex_);
  return devices_.emplace(device, std::move(read)).first->second;
}

PartCatalogue::Device const* PartCatalogue::device_read(std::string const& device) const {
  const std::lock_guard lock(mutex_);
  const auto known = devices_.find(device);
  return known == devices_.end() ? nullptr : &known->second;
}

HDARPart const* PartCatalogue::part_read(std::string const& name) const {
  const std::lock_guard lock(mutex_);
  for (auto device = devices_.rbegin(); device != devices_.rend(); ++device) {
    if (!name.starts_with(device->first)) continue;
    if (const auto part = device->second.by_name.find(name); part != device->second.by_name.end()) return part->second;
  }
  return nullptr;
}

std::vector<std::string> PartCatalogue::directories() const {
  const std::lock_guard lock(mutex_);
  return directories_;
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
