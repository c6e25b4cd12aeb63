#include "host/kdi_cdo/configured.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "host/kdi_cdo/inputs.h"
#include "kdi/common/KdiText.h"
#include "kdi/common/KdiTypes.h"
#include "kdi/cores/Explain.h"
#include "kdi/cores/Store.h"
#include "kdi/ippcw/HardIP.h"
#include "kdi/ippcw/host/CoreAccess.h"

namespace kdi_cdo {
namespace {

using kdi::cores::Configuration;
using kdi::text::shown;

constexpr char kCoreName[] = "ps_core_name", kCoreVersion[] = "ps_core_ver", kPart[] = "part";

// What says which core is meant on which device, with what the package's driver takes where a file does not say.
constexpr std::pair<char const*, char const*> kContext[] = {
    {kCoreName, "psxl"}, {kCoreVersion, ""}, {kPart, "brvn3716-die-2LHP-e-S-es1"},
    {"device", ""},      {"family", ""},     {"language", ""},
    {"package", ""},     {"speedgrade", ""}};

struct Line {
  std::size_t number;
  std::string key, value;
};

std::vector<Line> lines_of(std::string const& path) {
  std::vector<Line> lines;
  std::map<std::string, std::size_t> at;
  const std::string text = read(path);
  std::size_t number = 0;
  for (std::string_view line : kdi::text::lines(text)) {
    ++number;
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (line.empty()) continue;
    const std::string where = named(path) + ":" + std::to_string(number) + ": ";
    const std::size_t comma = line.find(',');
    if (comma == std::string_view::npos || comma == 0)
      throw InputError(where + "a parameter, a comma and its value are expected, found " + shown(line));
    std::string key(line.substr(0, comma));
    const auto [place, is_new] = at.emplace(key, number);
    if (!is_new)
      throw InputError(where + shown(key) + " was given in line " + std::to_string(place->second) + " already");
    lines.push_back({number, std::move(key), std::string(line.substr(comma + 1))});
  }
  return lines;
}

// The name that is nearest to one that there is not.
std::string nearest(std::vector<Configuration*> const& all, std::string const& name) {
  constexpr std::size_t kLongest = 200;
  if (name.size() > kLongest) return {};
  std::pair<std::size_t, std::string> best{name.size() / 3 + 1, ""};
  for (Configuration const* const one : all)
    for (kdi::cores::Parameter const& parameter : one->core().parameters())
      best = std::min(best, {kdi::text::edit_distance(name, parameter.name), parameter.name});
  return best.second.empty() ? "" : "; there is " + best.second;
}

void give(std::string const& path, std::vector<Line> const& lines, hardip_eng::ConfiguredAccess const& access) {
  std::vector<std::pair<Configuration::Place, std::string>> values;
  for (Line const& line : lines) {
    const auto place = access.whole.find(line.key);
    if (!place)
      throw InputError(named(path) + ":" + std::to_string(line.number) + ": " + access.configuration.core().name() +
                       " " + access.configuration.core().version() + " has no parameter " + shown(line.key) +
                       nearest(access.configurations, line.key));
    values.emplace_back(*place, line.value);
  }
  access.whole.set(values);
}

// How many errors there are.
std::size_t tell_messages(Configuration& whole, std::function<void(std::string const&)> const& told) {
  std::size_t errors = 0;
  for (Configuration::Told const& one : whole.messages()) {
    if (one.due.severity == kdi::cores::Severity::info) continue;
    if (one.due.severity == kdi::cores::Severity::error) ++errors;
    std::string severity(kdi::cores::name_of(one.due.severity));
    std::replace(severity.begin(), severity.end(), '_', ' ');
    told(severity + ": " + one.parameter + ": " + one.due.text);
  }
  return errors;
}

// An instance of the engine, which ends with this.
class Instance {
 public:
  explicit Instance(ParamMap context) : context_(std::move(context)) {
    StrVec errors;
    if (manager().getOrCreateInstance(context_, errors) == nullptr) throw InputError(kdi::text::joined(errors, "; "));
  }
  Instance(Instance const&) = delete;
  Instance& operator=(Instance const&) = delete;
  ~Instance() {
    StrVec ignored;
    manager().deleteInstance(context_, ignored);
  }
  // It is there, since nobody else ends it.
  void use(std::function<void(hardip_eng::ConfiguredAccess const&)> const& use) const {
    hardip_eng::access_core(context_, use);
  }

 private:
  static hardip_eng::HardIPManager& manager() { return *hardip_eng::HardIPManager::getInstance(); }
  ParamMap context_;
};

}  // namespace

void configured(std::string const& path, Wanted const& wanted, std::function<void(std::string const&)> const& told,
                std::function<void(std::vector<Configuration*> const&)> const& use) {
  std::vector<Line> lines = lines_of(path);
  ParamMap context(std::begin(kContext), std::end(kContext));
  for (Line const& line : lines)
    if (context.contains(line.key)) context[line.key] = line.value;
  std::erase_if(lines, [&](Line const& line) { return context.contains(line.key); });
  for (auto const& [key, value] :
       {std::pair(kCoreName, &wanted.core), std::pair(kCoreVersion, &wanted.version), std::pair(kPart, &wanted.part)})
    if (!value->empty()) context[key] = *value;
  std::string& version = context[kCoreVersion];
  version = kdi::cores::described_core(context[kCoreName] + (version.empty() ? "" : ":" + version))->version();
  context["instance_name"] = context[kCoreName] + "_0";

  Instance(context).use([&](hardip_eng::ConfiguredAccess const& access) {
    give(path, lines, access);
    if (const std::size_t errors = tell_messages(access.whole, told); errors != 0)
      throw ConfigurationError("the configuration has " + std::to_string(errors) +
                               (errors == 1 ? " error" : " errors"));
    use(access.configurations);
  });
}

}  // namespace kdi_cdo
