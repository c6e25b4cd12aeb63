#include "tcltasks/psmodels/outputs.h"

#include "kdi/common/KdiText.h"
#include "tcltasks/psmodels/debug_log.h"
#include "tcltasks/psmodels/measurements.h"
#include "tcltasks/psmodels/model_traits.h"
#include "tcltasks/psmodels/raw_result.h"

namespace psmodels {
namespace {

using Model = HACGCCustomDRCModel;
using Properties = Model::OutMap::mapped_type;

Properties properties_of(std::string const& value, std::string const& range, std::string const& state,
                         std::string const& widget) {
  Properties properties;
  if (!range.empty() && !value.empty())
    properties = {{Model::XGUI_RANGE, range}, {Model::XGUI_VALUE, value}};
  else if (widget == "COMBO" && state != "DISABLE")
    properties = {{Model::XGUI_RANGE, range}};
  else if (widget == "EDIT" && !value.empty())
    properties = {{Model::XGUI_VALUE, value}};
  else if (widget == "CHECKBOX")
    properties = {{Model::XGUI_RANGE, "0,1"}, {Model::XGUI_VALUE, "0"}};
  properties[Model::XGUI_ENABLED] = state == "ENABLE" ? "true" : "false";
  return properties;
}

}  // namespace

template <class Traits>
void tell_outputs(RawResult const& raw, Model::OutMap& outParams) {
  const bool restores = Traits::kRestoresMeasurements && has_tokens();
  for (auto const& [parameter, rows] : raw) {
    std::string value = first_of(rows, Row::value);
    if (restores && is_dict_measurement(parameter)) value = without_tokens(value);
    const std::string range = kdi::text::joined(row_of(rows, Row::range), ",");
    const std::string state = first_of(rows, Row::state), widget = first_of(rows, Row::widget);
    Properties properties = properties_of(value, range, state, widget);
    if (Traits::kReplacesOutputs)
      outParams.insert_or_assign(parameter, std::move(properties));
    else
      outParams.emplace(parameter, std::move(properties));
    log(Traits::kOutputChannel, 5, "Setting OUTPUT Parameter param=%s,value=%s,range=%s,Enabled=%s,Widget=%s\n",
        parameter.c_str(), value.c_str(), range.c_str(), state.c_str(), widget.c_str());
  }
}

template void tell_outputs<PspmcTraits>(RawResult const&, Model::OutMap&);
template void tell_outputs<PsxlTraits>(RawResult const&, Model::OutMap&);
template void tell_outputs<PcwTraits>(RawResult const&, Model::OutMap&);

}  // namespace psmodels
