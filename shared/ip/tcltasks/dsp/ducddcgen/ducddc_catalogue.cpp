#include "dsp/ducddcgen/ducddc_catalogue.h"

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

// Below, at or above 0 as std::string::compare says of `name` and the record's name, without putting that together.
int compare(std::string_view name, Record const& record) {
  const std::string_view head = piece_of_name(record.name_head);
  const int order = name.substr(0, head.size()).compare(head);
  return order != 0 ? order : name.substr(head.size()).compare(piece_of_name(record.name_tail));
}

}  // namespace

Record const* find_record(std::string_view name) {
  std::size_t low = 0, high = kRecords;
  while (low < high) {
    const std::size_t middle = (low + high) / 2;
    const int order = compare(name, database[middle]);
    if (order == 0) return &database[middle];
    if (order < 0)
      high = middle;
    else
      low = middle + 1;
  }
  return nullptr;
}

}  // namespace ducddcgen_init
