#include "kdi/common/HPAParamMgr.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <new>
#include <stdexcept>
#include <utility>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/common/host/ParamHost.h"
#include "platform/common/data_directory.h"
#include "platform/common/given_places.h"
#include "platform/common/param_files.h"
#include "platform/common/parameters.h"
#include "platform/common/shipped_default.h"

namespace {

using param_host::Declaration;
using param_host::Origin;
using param_host::Parameter;
using param_host::Type;

struct Stored {
  Declaration declaration;
  std::optional<kdi::FileValue> from_file;
  std::optional<std::string> from_program;

  std::string const& value() const {
    if (from_program) return *from_program;
    return from_file ? from_file->value : declaration.default_value;
  }
  bool is_true() const { return value() != kdi::false_value(declaration.type); }
  Parameter seen() const {
    Parameter parameter{declaration, value(), Origin::declared, {}};
    if (from_program) {
      parameter.origin = Origin::program;
    } else if (from_file) {
      parameter.origin = Origin::file;
      parameter.place = from_file->place;
    }
    return parameter;
  }
};

// Counts what changes in the Registry, beside it, so that a question about it makes none.
std::atomic<std::uint64_t> changes = 1;

std::string named(std::string const& name) { return "parameter " + kdi::text::quoted(kdi::text::shortened(name)); }

// Runs `read` and gives what it throws to `tell`. Lack of memory passes: it is no fault of a file.
template <class Read, class Tell>
void tell_faults(Read read, Tell tell) {
  try {
    read();
  } catch (std::bad_alloc const&) {
    throw;
  } catch (std::exception const& error) {
    tell(error.what());
  }
}

// State of the process. Never destroyed: parameters are read while the package is loaded and while the process ends.
class Registry {
 public:
  // Throws std::bad_alloc alone; the next question then makes the Registry again.
  Registry() {
    read_catalogue();
    const kdi::GivenPlaces given = kdi::given_places(kdi::PlaceVariable::parameter_values);
    if (given.text.empty()) return;
    const auto read = [&] {
      const std::string path = given.absolute(given.text).string();
      if (path.empty()) throw std::runtime_error(given.text + ": the working directory is gone");
      load(path);
    };
    tell_faults(read, [this](std::string const& fault) {
      faults_.push_back(fault + " (no value of the file that KDI_PARAMS names is used)");
    });
  }

  // What was wrong with the files; told once, and not by the constructor, since whoever is told may read a parameter.
  std::vector<std::string> take_faults() {
    const std::lock_guard lock(mutex_);
    return std::exchange(faults_, {});
  }

  // The parameter's truth; nothing if it is not declared.
  std::optional<bool> truth(std::string const& name) const {
    const std::lock_guard lock(mutex_);
    const auto found = parameters_.find(name);
    return found == parameters_.end() ? std::nullopt : std::optional(found->second.is_true());
  }
  std::string text(std::string const& name) const {
    const std::lock_guard lock(mutex_);
    const auto found = parameters_.find(name);
    return found == parameters_.end() ? std::string() : found->second.value();
  }
  std::optional<std::int64_t> integer(std::string const& name) const {
    const std::lock_guard lock(mutex_);
    const auto found = parameters_.find(name);
    if (found == parameters_.end() || found->second.declaration.type != Type::integer) return std::nullopt;
    return kdi::number::whole<std::int64_t>(found->second.value());
  }
  bool knows_every_name() const { return catalogue_is_whole_; }

  void declare(Declaration declaration) {
    const std::string name = declaration.name;
    if (!kdi::is_parameter_name(name))
      throw std::invalid_argument(named(name) + ": expected a name of letters, digits, _, . and -");
    const std::string value = accepted(name, declaration.type, declaration.default_value);
    declaration.default_value = value;
    const std::lock_guard lock(mutex_);
    if (!parameters_.emplace(name, Stored{std::move(declaration), {}, {}}).second)
      throw std::invalid_argument(named(name) + " is declared twice");
    ++changes;
  }

  void set(std::string const& name, std::string const& value) {
    const std::lock_guard lock(mutex_);
    Stored& parameter = at(name);
    parameter.from_program = accepted(name, parameter.declaration.type, value);
    ++changes;
  }
  void unset(std::string const& name) {
    const std::lock_guard lock(mutex_);
    at(name).from_program.reset();
    ++changes;
  }
  Parameter get(std::string const& name) {
    const std::lock_guard lock(mutex_);
    return at(name).seen();
  }
  std::vector<Parameter> list() const {
    const std::lock_guard lock(mutex_);
    std::vector<Parameter> all;
    all.reserve(parameters_.size());
    for (auto const& [name, parameter] : parameters_) all.push_back(parameter.seen());
    return all;
  }

  void load(std::string const& path) {
    const kdi::JsonFile file(path);
    const std::lock_guard lock(mutex_);
    std::vector<kdi::FileValue> values =
        kdi::read_values(file, path, [this](std::string const& name) { return at(name).declaration.type; });
    for (kdi::FileValue& value : values) {
      Stored& parameter = at(value.name);
      parameter.from_file = std::move(value);
    }
    ++changes;
  }

 private:
  static std::string accepted(std::string const& name, Type type, std::string const& value) {
    if (auto canonical = kdi::canonical_value(type, value)) return *std::move(canonical);
    throw std::invalid_argument(named(name) + ": expected " + kdi::accepted_form(type) + ", found " +
                                kdi::text::quoted(kdi::text::shortened(value)));
  }

  Stored& at(std::string const& name) {
    const auto found = parameters_.find(name);
    if (found != parameters_.end()) return found->second;
    std::vector<std::string> names;
    for (auto const& [known, parameter] : parameters_) names.push_back(known);
    const std::string nearest = kdi::nearest_name(name, names);
    throw std::invalid_argument(named(name) + " is not declared" +
                                (nearest.empty() ? "" : "; the nearest name is \"" + nearest + "\""));
  }

  // A parameter that several data roots declare is as the first of them says, so that a site may change a default.
  void read_catalogue() {
    const auto read = [this] {
      for (std::vector<std::string> const& files : kdi::find_data_files("params", ".json")) {
        std::map<std::string, Stored> of_root;
        for (std::string const& path : files) read_declarations(path, of_root);
        parameters_.merge(of_root);
      }
      if (parameters_.empty()) catalogue_fault("no data root (KDI_DATA_DIR) has a folder params with declarations");
    };
    tell_faults(read, [this](std::string const& fault) { catalogue_fault(fault); });
  }
  void read_declarations(std::string const& path, std::map<std::string, Stored>& of_root) {
    const auto read = [&] {
      for (kdi::FileDeclaration& declared : kdi::read_declarations(kdi::JsonFile(path))) {
        const std::string name = declared.declaration.name;
        if (!of_root.emplace(name, Stored{std::move(declared.declaration), {}, {}}).second)
          catalogue_fault(declared.place + ": expected a name that is declared once, found \"" + name + "\" again");
      }
    };
    tell_faults(read, [this](std::string const& fault) { catalogue_fault(fault); });
  }
  void catalogue_fault(std::string const& fault) {
    catalogue_is_whole_ = false;
    faults_.push_back(fault);
  }

  mutable std::mutex mutex_;
  std::map<std::string, Stored> parameters_;
  std::vector<std::string> faults_;
  bool catalogue_is_whole_ = true;  // constant once the Registry is made
};

std::atomic<bool> is_registry_made = false;

Registry& the_registry() {
  static Registry& instance = *new Registry;
  is_registry_made = true;
  for (std::string const& fault : instance.take_faults())
    ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, "parameters", ComMsgMgr::MSG_ERROR, "%s", fault.c_str());
  return instance;
}

}  // namespace

// ------------------------------------------------------------------------------------------------ the package's side

HPAParamMgr& HPAParamMgr::getParamMgr() {
  static HPAParamMgr instance;
  return instance;
}

bool HPAParamMgr::getValueAsBool(std::string const& name) const {
  Registry& parameters = the_registry();
  if (const std::optional<bool> truth = parameters.truth(name)) return *truth;
  if (!parameters.knows_every_name()) return false;
  throw std::logic_error(named(name) + " is read and not declared");
}

bool HPAParamMgr::getValueIfExistAsBool(std::string const& name, bool fallback) const {
  if (!is_registry_made && kdi::is_shipped_default(name, fallback)) return fallback;
  return the_registry().truth(name).value_or(fallback);
}

std::string HPAParamMgr::getValueAsString(std::string const& name) const { return the_registry().text(name); }

// ------------------------------------------------------------------------------------------------ this library's side

std::optional<std::int64_t> kdi::integer_parameter(std::string const& name) { return the_registry().integer(name); }

std::uint64_t kdi::parameters_state() { return changes; }

// --------------------------------------------------------------------------------------------------- the host's side

namespace param_host {

char const* name_of(Type type) { return type == Type::integer ? "integer" : type == Type::text ? "text" : "boolean"; }

char const* name_of(Origin origin) {
  switch (origin) {
    case Origin::file:
      return "file";
    case Origin::program:
      return "program";
    case Origin::declared:
      break;
  }
  return "default";
}

void declare(Declaration declaration) { the_registry().declare(std::move(declaration)); }
void set(std::string const& name, std::string const& value) { the_registry().set(name, value); }
void unset(std::string const& name) { the_registry().unset(name); }
Parameter get(std::string const& name) { return the_registry().get(name); }
std::vector<Parameter> list() { return the_registry().list(); }
void load_file(std::string const& path) { the_registry().load(path); }

void save_file(std::string const& path) {
  std::vector<Parameter> given = list();
  std::erase_if(given, [](Parameter const& parameter) { return parameter.origin == Origin::declared; });
  kdi::write_file(path, kdi::values_text(given));
}

}  // namespace param_host
