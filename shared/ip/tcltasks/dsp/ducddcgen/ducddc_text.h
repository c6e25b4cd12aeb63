// The texts of one configuration, straight from the tables.
#pragma once

#include <string_view>

#include "tcltasks/dsp/ducddcgen/ducddc_catalogue.h"

namespace ducddcgen_init {

/// Room for the longest text, the coefficients of one stage.
using TextBuffer = char[16384];

/// The text of one file, as DUCDDCConfig::get_file describes it, put together in `buffer`.
std::string_view file_text(Record const& record, int selector, TextBuffer& buffer);

}  // namespace ducddcgen_init
