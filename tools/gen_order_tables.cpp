// Compiles the order tables in: gen_order_tables DATA_DIR OUTPUT.cpp
//
// Reads DATA_DIR/<table>.csv, one line of block columns for each row, checks shape and range, and writes C++ arrays.
// A bad line is named by file, line and field. OUTPUT is rewritten only when its content changes.
#include <charconv>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/order_table_list.h"

namespace {

using order_tools::TableShape;

constexpr unsigned kLargestColumn = 67;

std::vector<unsigned> parse_line(std::string const& line, std::string const& place) {
  std::vector<unsigned> columns;
  std::istringstream fields(line);
  for (std::string field; std::getline(fields, field, ',');) {
    unsigned value = 0;
    const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), value);
    const bool is_number = error == std::errc() && end == field.data() + field.size() && !field.empty();
    if (!is_number || (value > kLargestColumn && value != order_tools::kEmptySlot))
      throw std::runtime_error(place + ": field " + std::to_string(columns.size() + 1) + ", '" + field +
                               "', is no column from 0 to 67 and no 240");
    columns.push_back(value);
  }
  return columns;
}

void write_table(TableShape const& shape, std::string const& directory, std::ostream& out) {
  const std::string path = directory + "/" + std::string(shape.name) + ".csv";
  std::ifstream file(path);
  if (!file) throw std::runtime_error(path + ": cannot be read");
  out << "const std::uint32_t " << shape.name << '[' << shape.rows << "][" << shape.width << "] = {\n";
  unsigned rows = 0;
  for (std::string line; std::getline(file, line); ++rows) {
    const std::string place = path + ": line " + std::to_string(rows + 1);
    std::vector<unsigned> columns = parse_line(line, place);
    if (columns.empty() || columns.size() > shape.width)
      throw std::runtime_error(place + ": " + std::to_string(columns.size()) + " columns, expected 1 to " +
                               std::to_string(shape.width));
    columns.resize(shape.width, shape.filler);
    out << "    {";
    for (std::size_t i = 0; i < columns.size(); ++i) out << (i > 0 ? ", " : "") << columns[i];
    out << "},\n";
  }
  if (rows != shape.rows)
    throw std::runtime_error(path + ": " + std::to_string(rows) + " lines, expected " + std::to_string(shape.rows));
  out << "};\n\n";
}

void write_if_changed(std::string const& path, std::string const& text) {
  std::ifstream old(path, std::ios::binary);
  if (old && std::string(std::istreambuf_iterator<char>(old), {}) == text) return;
  std::ofstream out(path, std::ios::binary);
  out << text;
  if (!out.flush()) throw std::runtime_error(path + ": cannot be written");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: gen_order_tables DATA_DIR OUTPUT.cpp\n";
    return 2;
  }
  try {
    std::ostringstream out;
    out << "// Made by gen_order_tables from data/ldpc/order.\n#include \"tcltasks/fec/order_tables.h\"\n\n"
           "namespace fec::order_tables {\n\n";
    for (TableShape const& shape : order_tools::kTables) write_table(shape, argv[1], out);
    out << "}  // namespace fec::order_tables\n";
    write_if_changed(argv[2], out.str());
  } catch (std::exception const& error) {
    std::cerr << "gen_order_tables: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
