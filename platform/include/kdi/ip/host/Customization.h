// The life of one customisation: a parameter model, made by the identifier of an IP, filled from the description of its
// core, driven, and deleted.
//
//   kdi::ip::Customization customization("brenlo:ip:pspmc:1.4", {{"part", part}, {"instance_name", "u1"}});
//   customization.set("PS_UART0_PERIPHERAL_ENABLE", "1");
//   for (auto const& [parameter, text] : customization.errors()) ...
//
// A customisation is for one thread at a time; several live side by side, on threads of their own. The engine's
// instance, which the model finds by the context, outlives it.
#pragma once

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "kdi/common/KdiDoor.h"
#include "kdi/common/KdiTypes.h"
#include "kdi/cores/Core.h"
#include "kdi/ip/HACGCCustomDRCModel.h"

namespace kdi::ip {

/// Why a customisation cannot be opened.
class KDI_DOOR CustomizationError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class KDI_DOOR Customization {
 public:
  using OutMap = HACGCCustomDRCModel::OutMap;

  /// What a customisation begins with.
  struct Begin {
    ParamMap params = {};       ///< those of a stored configuration
    ParamMap gui_context = {};  ///< kept by the model, and handed on
    int strength = 10;          ///< for models that look at it
  };

  /// Makes the model, fills its maps, and calls init_params and loadSubPresetParams. `context` gains `ps_core_name` and
  /// `ps_core_ver` from the third and fourth word of the identifier, unless it has them. Throws CustomizationError for
  /// an identifier without a model and for a core that cannot be made, what the readers of descriptions throw, and
  /// whatever the model lets through; the model is deleted then.
  Customization(std::string identifier, ParamMap context)
      : Customization(std::move(identifier), std::move(context), {}) {}
  /// The same over `model`, whatever is registered, if the caller has one of its own.
  Customization(std::string identifier, ParamMap context, Begin begin,
                std::unique_ptr<HACGCCustomDRCModel> model = nullptr);
  Customization(Customization const&) = delete;
  Customization& operator=(Customization const&) = delete;
  /// Not while the model is at work.
  ~Customization();

  std::string const& identifier() const { return identifier_; }
  ParamMap const& context() const { return context_; }
  /// The description of the core; null for a core without one.
  std::shared_ptr<cores::Core const> const& core() const { return core_; }

  /// The batch route: updateAll. Whether there is no error.
  bool update(ParamMap changes);
  /// The route of a user interface: guiSetParam, which some models do without.
  void set(std::string const& name, std::string const& value);
  /// Calls any other operation of the model, which the caller knows by the identifier; at_work() is this one meanwhile.
  void drive(std::function<void(HACGCCustomDRCModel&)> const& use);

  /// What the user has given is this from now on, since it came to the engine by another way. Models give it to an
  /// engine's instance that has been given nothing.
  void set_user_params(ParamMap params) { user_params_ = std::move(params); }

  /// Value, range and state of each parameter as init_params and updateAll last told them.
  OutMap const& outputs() const { return outputs_; }
  /// Parameter to error, of the last change.
  ParamMap const& errors();

  /// The one whose model is at work on this thread; null if none is. A listener of HPSPMCUpdateGuiEvent, which does not
  /// say whose it is, learns it so. It may drive this customisation and others, and may not end this one.
  static Customization* at_work();

 private:
  class KDI_INSIDE Model;

  void begin(Begin begin);
  void keep(OutMap told);

  std::string identifier_;
  ParamMap context_;
  std::shared_ptr<cores::Core const> core_;
  ParamMap user_params_;
  OutMap outputs_;
  std::unique_ptr<Model> model_;
};

}  // namespace kdi::ip
