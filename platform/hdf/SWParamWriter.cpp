#include "kdi/hdf/SWParamWriter.h"

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiJsonText.h"
#include "kdi/hdf/host/HardwareDefinition.h"
#include "platform/hdf/messages.h"

namespace kdi::hdf {

namespace {
constexpr std::int64_t kFormat = 1;
}

std::string param_info_text(ParamInfo const& info) {
  for (std::string const* const text : {&info.kind, &info.instance, &info.data})
    if (!text::is_utf8(*text)) throw JsonError("a text that is no UTF-8");
  return "{\n  \"format\": " + std::to_string(kFormat) + ",\n  \"kind\": " + text::json_text(info.kind) +
         ",\n  \"instance\": " + text::json_text(info.instance) + ",\n  \"data\": " + text::json_text(info.data) +
         "\n}\n";
}

ParamInfo read_param_info_text(std::string_view text, std::string const& name) {
  const JsonFile file(text, name);
  const JsonValue root = file.root();
  root.allow_only({"format", "kind", "instance", "data"});
  root.member("format").integer(kFormat, kFormat);
  return {std::string(root.member("instance").text()), std::string(root.member("kind").text()),
          std::string(root.member("data").text())};
}

ParamInfo read_param_info(std::string const& path) { return read_param_info_text(read_file(path), path); }

}  // namespace kdi::hdf

bool SWParamWriter::writeParamInfo(std::string const& path, std::string instance, std::string const& kind,
                                   std::string const& text) {
  return kdi::hdf::told_if_failed(path, [&] {
    kdi::write_file(path, kdi::hdf::param_info_text({std::move(instance), kind, text}));
  });
}
