#include <algorithm>
#include <set>
#include <utility>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiJsonText.h"
#include "kdi/common/KdiText.h"
#include "kdi/hdf/host/HardwareDefinition.h"
#include "platform/hdf/zip.h"

namespace kdi::hdf {
namespace {

constexpr std::string_view kManifest = "manifest.json";
constexpr std::int64_t kFormat = 1;

using text::json_text;

std::string shown(std::string_view name) { return text::shown(name); }

// ------------------------------------------------------------------------------------------------------------ writing

void require(bool truth, std::string const& what) {
  if (!truth) throw DefinitionError(what);
}

void require_sound(HardwareDefinition const& definition) {
  require(definition.files.size() <= kMostFiles, "more than " + std::to_string(kMostFiles) + " files");
  std::set<std::string_view> names;
  std::size_t bytes = 0;
  for (PackedFile const& file : definition.files) {
    require(is_entry_name(file.name), shown(file.name) + " cannot be the name of a file in a package");
    require(names.insert(file.name).second, "two files are called " + shown(file.name));
    require(file.kind >= 0 && file.kind <= kMostKind, shown(file.name) + ": no kind " + std::to_string(file.kind));
    require(!file.is_missing || file.content.empty(), shown(file.name) + " is missing and has a content");
    require(file.content.size() <= kMostBytes - bytes, "more than " + std::to_string(kMostBytes) + " bytes");
    bytes += file.content.size();
  }
}

std::string attributes_json(ParamMap const& attributes) {
  std::string json = "{";
  for (auto const& [name, value] : attributes) {
    require(text::is_utf8(name) && text::is_utf8(value), "the attribute " + shown(name) + " is no UTF-8");
    json += (json.size() == 1 ? "" : ", ") + json_text(name) + ": " + json_text(value);
  }
  return json + "}";
}

std::string manifest_of(HardwareDefinition const& definition) {
  std::string json = "{\n  \"format\": " + std::to_string(kFormat) +
                     ",\n  \"attributes\": " + attributes_json(definition.attributes) + ",\n  \"files\": [";
  char const* before = "\n";
  for (PackedFile const& file : definition.files) {
    json += before + std::string("    {\"name\": ") + json_text(file.name) + ", \"kind\": " + std::to_string(file.kind);
    json += file.is_missing ? ", \"missing\": true" : ", \"size\": " + std::to_string(file.content.size());
    if (!file.attributes.empty()) json += ", \"attributes\": " + attributes_json(file.attributes);
    json += "}";
    before = ",\n";
  }
  json += definition.files.empty() ? "]\n}\n" : "\n  ]\n}\n";
  require(json.size() <= kMostManifest, "the manifest has more than " + std::to_string(kMostManifest) + " bytes");
  return json;
}

// ------------------------------------------------------------------------------------------------------------ reading

ParamMap read_attributes(std::optional<JsonValue> object) {
  ParamMap attributes;
  if (object)
    for (const JsonValue value : object->members()) attributes[std::string(value.name())] = std::string(value.text());
  return attributes;
}

// The file that an element of the manifest tells of, its content taken out of `contents`.
PackedFile read_file_entry(JsonValue element, std::map<std::string, std::string>& contents,
                           std::set<std::string>& names) {
  element.allow_only({"name", "kind", "size", "missing", "attributes"});
  PackedFile file;
  file.name = element.member("name").text();
  if (!is_entry_name(file.name)) element.member("name").refuse("the name of a file in a package");
  if (!names.insert(file.name).second) element.member("name").refuse("a name of its own");
  file.kind = static_cast<int>(element.member("kind").integer(0, kMostKind));
  file.attributes = read_attributes(element.find("attributes"));
  if (const auto missing = element.find("missing")) {
    if (!missing->boolean()) missing->refuse("true, or no such field");
    if (const auto size = element.find("size")) size->refuse("no size of a file that is missing");
    file.is_missing = true;
    return file;
  }
  const auto size = static_cast<std::size_t>(element.member("size").integer(0, kMostBytes));
  const auto place = contents.find(file.name);
  if (place == contents.end()) element.refuse("a file that is in the package, or is marked as missing");
  if (place->second.size() != size) element.member("size").refuse("the size " + std::to_string(place->second.size()));
  file.content = std::move(place->second);
  contents.erase(place);
  return file;
}

HardwareDefinition read_manifest(std::string const& manifest, std::map<std::string, std::string>& contents) {
  const JsonFile json(manifest, std::string(kManifest));
  const JsonValue root = json.root();
  root.allow_only({"format", "attributes", "files"});
  root.member("format").integer(kFormat, kFormat);
  HardwareDefinition definition;
  definition.attributes = read_attributes(root.member("attributes"));
  std::set<std::string> names;
  for (const JsonValue element : root.member("files").items())
    definition.files.push_back(read_file_entry(element, contents, names));
  return definition;
}

HardwareDefinition read_entries(std::vector<ZipEntry> entries) {
  require(!entries.empty() && entries.front().name == kManifest, "does not begin with " + std::string(kManifest));
  require(entries.front().content.size() <= kMostManifest,
          "the manifest has more than " + std::to_string(kMostManifest) + " bytes");
  std::map<std::string, std::string> contents;
  for (std::size_t i = 1; i < entries.size(); ++i) {
    require(is_entry_name(entries[i].name), shown(entries[i].name) + " cannot be the name of a file in a package");
    require(contents.emplace(entries[i].name, std::move(entries[i].content)).second,
            "two files are called " + shown(entries[i].name));
  }
  HardwareDefinition definition = read_manifest(entries.front().content, contents);
  require(contents.empty(), contents.empty() ? "" : shown(contents.begin()->first) + " is not in the manifest");
  return definition;
}

}  // namespace

bool is_entry_name(std::string_view name) {
  if (name.empty() || name.size() > kLongestName || name == kManifest || !text::is_utf8(name)) return false;
  if (std::any_of(name.begin(), name.end(), [](char c) { return text::is_control(c) || c == '\\'; })) return false;
  const std::vector<std::string_view> parts = text::split(name, '/');
  return std::none_of(parts.begin(), parts.end(),
                      [](std::string_view part) { return part.empty() || part == "." || part == ".."; });
}

std::string packed(HardwareDefinition const& definition) {
  require_sound(definition);
  std::vector<ZipEntry> entries{{std::string(kManifest), manifest_of(definition)}};
  for (PackedFile const& file : definition.files)
    if (!file.is_missing) entries.push_back({file.name, file.content});
  try {
    return zipped(entries);
  } catch (ZipError const& error) {
    throw DefinitionError(error.what());
  }
}

HardwareDefinition unpacked(std::string_view bytes, std::string const& name) {
  try {
    require(bytes.size() <= kMostBytes, "more than " + std::to_string(kMostBytes) + " bytes");
    return read_entries(unzipped(bytes, kMostFiles + 1, kMostBytes));
  } catch (ZipError const& error) {
    throw DefinitionError(name + ": is no whole package: " + error.what());
  } catch (JsonError const& error) {
    throw DefinitionError(name + ": " + error.what());
  } catch (DefinitionError const& error) {
    throw DefinitionError(name + ": " + error.what());
  }
}

HardwareDefinition read_hardware_definition(std::string const& path) {
  return unpacked(read_file(path, kMostBytes), path);
}

}  // namespace kdi::hdf
