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
  return std::string(name_pieces + record.name_head) += name_pieces + record.name_tail;
}

Record const* find_record(std::string const& name) {
  std::size_t low = 0, high = kRecords;
  while (low < high) {
    const std::size_t middle = (low + high) / 2;
    const int order = name.compare(name_of(database[middle]));
    if (order == 0) return &database[middle];
    if (order < 0)
      high = middle;
    else
      low = middle + 1;
  }
  return nullptr;
}

}  // namespace ducddcgen_init
