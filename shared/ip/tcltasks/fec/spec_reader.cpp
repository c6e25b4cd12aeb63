#include "tcltasks/fec/spec_reader.h"

#include <cmath>
#include <limits>
#include <optional>
#include <string_view>

#include "kdi/tcl/values.h"
#include "tcltasks/fec/reporter.h"

namespace fec {
namespace {

unsigned fail(std::string& err, std::string text) {
  err = std::move(text);
  return 1;
}

std::optional<std::uint32_t> exact_uint(double value) {
  constexpr double kEnd = 4294967296.0;
  if (!(value >= 0 && value < kEnd) || value != std::trunc(value)) return std::nullopt;
  return static_cast<std::uint32_t>(value);
}

// Towards zero, the low 32 bits of a 64-bit integer; 0 where none holds it.
std::uint32_t truncated_low_bits(double value) {
  constexpr double kEnd = 9223372036854775808.0;  // 2^63
  if (!(value >= -kEnd && value < kEnd)) return 0;
  return static_cast<std::uint32_t>(static_cast<std::int64_t>(value));
}

unsigned read_uint(Tcl_Obj* dict, tcl::Key const& key, unsigned& out, std::string& err, bool required) {
  const auto value = key.find(dict);
  if (!value) return fail(err, message("Unable to interpret object as a dict to extract ", key.name()));
  if (*value == nullptr) return required ? fail(err, message(key.name(), " not defined")) : 0;
  const auto number = tcl::double_of(*value);
  if (!number) return fail(err, message(key.name(), " must be real"));
  const auto exact = exact_uint(*number);
  if (!exact) return fail(err, message(key.name(), " must be an integer"));
  out = *exact;
  return 0;
}

unsigned read_bool(Tcl_Obj* dict, tcl::Key const& key, unsigned& out, std::string& err, bool required) {
  const auto value = key.find(dict);
  if (!value) return 0;  // sic: a malformed dictionary passes here and fails at the first number
  if (*value == nullptr) return required ? fail(err, message(key.name(), " not defined")) : 0;
  const auto truth = tcl::bool_of(*value);
  if (!truth) return fail(err, message("invalid ", key.name(), " value. Select false or true"));
  out = *truth;
  return 0;
}

}  // namespace

unsigned dict_to_uint(Tcl_Interp* /*interp*/, Tcl_Obj* dict, std::string const& key, unsigned& out, std::string& err,
                      bool required) {
  return read_uint(dict, tcl::Key(key), out, err, required);
}

unsigned dict_to_bool(Tcl_Interp* /*interp*/, Tcl_Obj* dict, std::string const& key, unsigned& out, std::string& err,
                      bool required) {
  return read_bool(dict, tcl::Key(key), out, err, required);
}

// ---------------------------------------------------------------------------------------------- core and Turbo

template <class Variant>
unsigned dict_to_core_config(Tcl_Interp* interp, Tcl_Obj* dict, core_config_t<Variant>& out, std::string& err) {
  out = {};
  const auto flag = [&](char const* key, unsigned& field) {
    return dict_to_bool(interp, dict, key, field, err, false) == 0;
  };
  const auto width = [&](char const* key, unsigned& field) {
    if (dict_to_uint(interp, dict, key, field, err, false) != 0) return false;
    if (field > 2) field = 2;
    return true;
  };
  const auto number_or_flag = [&](char const* key, unsigned& field) {
    return dict_to_uint(interp, dict, key, field, err, false) == 0 || flag(key, field);
  };
  if constexpr (Variant::kSelectsCode)
    if (!(flag("fec_code", out.fec_code) && width("din", out.din) && width("dout", out.dout))) return 1;
  const bool read = flag("din_words", out.din_words) && flag("dout_words", out.dout_words) &&
                    flag("order", out.order) && flag("interrupts", out.interrupts) &&
                    number_or_flag("ecc_interrupts", out.ecc_interrupts) && flag("axis_enable", out.axis_enable) &&
                    flag("code_wr_protect", out.code_wr_protect) && flag("axi_wr_protect", out.axi_wr_protect) &&
                    flag("bypass", out.bypass);
  return read ? 0 : 1;
}

unsigned dict_to_turbo_config(Tcl_Interp* /*interp*/, Tcl_Obj* dict, turbo_config_t& out) {
  out = {};
  // Both values are read into one variable; a read that fails leaves what the one before stored, if there was one.
  std::optional<std::uint32_t> last_read;
  const auto read = [&](char const* key) -> std::optional<std::uint32_t> {
    const auto value = tcl::Key(key).find(dict);
    if (!value || *value == nullptr) return std::nullopt;
    if (const auto number = tcl::int_of(*value)) last_read = static_cast<std::uint32_t>(*number);
    return last_read;
  };
  if (const auto algorithm = read("algorithm"); algorithm && *algorithm <= 1) out.algorithm = *algorithm;
  if (const auto scale = read("scale"); scale) out.scale = *scale > 15 ? turbo_config_t{}.scale : *scale;
  return 0;
}

// ------------------------------------------------------------------------------------------------ LDPC codes

namespace {

// The keys of a matrix element, made once for all elements of a code.
struct ElementKeys {
  tcl::Key row{"row"};
  tcl::Key col{"col"};
  tcl::Key is_cp{"is_cp"};
  tcl::Key shift{"shift"};
};

unsigned read_shifts(Tcl_Obj* element, tcl::Key const& key, std::size_t index, std::vector<std::uint32_t>& shifts,
                     std::string& err) {
  const auto list = key.find(element);
  if (!list) return 0;
  if (*list == nullptr) return fail(err, message("shift not defined for sm_array index ", index));
  const auto values = tcl::elements_of(*list);
  if (!values) return fail(err, message("Unable to determine shift size for sm_array index ", index));
  shifts.reserve(values->size());
  for (Tcl_Obj* const value : *values) {
    const auto number = tcl::double_of(value);
    if (!number) return fail(err, message("Shift must be real. shift ", shifts.size(), " sm_array index ", index));
    shifts.push_back(truncated_low_bits(*number));
  }
  return 0;
}

unsigned read_element(Tcl_Obj* object, ElementKeys const& keys, std::size_t index, ldpc_sm_element_t& element,
                      std::string& err) {
  if (read_uint(object, keys.row, element.row, err, true) != 0 ||
      read_uint(object, keys.col, element.col, err, true) != 0)
    return fail(err, message("sm_array index ", index, ": ", err));
  if (read_uint(object, keys.is_cp, element.is_cp, err, false) != 0) return 1;
  return read_shifts(object, keys.shift, index, element.shift, err);
}

unsigned read_matrix(Tcl_Obj* dict, std::vector<ldpc_sm_element_t>& matrix, std::string& err) {
  matrix.clear();
  const auto list = tcl::Key("sm_array").find(dict);
  if (!list) return 0;
  if (*list == nullptr) return fail(err, "sm_array not defined");
  const auto elements = tcl::elements_of(*list);
  if (!elements) return fail(err, "Unable to determine sm_array size");
  matrix.reserve(elements->size());
  const ElementKeys keys;
  for (Tcl_Obj* const element : *elements) {
    const std::size_t index = matrix.size();
    if (read_element(element, keys, index, matrix.emplace_back(), err) != 0) return 1;
  }
  return 0;
}

unsigned read_normalization(Tcl_Obj* dict, std::uint32_t& normalization, std::string& err) {
  normalization = 1;
  const auto value = tcl::Key("normalization").find(dict);
  if (!value || *value == nullptr) return 0;
  const std::string_view text = Tcl_GetString(*value);
  if (text == "none") {
    normalization = 0;
  } else if (text != "row") {
    return fail(err, message("invalid normalization: ", text, " Select from: none, row."));
  }
  return 0;
}

unsigned read_scale(Tcl_Obj* dict, std::vector<std::uint32_t>& scale, std::string& err) {
  scale.clear();
  const auto list = tcl::Key("scale").find(dict);
  if (!list || *list == nullptr) return 0;
  const auto values = tcl::elements_of(*list);
  if (!values) return fail(err, "Unable to determine scale array size");
  for (Tcl_Obj* const value : *values) {
    const auto number = tcl::double_of(value);
    if (!number) return fail(err, message("Scale array index ", scale.size(), " must be real"));
    const auto exact = exact_uint(*number);
    if (!exact) return fail(err, message("Scale array index ", scale.size(), "must be an integer"));  // sic: no blank
    scale.push_back(*exact);
  }
  return 0;
}

}  // namespace

template <class Variant>
unsigned dict_to_ldpc_spec(Tcl_Interp* interp, Tcl_Obj* dict, ldpc_code_spec_t<Variant>& out, std::string& err) {
  const auto flag = [&](char const* key, unsigned& field) {
    field = 0;
    return dict_to_bool(interp, dict, key, field, err, false) == 0;
  };
  const auto number = [&](char const* key, unsigned& field) {
    field = 0;
    return dict_to_uint(interp, dict, key, field, err, false) == 0;
  };
  const auto size = [&](char const* key, unsigned& field) {
    return dict_to_uint(interp, dict, key, field, err, true) == 0;
  };
  if (!(size("n", out.n) && size("k", out.k) && size("p", out.p))) return 1;
  if (read_matrix(dict, out.sm_array, err) != 0 || read_normalization(dict, out.normalization, err) != 0 ||
      read_scale(dict, out.scale, err) != 0)
    return 1;
  if (!(flag("encode", out.encode) && flag("no_packing", out.no_packing) &&
        flag("no_final_parity", out.no_final_parity) && number("max_schedule", out.max_schedule) &&
        number("lat_ctrl", out.lat_ctrl) && flag("skip_enc_compatibility", out.skip_enc_compatibility)))
    return 1;
  out.enable_wgt1 = 0;
  if constexpr (Variant::kReadsEnableWgt1)
    if (!flag("enable_wgt1", out.enable_wgt1)) return 1;
  const bool read = flag("disable_transforms", out.disable_transforms) &&
                    flag("compress_packing", out.compress_packing) && number("reorder_type", out.reorder_type);
  return read ? 0 : 1;
}

template <class Variant>
unsigned dict_to_ldpc_specs(Tcl_Interp* interp, Tcl_Obj* dict, std::vector<ldpc_spec_t<Variant>>& out,
                            std::string& err) {
  const auto matrix = tcl::Key("sm_array").find(dict);
  if (!matrix) return fail(err, "Unable to interpret dict to extract specification");
  if (*matrix != nullptr) {
    ldpc_spec_t<Variant> only{kNoId, {}};
    if (dict_to_ldpc_spec(interp, dict, only.spec, err) != 0) return 1;
    out.push_back(std::move(only));
    return 0;
  }
  tcl::DictWalk walk(dict);
  if (!walk.is_dict()) return fail(err, "Error processing specification");
  for (; !walk.at_end(); walk.next()) {
    ldpc_spec_t<Variant> code{Tcl_GetString(walk.key()), {}};
    if (dict_to_ldpc_spec(interp, walk.value(), code.spec, err) != 0)
      return fail(err, message("Error processing ", code.id, " specifiction: ", err));  // sic
    out.push_back(std::move(code));
  }
  return 0;
}

template unsigned dict_to_core_config(Tcl_Interp*, Tcl_Obj*, core_config_t<sd_fec::Variant>&, std::string&);
template unsigned dict_to_core_config(Tcl_Interp*, Tcl_Obj*, core_config_t<ldpc::Variant>&, std::string&);
template unsigned dict_to_ldpc_spec(Tcl_Interp*, Tcl_Obj*, ldpc_code_spec_t<sd_fec::Variant>&, std::string&);
template unsigned dict_to_ldpc_spec(Tcl_Interp*, Tcl_Obj*, ldpc_code_spec_t<ldpc::Variant>&, std::string&);
template unsigned dict_to_ldpc_specs(Tcl_Interp*, Tcl_Obj*, std::vector<ldpc_spec_t<sd_fec::Variant>>&, std::string&);
template unsigned dict_to_ldpc_specs(Tcl_Interp*, Tcl_Obj*, std::vector<ldpc_spec_t<ldpc::Variant>>&, std::string&);

}  // namespace fec
