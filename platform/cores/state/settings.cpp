#include "kdi/cores/Settings.h"

#include <set>
#include <utility>

#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiText.h"
#include "kdi/cores/Record.h"

namespace kdi::cores {

Settings settings_of(Instance const& instance) {
  Settings settings{instance.core().name(), instance.core().version(), {}};
  for (std::uint32_t i = 0; i < instance.core().parameters().size(); ++i)
    if (Change change = given_to(instance, i); change.text)
      settings.all.push_back({instance.core().parameters()[i].name, *std::move(change.text), change.from});
  return settings;
}

std::vector<Change> changes_for(Instance const& instance, Settings const& settings) {
  Core const& core = instance.core();
  std::vector<Change> changes;
  std::set<std::uint32_t> set;
  for (Setting const& setting : settings.all) {
    auto number = core.find(setting.parameter);
    if (!number) number = core.find_user_name(setting.parameter);
    const std::string shown = text::quoted(text::shortened(setting.parameter));
    if (!number) throw SettingsError(core.name() + " " + core.version() + " has no parameter " + shown);
    if (!set.insert(*number).second) throw SettingsError("the parameter " + shown + " is set twice");
    changes.push_back({*number, setting.text, setting.from});
  }
  for (std::uint32_t i = 0; i < core.parameters().size(); ++i)
    if (instance.given(i) && !set.contains(i)) changes.push_back({i, std::nullopt});
  return changes;
}

std::string settings_json(Settings const& settings) {
  std::string json = "{\n  \"format\": 1,\n  \"core\": " + json_text(settings.core) +
                     ",\n  \"version\": " + json_text(settings.version) + ",\n  \"settings\": [";
  bool is_first = true;
  for (Setting const& setting : settings.all) {
    if (!is_utf8(setting.text)) throw SettingsError("the value of " + setting.parameter + " is no UTF-8");
    json += std::exchange(is_first, false) ? "\n" : ",\n";
    json += "    {\"parameter\": " + json_text(setting.parameter) + ", \"value\": " + json_text(setting.text);
    if (setting.from != Origin::user) json += ", \"origin\": " + json_text(word_of(setting.from));
    json += '}';
  }
  return json += "\n  ]\n}\n";
}

Settings read_settings_json(std::string_view text, std::string const& file) {
  const JsonFile json(text, file);
  const JsonValue root = json.root();
  root.allow_only({"format", "core", "version", "settings"});
  root.member("format").integer(1, 1);
  Settings settings{std::string(root.member("core").text()), std::string(root.member("version").text()), {}};
  std::set<std::string> names;
  for (const JsonValue entry : root.member("settings").items()) {
    entry.allow_only({"parameter", "value", "origin"});
    Setting setting{std::string(entry.member("parameter").text()), std::string(entry.member("value").text())};
    if (!names.insert(setting.parameter).second) entry.member("parameter").refuse("a parameter that is not set yet");
    constexpr Origin kOrigins[] = {Origin::user, Origin::preset, Origin::board};
    if (const auto origin = entry.find("origin")) setting.from = kOrigins[origin->choice({"user", "preset", "board"})];
    settings.all.push_back(std::move(setting));
  }
  return settings;
}

}  // namespace kdi::cores
