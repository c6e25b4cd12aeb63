#include "kdi/ip/host/Customization.h"

#include <exception>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/HACGCHybridCustomController.h"
#include "kdi/common/KdiText.h"
#include "kdi/cores/Store.h"
#include "platform/ip/customization/model_maps.h"

namespace kdi::ip {
namespace {

using Functions = HACGCHybridCustomController::Functions;

Functions functions_of(std::string const& identifier) {
  const auto found = HACGCHybridCustomController::find(identifier);
  if (!found || found->factory == nullptr) {
    const StrVec known = HACGCHybridCustomController::identifiers();
    throw CustomizationError(known.empty()
                                 ? "no parameter models are registered: the package that has them is not loaded"
                                 : "no parameter model for " + text::shown(identifier) + "; there are models for " +
                                       text::joined(known, ", "));
  }
  if (found->deleter == nullptr)
    throw CustomizationError("the parameter model for " + text::shown(identifier) + " has no delete function");
  return *found;
}

// `brenlo:ip:pspmc:1.4` is version 1.4 of pspmc.
void add_core(std::string const& identifier, ParamMap& context) {
  const auto words = text::split(identifier, ':');
  if (words.size() != 4) return;
  context.emplace("ps_core_name", words[2]);
  context.emplace("ps_core_ver", words[3]);
}

std::string entry_of(ParamMap const& map, char const* key) {
  const auto place = map.find(key);
  return place == map.end() ? std::string() : place->second;
}

// The customisations whose models are at work, by thread. A table, since leak checkers lose their way in the storage
// that threads get for a library which is opened late.
class Desk {
 public:
  static Desk& shared() {
    static auto& desk = *new Desk;  // never destroyed: asked while the process ends
    return desk;
  }
  Customization* here() {
    const std::lock_guard lock(mutex_);
    const auto place = at_work_.find(std::this_thread::get_id());
    return place == at_work_.end() ? nullptr : place->second;
  }
  /// Returns the one before; null for none.
  Customization* seat(Customization* one) {
    const std::lock_guard lock(mutex_);
    Customization* const before = std::exchange(at_work_[std::this_thread::get_id()], one);
    if (one == nullptr) at_work_.erase(std::this_thread::get_id());
    return before;
  }

 private:
  std::mutex mutex_;
  std::map<std::thread::id, Customization*> at_work_;
};

class AtWork {
 public:
  explicit AtWork(Customization& one) : before_(Desk::shared().seat(&one)) {}
  AtWork(AtWork const&) = delete;
  AtWork& operator=(AtWork const&) = delete;
  ~AtWork() { Desk::shared().seat(before_); }

 private:
  Customization* const before_;
};

}  // namespace

// ------------------------------------------------------------------------------------------------------------- model

// A model of a factory, until its delete function has it; or of a caller's own.
class Customization::Model {
 public:
  explicit Model(std::unique_ptr<HACGCCustomDRCModel> own)
      : functions_{nullptr, [](std::string, HACGCCustomDRCModel** model) { delete *model; }}, model_(own.release()) {}
  explicit Model(std::string identifier) : identifier_(std::move(identifier)), functions_(functions_of(identifier_)) {
    functions_.factory(identifier_, &model_);
    if (model_ == nullptr) throw CustomizationError("no parameter model was made for " + text::shown(identifier_));
  }
  Model(Model const&) = delete;
  Model& operator=(Model const&) = delete;
  ~Model() {
    try {
      functions_.deleter(std::move(identifier_), &model_);  // moved: going down asks for no memory
    } catch (std::exception const& error) {
      ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, "ip", ComMsgMgr::MSG_ERROR, "%s", error.what());
    } catch (...) {
      ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, "ip", ComMsgMgr::MSG_ERROR, "%s",
                               "a parameter model could not be deleted");
    }
  }

  HACGCCustomDRCModel& operator*() const { return *model_; }

 private:
  std::string identifier_;
  const Functions functions_;
  HACGCCustomDRCModel* model_ = nullptr;
};

Customization::Customization(std::string identifier, ParamMap context, Begin begin,
                             std::unique_ptr<HACGCCustomDRCModel> model)
    : identifier_(std::move(identifier)), context_(std::move(context)) {
  if (model == nullptr) functions_of(identifier_);  // an unknown identifier is told before a core that nobody has
  add_core(identifier_, context_);
  core_ = cores::core_description(entry_of(context_, "ps_core_name"), entry_of(context_, "ps_core_ver"));
  model_ = model == nullptr ? std::make_unique<Model>(identifier_) : std::make_unique<Model>(std::move(model));
  this->begin(std::move(begin));
}

Customization::~Customization() = default;

Customization* Customization::at_work() { return Desk::shared().here(); }

void Customization::begin(Begin begin) {
  HACGCCustomDRCModel& model = **model_;
  if (core_) fill_maps(model, *core_);
  model.setGuiContextParams(begin.gui_context);

  const AtWork guard(*this);
  user_params_ = begin.params;
  OutMap told;
  StrVec errors;
  const bool is_well = model.init_params(begin.params, told, context_, errors, begin.strength);
  if (!is_well || !errors.empty())
    throw CustomizationError(errors.empty() ? text::shown(identifier_) + " could not begin"
                                            : text::joined(errors, "\n"));
  keep(std::move(told));
  model.loadSubPresetParams(user_params_);
}

// Models may tell of some parameters only.
void Customization::keep(OutMap told) {
  for (auto& [name, properties] : told)
    for (auto& [property, text] : properties) outputs_[name].insert_or_assign(property, std::move(text));
}

bool Customization::update(ParamMap changes) {
  const AtWork guard(*this);
  for (auto const& [name, value] : changes) user_params_.insert_or_assign(name, value);
  OutMap told;
  const bool is_well = (**model_).updateAll(changes, user_params_, told, context_);
  keep(std::move(told));
  return is_well;
}

void Customization::set(std::string const& name, std::string const& value) {
  const AtWork guard(*this);
  user_params_.insert_or_assign(name, value);
  (**model_).guiSetParam(name, value);
}

void Customization::drive(std::function<void(HACGCCustomDRCModel&)> const& use) {
  const AtWork guard(*this);
  use(**model_);
}

ParamMap const& Customization::errors() { return (**model_).getParametersWithErrors(); }

}  // namespace kdi::ip
