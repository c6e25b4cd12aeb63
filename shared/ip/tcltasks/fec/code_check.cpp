#include "tcltasks/fec/code_check.h"

#include <algorithm>
#include <array>
#include <span>
#include <string_view>
#include <utility>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/KdiText.h"
#include "kdi/tcl/values.h"
#include "tcltasks/fec/reporter.h"
#include "tcltasks/fec/spec_reader.h"
#include "tcltasks/frame/exceptions.h"

namespace fec {
namespace {

using Names = std::span<std::string_view const>;

constexpr std::array<char const*, 3> kSizes = {"n", "k", "p"};
constexpr std::array<char const*, 3> kNumbers = {"max_schedule", "lat_ctrl", "reorder_type"};
constexpr std::array<char const*, 6> kFlags = {"encode",           "no_packing",         "no_final_parity",
                                               "compress_packing", "disable_transforms", "skip_enc_compatibility"};
constexpr char const* kEnableWgt1 = "enable_wgt1";

constexpr std::uint32_t kLargestScale = 15;  // a field of 4 bits
constexpr std::uint32_t kLastReorderType = 6;
constexpr std::uint32_t kLargestSchedule = 3;  // a field of 2 bits where another one follows it

template <class Variant>
std::vector<std::string_view> code_keys() {
  std::vector<std::string_view> names(kSizes.begin(), kSizes.end());
  for (char const* key : {"sm_array", "normalization", "scale"}) names.emplace_back(key);
  names.insert(names.end(), kFlags.begin(), kFlags.end());
  names.insert(names.end(), kNumbers.begin(), kNumbers.end());
  if constexpr (Variant::kReadsEnableWgt1) names.emplace_back(kEnableWgt1);
  return names;
}

constexpr std::array<std::string_view, 4> kElementKeys = {"row", "col", "shift", "is_cp"};

std::string nearest_to(std::string_view key, Names names) {
  constexpr std::size_t kLongest = 100;  // no key is longer
  std::string_view nearest;
  std::size_t least = std::max<std::size_t>(2, key.size() / 3) + 1;
  if (key.size() <= kLongest)
    for (std::string_view const name : names)
      if (const std::size_t distance = kdi::text::edit_distance(key, name); distance < least) {
        least = distance;
        nearest = name;
      }
  return nearest.empty() ? std::string() : "; the nearest that is read is " + kdi::text::quoted(nearest);
}

// Keys of a dictionary that are none of the names. One that is no dictionary has none.
void add_unknown_keys(Tcl_Obj* dict, Names names, std::string const& place, char const* of_other_core,
                      Findings& findings) {
  tcl::DictWalk walk(dict);
  if (!walk.is_dict()) return;
  for (; !walk.at_end(); walk.next()) {
    const std::string key = Tcl_GetString(walk.key());
    if (std::find(names.begin(), names.end(), key) != names.end()) continue;
    if (of_other_core != nullptr && key == of_other_core)
      findings.add(place + "this core does not read the key " + kdi::text::quoted(key));
    else
      findings.add(place + "nothing reads the key " + kdi::text::shown(key) + nearest_to(key, names));
  }
}

std::string place_of(std::string const& id) {
  return id == kNoId ? std::string() : "code " + kdi::text::shown(id) + ": ";
}

std::string element_place(std::string const& code, std::size_t index, ldpc_sm_element_t const& element) {
  return message(code, "sm_array index ", index, ", row ", element.row, ", column ", element.col, ": ");
}

void look_at_sizes(CodeSpec const& spec, std::string const& place, Findings& findings) {
  if (spec.p == 0) return;  // an error of the compiler
  for (auto const& [name, size] : {std::pair{"N", spec.n}, std::pair{"K", spec.k}})
    if (size % spec.p != 0)
      findings.add(message(place, "P, ", spec.p, ", does not divide ", name, ", ", size, ": the matrix has ",
                           size / spec.p, " whole columns for it"));
}

template <class Variant>
void look_at_fields(CodeSpec const& spec, std::string const& place, Findings& findings) {
  for (std::size_t i = 0; i < spec.scale.size(); ++i)
    if (spec.scale[i] > kLargestScale)
      findings.add(message(place, "scale index ", i, ", ", spec.scale[i], ", is above ", kLargestScale,
                           ": its field has 4 bits, and it runs into the next ones"));
  if (Variant::kImageHasSpecialQc && spec.max_schedule > kLargestSchedule)
    findings.add(message(place, "max_schedule ", spec.max_schedule, " is above ", kLargestSchedule,
                         ": its field has 2 bits, and it runs into the next one"));
  if (!Variant::kImageHasSpecialQc && spec.lat_ctrl != 0)
    findings.add(message(place, "lat_ctrl ", spec.lat_ctrl, " is in no register of this core"));
  if (spec.reorder_type > kLastReorderType)
    findings.add(message(place, "reorder_type ", spec.reorder_type, " is none of 0 to ", kLastReorderType,
                         ": there is no such order"));
  else if (spec.reorder_type != 0 && spec.compress_packing == 0)
    findings.add(message(place, "reorder_type ", spec.reorder_type, " is read with compress_packing alone"));
}

void look_at_shifts(CodeSpec const& spec, std::string const& place, Findings& findings) {
  if (spec.p == 0) return;
  for (std::size_t i = 0; i < spec.sm_array.size(); ++i)
    for (std::uint32_t const shift : spec.sm_array[i].shift)
      if (shift >= spec.p)
        findings.add(message(element_place(place, i, spec.sm_array[i]), "shift ", shift, " is not below P, ", spec.p,
                             ": it is not taken modulo P"));
}

// Elements have three keys that must be given, so that one of three has no other.
void look_at_elements(Tcl_Obj* dict, CodeSpec const& spec, std::string const& place, Findings& findings) {
  constexpr int kGiven = 3;
  const auto list = tcl::Key("sm_array").find(dict);
  if (!list || *list == nullptr) return;
  const auto elements = tcl::elements_of(*list);
  if (!elements) return;
  for (std::size_t i = 0; i < elements->size() && i < spec.sm_array.size(); ++i) {
    int size = 0;
    Tcl_Obj* const element = (*elements)[i];
    if (Tcl_DictObjSize(nullptr, element, &size) != TCL_OK || size <= kGiven) continue;
    add_unknown_keys(element, kElementKeys, element_place(place, i, spec.sm_array[i]), nullptr, findings);
  }
}

void warn(std::string const& text) {
  ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, frame::kMessageCategory, ComMsgMgr::MSG_WARNING, "%s", text.c_str());
}

// The codes of a dictionary, as the reader finds them; false if it is none.
template <class Visit>
bool for_each_code(Tcl_Obj* dict, Visit visit) {
  const auto matrix = tcl::Key("sm_array").find(dict);
  if (!matrix) return false;
  if (*matrix != nullptr) {
    visit(std::string(kNoId), dict);
    return true;
  }
  tcl::DictWalk walk(dict);
  if (!walk.is_dict()) return false;
  for (; !walk.at_end(); walk.next()) visit(std::string(Tcl_GetString(walk.key())), walk.value());
  return true;
}

// A copy of the dictionary in which what its key does not take has gone, each with the reader's own words; what the
// compiler asks for is put in its place, so that the rest can be looked at.
template <class Variant>
class Readable {
 public:
  Readable(Tcl_Obj* dict, std::string place, Findings& findings)
      : copy_(Tcl_DuplicateObj(dict)), place_(std::move(place)), findings_(findings) {
    for (char const* key : kSizes)
      check(key, "1", [key](Tcl_Obj* one, std::string& err) {
        unsigned value = 0;
        return dict_to_uint(nullptr, one, key, value, err, true);
      });
    for (char const* key : kNumbers)
      check(key, nullptr, [key](Tcl_Obj* one, std::string& err) {
        unsigned value = 0;
        return dict_to_uint(nullptr, one, key, value, err, false);
      });
    for (char const* key : kFlags) check_flag(key);
    if constexpr (Variant::kReadsEnableWgt1) check_flag(kEnableWgt1);
    check_lists();
  }

  Tcl_Obj* dict() const { return copy_.get(); }

 private:
  template <class Read>
  void check(char const* key, char const* instead, Read read) {
    std::string err;
    if (read(copy_.get(), err) == 0) return;
    findings_.add(place_ + err);
    replace(key, instead == nullptr ? nullptr : Tcl_NewStringObj(instead, -1));
  }
  void check_flag(char const* key) {
    check(key, nullptr, [key](Tcl_Obj* one, std::string& err) {
      unsigned value = 0;
      return dict_to_bool(nullptr, one, key, value, err, false);
    });
  }

  void replace(char const* key, Tcl_Obj* instead) {
    const tcl::ObjRef name(Tcl_NewStringObj(key, -1));
    if (instead == nullptr)
      Tcl_DictObjRemove(nullptr, copy_.get(), name.get());
    else
      Tcl_DictObjPut(nullptr, copy_.get(), name.get(), instead);
  }

  // The reader of a whole code on what is left, with an empty matrix for each list in turn; then each element for
  // itself.
  void check_lists() {
    for (char const* key : {"normalization", "scale"}) {
      const tcl::ObjRef alone(Tcl_DuplicateObj(copy_.get()));
      put(alone.get(), "sm_array", Tcl_NewObj());
      if (std::string_view(key) == "normalization") remove(alone.get(), "scale");
      check_code(alone.get(), key);
    }
    const auto list = tcl::Key("sm_array").find(copy_.get());
    if (!list) return;
    if (*list == nullptr) {
      findings_.add(place_ + "sm_array not defined");
      replace("sm_array", Tcl_NewObj());
      return;
    }
    const auto elements = tcl::elements_of(*list);
    if (!elements) {
      findings_.add(place_ + "Unable to determine sm_array size");
      replace("sm_array", Tcl_NewObj());
      return;
    }
    check_elements(std::vector<Tcl_Obj*>(elements->begin(), elements->end()));
  }

  // An element that cannot be read is told, and gives way to one without circulants, so that the others can be looked
  // at under the numbers that they have.
  void check_elements(std::vector<Tcl_Obj*> const& elements) {
    const tcl::ObjRef alone(Tcl_DuplicateObj(copy_.get()));
    std::vector<tcl::ObjRef> readable;
    bool is_sound = true;
    for (std::size_t i = 0; i < elements.size(); ++i) {
      Tcl_Obj* const one = elements[i];
      put(alone.get(), "sm_array", Tcl_NewListObj(1, &one));
      ldpc_code_spec_t<Variant> spec;
      std::string err;
      if (dict_to_ldpc_spec(nullptr, alone.get(), spec, err) == 0) {
        readable.emplace_back(one);
        continue;
      }
      is_sound = false;
      const std::string here = "sm_array index " + std::to_string(i);
      // The reader counts within what it was given.
      constexpr std::string_view kFirst = "sm_array index 0";
      if (const auto at = err.find(kFirst); at != std::string::npos) err.replace(at, kFirst.size(), here);
      findings_.add(place_ + err);
      add_unknown_keys(one, kElementKeys, place_ + here + ": ", nullptr, findings_);
      readable.emplace_back(tcl::new_dict({{"row", 0}, {"col", 0}, {"shift", Tcl_NewObj()}}));
    }
    if (is_sound) return;
    std::vector<Tcl_Obj*> objects;
    for (tcl::ObjRef const& one : readable) objects.push_back(one.get());
    replace("sm_array", Tcl_NewListObj(static_cast<int>(objects.size()), objects.data()));
  }

  void check_code(Tcl_Obj* code, char const* key) {
    ldpc_code_spec_t<Variant> spec;
    std::string err;
    if (dict_to_ldpc_spec(nullptr, code, spec, err) == 0) return;
    findings_.add(place_ + err);
    replace(key, nullptr);
  }

  static void put(Tcl_Obj* dict, char const* key, Tcl_Obj* value) {
    Tcl_DictObjPut(nullptr, dict, tcl::ObjRef(Tcl_NewStringObj(key, -1)).get(), value);
  }
  static void remove(Tcl_Obj* dict, char const* key) {
    Tcl_DictObjRemove(nullptr, dict, tcl::ObjRef(Tcl_NewStringObj(key, -1)).get());
  }

  tcl::ObjRef copy_;
  std::string place_;
  Findings& findings_;
};

}  // namespace

void Findings::add(std::string text) {
  if (++found_ <= most_) lines_.push_back(std::move(text));
}

std::vector<std::string> Findings::lines() && {
  if (found_ > most_) lines_.push_back("and " + std::to_string(found_ - most_) + " more");
  return std::move(lines_);
}

template <class Variant>
void look_at_code(Tcl_Obj* dict, ldpc_spec_t<Variant> const& code, Findings& findings) {
  const std::string place = place_of(code.id);
  add_unknown_keys(dict, code_keys<Variant>(), place, Variant::kReadsEnableWgt1 ? nullptr : kEnableWgt1, findings);
  look_at_sizes(code.spec, place, findings);
  look_at_fields<Variant>(code.spec, place, findings);
  look_at_elements(dict, code.spec, place, findings);
  look_at_shifts(code.spec, place, findings);
}

template <class Variant>
std::vector<std::string> check_codes(Tcl_Obj* dict, std::size_t most) {
  Findings findings(most);
  const bool is_dict = for_each_code(dict, [&findings](std::string const& id, Tcl_Obj* code) {
    int size = 0;
    if (Tcl_DictObjSize(nullptr, code, &size) != TCL_OK) {
      findings.add(place_of(id) + "is no dictionary");
      return;
    }
    const Readable<Variant> readable(code, place_of(id), findings);
    ldpc_spec_t<Variant> spec{id, {}};
    std::string err;
    if (dict_to_ldpc_spec(nullptr, readable.dict(), spec.spec, err) == 0)
      look_at_code(readable.dict(), spec, findings);
    else
      findings.add(place_of(id) + err);
  });
  if (!is_dict) findings.add("the codes are no dictionary");
  return std::move(findings).lines();
}

template <class Variant>
void tell_odd_codes(Tcl_Obj* dict, std::vector<ldpc_spec_t<Variant>> const& codes) {
  constexpr std::size_t kMost = 16;
  Findings findings(kMost);
  std::size_t index = 0;
  for_each_code(dict, [&](std::string const&, Tcl_Obj* code) {
    if (index < codes.size()) look_at_code(code, codes[index], findings);
    ++index;
  });
  for (std::string const& line : std::move(findings).lines()) warn(line);
}

#define FEC_INSTANTIATE(variant)                                                 \
  template void look_at_code(Tcl_Obj*, ldpc_spec_t<variant> const&, Findings&);  \
  template std::vector<std::string> check_codes<variant>(Tcl_Obj*, std::size_t); \
  template void tell_odd_codes(Tcl_Obj*, std::vector<ldpc_spec_t<variant>> const&)
FEC_INSTANTIATE(sd_fec::Variant);
FEC_INSTANTIATE(ldpc::Variant);
#undef FEC_INSTANTIATE

}  // namespace fec
