#include "platform/device/device_reader.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <utility>

#include "platform/device/reading.h"

namespace kdi::device {
namespace {

// Fails at a member that no device file, or no family file, has.
void check_members(JsonValue root, bool family) {
  if (family)
    root.allow_only({"format", "family", "generation", "properties", "part_name", "name_fields", "speed_grades",
                     "bank_layouts", "clock_primitives", "clock_buffers", "block_memories", "transceivers",
                     "memory_controllers", "power", "processing_systems", "clock_regions"});
  else
    root.allow_only({"format", "family", "generation", "properties", "part_name", "name_fields", "speed_grades",
                     "bank_layouts", "clock_primitives", "clock_buffers", "block_memories", "transceivers",
                     "memory_controllers", "power", "processing_systems", "clock_regions",
                     // and what one device has for itself
                     "base", "device", "description", "slrs", "processing_system", "counts", "banks", "quads",
                     "controller_sites", "packages"});
  root.member("format").integer(1, 1);
}

// The members of a device file and, behind them, those of its family file: a member that both have is the device's.
class Sections {
 public:
  Sections(JsonValue device, std::vector<std::string> const& directories) : device_(device) {
    check_members(device_, false);
    const auto base = device_.find("base");
    if (!base) return;
    base_file_ = std::make_unique<JsonFile>(family_path(*base, directories), kLargestDeviceFile);
    base_ = base_file_->root();
    check_members(*base_, true);
  }

  std::optional<JsonValue> find(std::string_view name) const {
    const auto own = device_.find(name);
    return own || !base_ ? own : base_->find(name);
  }
  JsonValue member(std::string_view name) const {
    const auto value = find(name);
    return value ? *value : device_.member(name);
  }

 private:
  static std::string family_path(JsonValue base, std::vector<std::string> const& directories) {
    const std::string name = "families/" + word(base) + ".json";
    for (std::string const& directory : directories) {
      std::string path = (std::filesystem::path(directory) / name).string();
      if (is_file(path)) return path;
    }
    base.refuse("the name of a family that has a file " + name + " in a device directory");
  }

  JsonValue device_;
  std::unique_ptr<JsonFile> base_file_;
  std::optional<JsonValue> base_;
};

void read_slrs(JsonValue list, Device& device) {
  UniqueNames names;
  int masters = 0;
  for (const JsonValue value : list.items()) {
    value.allow_only({"name", "master"});
    device.slrs.push_back({word(value.member("name")), value.member("master").boolean()});
    names.add(value.member("name"), device.slrs.back().name);
    masters += device.slrs.back().master ? 1 : 0;
  }
  if (masters != 1) list.refuse("SLRs of which exactly one is the master");
}

void read_speed_grades(JsonValue list, Device& device) {
  UniqueNames names;
  for (const JsonValue value : list.items()) {
    value.allow_only({"name", "core_v", "properties", "keys"});
    SpeedGrade grade;
    grade.name = word(value.member("name"));
    names.add(value.member("name"), grade.name);
    grade.core_v = value.member("core_v").number(0, 10);
    grade.properties = properties(value.find("properties"));
    device.speed_grades.push_back(std::move(grade));
  }
  if (device.speed_grades.empty()) list.refuse("at least one speed grade");
}

// Keys that the file adds to those of the limits.
void add_keys(JsonValue list, Device& device) {
  std::size_t at = 0;
  for (const JsonValue value : list.items()) {
    SpeedGrade& grade = device.speed_grades[at++];
    const auto keys = value.find("keys");
    if (!keys) continue;
    for (const JsonValue key : keys->members())
      if (!grade.keys.emplace(key.name(), key.number()).second) key.refuse("a key that no limit has");
  }
}

void read_processing_system(std::optional<JsonValue> object, Device& device) {
  std::size_t mio_pads = 0;
  for (IoBank const& bank : device.banks)
    if (bank.kind == "MIO")
      for (ByteLane const& lane : bank.lanes) mio_pads += lane.pads.size();
  if (!object) return;
  object->allow_only({"kind", "cores", "mio_pins"});
  ProcessingSystem system;
  system.kind = word(object->member("kind"));
  for (const JsonValue core : object->member("cores").members()) {
    if (!is_word(core.name())) core.refuse("the name of a core");
    system.cores.emplace(core.name(), words(core));
  }
  system.mio_pins = whole(object->member("mio_pins"), 0, static_cast<int>(kMostPads));
  if (static_cast<std::size_t>(system.mio_pins) != mio_pads)
    object->member("mio_pins").refuse("the number of pads in banks of kind MIO, " + std::to_string(mio_pads));
  device.processing_system = std::move(system);
}

// What power coefficients may refer to: all that device and family describe, whether the device has it or not.
PowerNames power_names(Sections const& sections) {
  PowerNames names;
  for (const JsonValue type : sections.member("transceivers").items())
    for (const JsonValue pll : type.member("plls").items())
      names.plls[std::string(type.member("type").text())].insert(std::string(pll.member("name").text()));
  for (const JsonValue controller : sections.member("memory_controllers").items())
    for (const JsonValue memory : controller.member("interfaces").items())
      names.memory_types.insert(std::string(memory.member("type").text()));
  for (const JsonValue primitive : sections.member("clock_primitives").items())
    names.primitives.insert(std::string(primitive.member("name").text()));
  return names;
}

// The part of a part's name that a field of it stands for, and what it says of the part.
struct FieldValue {
  std::string text;
  Properties properties;
};
using NameFields = std::vector<std::pair<std::string, std::vector<FieldValue>>>;

NameFields read_name_fields(JsonValue list) {
  NameFields fields;
  UniqueNames names;
  for (char const* const own : {"device", "package", "speed"}) names.add(list, own);
  std::size_t combinations = 1;
  for (const JsonValue value : list.items()) {
    value.allow_only({"field", "values"});
    std::vector<FieldValue> texts;
    UniqueNames seen;
    for (const JsonValue entry : value.member("values").items()) {
      entry.allow_only({"value", "properties"});
      const JsonValue text = entry.member("value");
      if (!text.text().empty()) word(text);
      seen.add(text, text.text());
      texts.push_back({std::string(text.text()), properties(entry.find("properties"))});
    }
    combinations *= texts.size();
    if (texts.empty() || combinations > kMostParts)
      value.member("values").refuse("from one value to " + std::to_string(kMostParts) + " combinations of them");
    fields.emplace_back(word(value.member("field")), std::move(texts));
    names.add(value.member("field"), fields.back().first);
  }
  return fields;
}

void overlay(Properties& properties, Properties const& later) {
  for (auto const& [name, value] : later) properties.insert_or_assign(name, value);
}

// Names and properties of all parts of a device.
class PartMaker {
 public:
  PartMaker(Sections const& sections, std::shared_ptr<Device const> device)
      : template_(sections.member("part_name")),
        fields_(read_name_fields(sections.member("name_fields"))),
        device_(std::move(device)) {
    std::size_t parts = device_->packages.size() * device_->speed_grades.size();
    for (auto const& field : fields_) parts *= field.second.size();
    if (parts > kMostParts) template_.refuse("a device of at most " + std::to_string(kMostParts) + " parts");
    if (template_.text().rfind("{device}", 0) != 0) template_.refuse("a pattern that begins with {device}");
  }

  std::vector<Part> all() {
    for (Package const& package : device_->packages)
      for (SpeedGrade const& speed : device_->speed_grades) {
        Part part;
        part.device = device_;
        part.package = &package;
        part.speed = &speed;
        part.properties = common_properties(package, speed);
        add(part, 0, {{"device", device_->name}, {"package", package.name}, {"speed", speed.name}});
      }
    return std::move(parts_);
  }

 private:
  Properties common_properties(Package const& package, SpeedGrade const& speed) const {
    Properties all = device_->properties;
    overlay(all, package.properties);
    overlay(all, speed.properties);
    overlay(all, {{"DEVICE", device_->name},
                  {"FAMILY", device_->family},
                  {"GENERATION", device_->generation},
                  {"PACKAGE", package.name},
                  {"SPEED", speed.name},
                  {"SLR", std::to_string(device_->slrs.size())}});
    return all;
  }

  // Adds `part` with every combination of the values of the fields from `field` on.
  void add(Part const& part, std::size_t field, PlaceValues texts) {
    if (field == fields_.size()) {
      Part& finished = parts_.emplace_back(part);
      finished.name = with_pattern(template_, [&] { return fill(template_.text(), texts); });
      finished.properties["NAME"] = finished.name;
      if (!is_part_name(finished.name)) template_.refuse("a pattern of words");
      names_.add(template_, finished.name);
      return;
    }
    for (FieldValue const& value : fields_[field].second) {
      Part with_value = part;
      overlay(with_value.properties, value.properties);
      texts[fields_[field].first] = value.text;
      add(with_value, field + 1, texts);
    }
  }

  static bool is_part_name(std::string const& name) { return name.find_first_of(" \t\r\n/\\") == std::string::npos; }

  JsonValue template_;
  NameFields fields_;
  std::shared_ptr<Device const> device_;
  std::vector<Part> parts_;
  UniqueNames names_;
};

std::shared_ptr<Device const> read_sections(Sections const& sections) {
  const auto device = std::make_shared<Device>();
  device->name = word(sections.member("device"));
  device->family = word(sections.member("family"));
  device->generation = word(sections.member("generation"));
  device->description = sections.member("description").text();
  device->properties = properties(sections.find("properties"));
  read_slrs(sections.member("slrs"), *device);
  const JsonValue grades = sections.member("speed_grades");
  read_speed_grades(grades, *device);

  Counts counts(sections.member("counts"));
  read_clock_primitives(sections.member("clock_primitives"), counts, device->speed_grades);
  read_clock_buffers(sections.member("clock_buffers"), counts, device->speed_grades);
  read_block_memories(sections.member("block_memories"), counts, device->speed_grades);
  counts.require_known();
  add_keys(grades, *device);

  UniqueNames pad_names;
  PadBudget budget;
  read_banks(sections.member("bank_layouts"), sections.member("banks"), *device, pad_names, budget);
  read_clock_regions(sections.find("clock_regions"), *device);
  read_transceivers(sections.member("transceivers"), sections.find("quads"), *device, pad_names, budget);
  read_packages(sections.member("packages"), *device, budget);
  read_processing_system(sections.find("processing_system"), *device);
  if (const auto systems = sections.find("processing_systems")) read_processing_systems(*systems, *device);
  read_memory_controllers(sections.member("memory_controllers"), sections.find("controller_sites"), *device);
  device->power = read_power(sections.member("power"), power_names(sections));
  return device;
}

}  // namespace

std::vector<Part> read_device(JsonFile const& file, std::vector<std::string> const& directories) {
  const Sections sections(file.root(), directories);
  return PartMaker(sections, read_sections(sections)).all();
}

}  // namespace kdi::device
