#include "kdi/iostreams/ofstream.h"

#include <array>
#include <optional>
#include <streambuf>
#include <string_view>

#include "kdi/common/KdiFile.h"

namespace isl::iostreams {

class ofstream::Buffer : public std::streambuf {
 public:
  explicit Buffer(std::string const& path) {
    try {
      file_.emplace(path);
    } catch (kdi::FileError const&) {
    }
    setp(bytes_.data(), bytes_.data() + bytes_.size());
  }

  bool is_open() const { return file_.has_value(); }

  bool close() {
    if (!file_) return false;
    bool is_whole = pass_on();
    try {
      if (is_whole) file_->keep();
    } catch (kdi::FileError const&) {
      is_whole = false;
    }
    file_.reset();
    return is_whole;
  }

 protected:
  int_type overflow(int_type next) override {
    if (!pass_on()) return traits_type::eof();
    if (!traits_type::eq_int_type(next, traits_type::eof())) sputc(traits_type::to_char_type(next));
    return traits_type::not_eof(next);
  }
  int sync() override { return pass_on() ? 0 : -1; }

 private:
  // What once was lost stays lost: nothing may follow a gap.
  bool pass_on() {
    const std::string_view waiting(pbase(), static_cast<std::size_t>(pptr() - pbase()));
    setp(bytes_.data(), bytes_.data() + bytes_.size());
    if (!file_ || is_lost_) return false;
    try {
      file_->write(waiting);
    } catch (kdi::FileError const&) {
      is_lost_ = true;
    }
    return !is_lost_;
  }

  std::optional<kdi::NewFile> file_;
  bool is_lost_ = false;
  std::array<char, 16384> bytes_;
};

ofstream::ofstream(std::string const& path) : std::ostream(nullptr), buffer_(std::make_shared<Buffer>(path)) {
  rdbuf(buffer_.get());
  if (!is_open()) setstate(std::ios::failbit);
}

ofstream::~ofstream() { close(); }

void ofstream::add(std::string_view bytes) { write(bytes.data(), static_cast<std::streamsize>(bytes.size())); }

bool ofstream::is_open() const { return buffer_->is_open(); }

bool ofstream::close() {
  const bool is_whole = buffer_->close() && good();
  if (!is_whole) setstate(std::ios::failbit);
  return is_whole;
}

bool write_file(std::string const& path, std::string_view bytes) {
  ofstream stream(path);
  stream.add(bytes);
  return stream.close();
}

}  // namespace isl::iostreams
