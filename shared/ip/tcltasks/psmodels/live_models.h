// Which models there are, for callers that know one by its address alone.
#pragma once

#include <cstdint>

class HACGCPSPMCCustomDRCModel;
class HACGCPSXLCustomDRCModel;

namespace psmodels {

/// A member of each model, by which it is known while it lives. For models on any thread.
class Living {
 public:
  explicit Living(HACGCPSPMCCustomDRCModel& model);
  explicit Living(HACGCPSXLCustomDRCModel& model);
  Living(Living const&) = delete;
  Living& operator=(Living const&) = delete;
  ~Living();

 private:
  std::uintptr_t address_;
};

/// The live model of that class at the address; null if there is none, whatever else is there. Whoever asks keeps the
/// model alive for as long as it is used.
template <class Model>
Model* live_model(std::uint64_t address);

}  // namespace psmodels
