#include "tcltasks/psmodels/range_checks.h"

#include <algorithm>
#include <limits>

#include "kdi/common/KdiText.h"
#include "tcltasks/psmodels/debug_log.h"
#include "tcltasks/psmodels/number_checks.h"
#include "tcltasks/psmodels/raw_result.h"

namespace psmodels {
namespace {

// One parameter, and what is said of it.
struct Checked {
  std::string const& parameter;
  std::string value;
  StrVec const& range;
  std::string enabled;
  std::string widget;
  std::string joined_range;
  char const* channel;

  void tell() const {
    log(channel, 5, "Inserting Error Message on param=%s,value=%s,range=%s,Enabled=%s,Widget=%s\n", parameter.c_str(),
        value.c_str(), joined_range.c_str(), enabled.c_str(), widget.c_str());
  }
  void refuse(ParamMap& messages) const {
    messages.emplace(parameter, "PARAM " + parameter + "::" + value + " is out of range  { " + joined_range + " }");
  }
};

void check_choice(Checked checked, ParamMap& messages) {
  if (checked.range.empty()) {
    log(checked.channel, kUsualLevel, "Param %s has empty range.", checked.parameter.c_str());
    return;
  }
  const auto is_in_range = [&](std::string const& value) {
    return std::ranges::find(checked.range, value) != checked.range.end();
  };
  const auto is_permitted = [&] { return is_in_range(checked.value) || is_in_range(engine_value(checked.value)); };
  if (is_permitted()) return;
  if (checked.value.starts_with('{') && checked.value.ends_with('}')) {
    checked.value = checked.value.substr(1, checked.value.size() - 2);
    if (is_permitted()) return;
  }
  checked.refuse(messages);
  checked.tell();
}

void check_number(Checked const& checked, ParamMap& messages) {
  if (checked.range.size() < 2) return;
  std::string const &min = checked.range[0], &max = checked.range[1];
  log(checked.channel, 3, "Got Range for param = %s, Min = %s, Max = %s\n", checked.parameter.c_str(), min.c_str(),
      max.c_str());

  const std::string number = engine_value(checked.value);
  // Whole numbers first, so that bounds which are whole never see a fraction.
  long long whole_min = 0, whole_max = 0;
  if (validateAndConvertLong(min, whole_min) && validateAndConvertLong(max, whole_max)) {
    long long value = 0;
    if (!validateAndConvertLong(number, value) || value < whole_min || value > whole_max) checked.refuse(messages);
    return;
  }
  double double_min = 0, double_max = 0;
  if (validateAndConvertDouble(min, double_min) && validateAndConvertDouble(max, double_max)) {
    double value = std::numeric_limits<double>::quiet_NaN();  // what is no number lies between no bounds
    validateAndConvertDouble(number, value);
    log(checked.channel, 3, "Double Range for param Min= %lf, Max = %lf, value = %lf \n", double_min, double_max,
        value);
    if (!(value >= double_min && value <= double_max)) checked.refuse(messages);
  }
}

}  // namespace

void validateParamRanges(ParamMap const& params, RawResult const& raw, ParamMap& messages, char const* channel) {
  for (auto const& [parameter, value] : params) {
    const auto place = raw.find(parameter);
    if (place == raw.end()) continue;
    Rows const& rows = place->second;
    StrVec const& range = row_of(rows, Row::range);
    const Checked checked{
        parameter, value, range, first_of(rows, Row::state), first_of(rows, Row::widget), kdi::text::joined(range, ","),
        channel};
    if (checked.enabled == "DISABLE") continue;
    checked.tell();  // of each that is looked at, whatever comes of it
    if (checked.widget == "COMBO" || checked.widget == "CHECKBOX") check_choice(checked, messages);
    if (checked.widget == "EDIT") check_number(checked, messages);
  }
}

}  // namespace psmodels
