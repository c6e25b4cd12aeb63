// A core that is being customised, in the terms of a script: parameters by name, questions by word, changes that tell
// what moved.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/coretools/model_door.h"
#include "kdi/cores/Changes.h"
#include "kdi/cores/Record.h"
#include "kdi/cores/Settings.h"
#include "kdi/ip/host/Customization.h"
#include "kdi/ippcw/host/CoreAccess.h"

namespace coretools {

/// For one thread. What cannot be done is a std::runtime_error or std::invalid_argument, and changes nothing.
class OpenedCore {
 public:
  /// Opens a customisation and tells it once what follows: over the package's parameter model, or over the engine alone
  /// for a core that has none (EngineModel). Without an `instance_name` in the context the engine's
  /// instance is this one's own, and ends with it.
  OpenedCore(std::string const& identifier, ParamMap context, kdi::ip::Customization::Begin begin);
  OpenedCore(OpenedCore const&) = delete;
  OpenedCore& operator=(OpenedCore const&) = delete;
  ~OpenedCore();

  /// Is told the names of what moved, on each change, in the words of the model's event.
  std::function<void(StrVec const& names)> on_update;
  /// Is told what the model tells whoever wraps it, of a full update (`update`) or of a user's change (`interface`).
  std::function<void(std::string const& flow, ParamMap const& params)> on_change;

  // ---------------------------------------------------------------------------------------------------- changes
  /// One after another, as a user interface does. Returns what moved, each name once.
  StrVec set(StrPairs const& pairs);
  /// The same at once, by the model's operation for several; of a core without a model, by the engine's. Returns what
  /// moved.
  StrVec set_together(StrPairs const& pairs);
  /// Any operation of the model, whose class the identifier tells. Returns what moved as far as the model tells.
  StrVec drive(std::function<void(HACGCCustomDRCModel&)> const& use);
  /// All at once. Whether there is no error.
  bool update(ParamMap const& params);
  /// Takes values back that were given.
  StrVec take_back(StrVec const& names);
  StrVec undo();
  StrVec redo();

  // ---------------------------------------------------------------------------------------------------- questions
  /// The words for get(), in their order.
  static StrVec kinds();
  /// The engine's name of a parameter. Throws for one that there is not.
  std::string engine_name(std::string const& name) const;
  /// A list for `range`, a text for all others. Throws for an unknown parameter or word.
  kdi::cores::Record get(std::string const& name, std::string const& kind);
  /// All of them.
  kdi::cores::Record get(std::string const& name);
  ParamMap const& errors() { return customization_.errors(); }
  /// Value, range and state of all parameters as the model last told them.
  ModelDoor::OutMap const& outputs() const { return customization_.outputs(); }
  /// Super logic regions of the part.
  int slr_count();
  /// All else that the model can be asked.
  ModelDoor& model() { return model_; }
  /// Names and values that the user changed since the last call; empty for models that keep no such list.
  std::string modified();

  /// Hands over the core and its sub-cores, the core first.
  void look(std::function<void(std::vector<kdi::cores::Configuration*> const&)> const& look) const;

  // ---------------------------------------------------------------------------------------------------- sub-presets
  StrVec sub_presets();
  /// `choices`, and `info`: a dictionary of texts.
  kdi::cores::Record sub_preset(std::string const& name);
  StrVec choose(std::string const& choice);

  // ---------------------------------------------------------------------------------------------------- presets,
  // boards
  /// The names of presets, or of boards, by `from`; those of cores within it behind its own.
  StrVec named_settings(kdi::cores::Origin from) const;
  /// `description`, and `settings`: a dictionary of values by parameter. Throws for an unknown name.
  kdi::cores::Record named_settings(kdi::cores::Origin from, std::string const& name) const;
  /// Gives the settings. What the user gave to other parameters stays. Returns what moved.
  StrVec apply(kdi::cores::Origin from, std::string const& name);

  // ---------------------------------------------------------------------------------------------------- why
  /// Engine names of all parameters, those of sub-cores behind the core's own.
  StrVec names() const;
  kdi::cores::Record explain(std::string const& name);
  kdi::cores::Record explain(std::string const& name, std::string const& message);
  kdi::cores::Record try_set(StrPairs const& pairs);
  kdi::cores::Record compare(OpenedCore& other);
  /// Gives `other` what this was given.
  kdi::cores::Record carry_to(OpenedCore& other);

  // ---------------------------------------------------------------------------------------------------- files
  /// The page that tells all of it (kdi/corepages/Report.h).
  std::string report() const;
  std::string script() const;
  std::string json() const;
  StrVec read_script(std::string const& text, std::string const& file);
  StrVec read_json(std::string const& text, std::string const& file);

 private:
  using Access = hardip_eng::ConfiguredAccess;
  using Place = kdi::cores::Configuration::Place;

  void access(std::function<void(Access const&)> const& use) const;
  Place place(Access const& all, std::string const& name) const;
  /// Makes a change by way of the engine, and lets the model know.
  StrVec engine_change(std::function<StrVec(Access const&)> const& change);
  StrVec batch(std::function<void()> const& change);
  StrVec step(bool back);
  void tell(StrVec names);
  kdi::cores::Settings settings(Access const& all) const;
  StrVec restore(kdi::cores::Settings const& settings);
  StrVec moved_outputs(std::function<void()> const& change);
  StrPairs values() const;
  std::unique_ptr<kdi::cores::Configuration> copy() const;

  bool owns_instance_;
  kdi::ip::Customization customization_;
  ModelDoor model_;
  HACGCPSPMCCustomDRCModel* const pspmc_;  // one of them, or none, as the identifier says
  HACGCPSXLCustomDRCModel* const psxl_;
  StrVec moved_;  // by events, since the outermost change began
};

}  // namespace coretools
