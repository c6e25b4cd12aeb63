// The schema of a kind of transceivers, which people's editors know, against the reader.
#include <gtest/gtest.h>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJson.h"
#include "kdi/rule_engine/host/Kinds.h"
#include "tests/support/json_changes.h"
#include "tests/support/json_schema.h"
#include "tests/support/places.h"
#include "tests/support/random.h"

namespace {

using nlohmann::json;

json file_of(std::string const& name) { return json::parse(kdi::read_file(places::data("transceivers") + "/" + name)); }

std::string fault_of(json const& kind) {
  try {
    kdi::gt::read_kinds(kind.dump(1), "k.json");
  } catch (kdi::JsonError const& error) {
    return error.what();
  }
  return {};
}

TEST(TransceiverSchema, TakesAllShippedKinds) {
  const JsonSchema schema(file_of("schema.json"));
  for (std::string const& name : kdi::gt::kind_names()) EXPECT_TRUE(schema.accepts(file_of(name + ".json"))) << name;
}

// A person writes a file with the schema at hand: what it forbids, the reader refuses as well, with a place.
TEST(TransceiverSchema, ForbidsNothingThatTheReaderTakes) {
  const JsonSchema schema(file_of("schema.json"));
  test_support::Seeded<std::mt19937> random(test_support::fresh_seed());
  int forbidden = 0, taken = 0;
  for (char const* const name : {"GTYP", "GTM"}) {
    const json kind = file_of(std::string(name) + ".json");
    for (int i = 0; i < 120; ++i) {
      const json changed = json_changes::mutated(kind, random);
      const std::string fault = fault_of(changed);
      const bool accepted = schema.accepts(changed);
      forbidden += accepted ? 0 : 1;
      taken += fault.empty() ? 1 : 0;
      EXPECT_TRUE(accepted || !fault.empty()) << json::diff(kind, changed).dump();
      if (fault.empty()) continue;
      EXPECT_EQ(fault.rfind("k.json:", 0), 0U) << fault;
      EXPECT_GT(std::stoi(fault.substr(7)), 0) << fault;
    }
  }
  EXPECT_GT(forbidden, 80);  // so that the comparison means something
  EXPECT_GT(taken, 0);
}

}  // namespace
