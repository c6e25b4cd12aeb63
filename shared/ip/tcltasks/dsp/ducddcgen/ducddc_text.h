// The texts of one configuration, straight from the tables.
#pragma once

#include <string>

#include "dsp/ducddcgen/ducddc_catalogue.h"

namespace ducddcgen_init {

/// The text of one file, as DUCDDCConfig::get_file describes it.
std::string file_text(Record const& record, int selector);

}  // namespace ducddcgen_init
