// Style and script of the report, which the build makes texts of: report.css and report.js beside this file.
#pragma once

#include <string_view>

namespace kdi::corepages {

extern const std::string_view kReportStyle;
extern const std::string_view kReportScript;

}  // namespace kdi::corepages
