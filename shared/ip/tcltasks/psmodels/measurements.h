// The system monitor's measurements, whose settings are dictionaries written as texts.
#pragma once

#include <string>

#include "kdi/common/KdiTypes.h"

namespace psmodels {

/// The parameters of the system monitor that the sub-cores of a wizard share.
StrVec sysmon_ip_params();
bool is_sysmon_ip_param(std::string const& name);

/// The parameters that have a dictionary of a value for each measurement, in the order of their names.
StrVec dict_measurements();
bool is_dict_measurement(std::string const& name);

/// Whether the tool parameters ask for tokens in the place of the characters that would take a dictionary apart.
bool has_tokens();
/// Blank, colon, comma, hash and bar as "<space>", "<colon>", "<comma>", "<hash>" and "<or>", and back.
std::string with_tokens(std::string text);
std::string without_tokens(std::string text);

/// Whether the text is one group in braces from its begin to its end.
bool is_one_group(std::string const& text);

/// A text of names and values as a map. The braces around the whole of it, a name without a value at its end, and
/// earlier values of a name that comes again count for nothing; a group in braces is one word, with its braces.
ParamMap read_dict(std::string const& text);
/// The map as a text: a blank, a name, a blank and the trimmed value of each entry.
std::string write_dict(ParamMap const& dict);

/// The names of `current` with their values in `update`, or in `current` where that has none. Words end at blanks
/// alone, so a value is one word; braces at both ends of `current` are dropped. A name is the same with tokens and
/// without.
std::string merged_dict(std::string const& current, std::string const& update);

}  // namespace psmodels
