#include "tcltasks/psmodels/live_models.h"

#include <map>
#include <mutex>
#include <variant>

#include "tcltasks/psmodels/HACGCPSPMCCustomDRCModel.h"
#include "tcltasks/psmodels/HACGCPSXLCustomDRCModel.h"

namespace psmodels {
namespace {

using Model = std::variant<HACGCPSPMCCustomDRCModel*, HACGCPSXLCustomDRCModel*>;

struct Models {
  std::mutex mutex;
  std::map<std::uintptr_t, Model> by_address;
};

Models& models() {
  static auto& all = *new Models;  // never destroyed: models end when the process does
  return all;
}

// The address is the one that a controller has.
template <class One>
std::uintptr_t add(One& one) {
  const auto address = reinterpret_cast<std::uintptr_t>(static_cast<HACGCCustomDRCModel*>(&one));
  const std::lock_guard lock(models().mutex);
  models().by_address.insert_or_assign(address, &one);
  return address;
}

}  // namespace

Living::Living(HACGCPSPMCCustomDRCModel& model) : address_(add(model)) {}
Living::Living(HACGCPSXLCustomDRCModel& model) : address_(add(model)) {}
Living::~Living() {
  const std::lock_guard lock(models().mutex);
  models().by_address.erase(address_);
}

template <class One>
One* live_model(std::uint64_t address) {
  const std::lock_guard lock(models().mutex);
  const auto place = models().by_address.find(address);
  if (place == models().by_address.end()) return nullptr;
  One* const* const model = std::get_if<One*>(&place->second);
  return model == nullptr ? nullptr : *model;
}
template HACGCPSPMCCustomDRCModel* live_model(std::uint64_t);
template HACGCPSXLCustomDRCModel* live_model(std::uint64_t);

}  // namespace psmodels
