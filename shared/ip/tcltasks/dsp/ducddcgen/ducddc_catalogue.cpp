#include "tcltasks/dsp/ducddcgen/ducddc_catalogue.h"

namespace ducddcgen_init {

const char rsrc_names[kResourceFigures][48] = {
    "<C_OPTIMIZATION=0, BRAM_USAGE=1> DSPS",    "<C_OPTIMIZATION=0, BRAM_USAGE=1> BRAMS",
    "<C_OPTIMIZATION=0, BRAM_USAGE=1> LATENCY", "<C_OPTIMIZATION=0, BRAM_USAGE=2> DSPS",
    "<C_OPTIMIZATION=0, BRAM_USAGE=2> BRAMS",   "<C_OPTIMIZATION=0, BRAM_USAGE=2> LATENCY",
    "<C_OPTIMIZATION=1, BRAM_USAGE=1> DSPS",    "<C_OPTIMIZATION=1, BRAM_USAGE=1> BRAMS",
    "<C_OPTIMIZATION=1, BRAM_USAGE=1> LATENCY", "<C_OPTIMIZATION=1, BRAM_USAGE=2> DSPS",
    "<C_OPTIMIZATION=1, BRAM_USAGE=2> BRAMS",   "<C_OPTIMIZATION=1, BRAM_USAGE=2> LATENCY",
};

const char verstr[] = "Database $Revision: 1.2.4.2 $ $Date: 2011/06/06 01:26:40 $";

std::string name_of(Record const& record) {
  return std::string(piece_of_name(record.name_head)) += piece_of_name(record.name_tail);
}

namespace {

// Without putting the record's name together.
bool has_name(Record const& record, std::string_view name) {
  const std::string_view head = piece_of_name(record.name_head), tail = piece_of_name(record.name_tail);
  return name.size() == head.size() + tail.size() && name.ends_with(tail) && name.starts_with(head);
}

}  // namespace

Record const* find_record(std::string_view name) {
  const std::size_t hash = name_hash(name);
  for (std::size_t i = name_starts[hash]; i < name_starts[hash + 1]; ++i)
    if (Record const& record = database[name_rows[i]]; has_name(record, name)) return &record;
  return nullptr;
}

}  // namespace ducddcgen_init
