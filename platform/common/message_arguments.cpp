#include "platform/common/message_arguments.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <string_view>
#include <type_traits>

#include "kdi/common/KdiNumber.h"

namespace kdi {
namespace {

// The copy of an argument list, so that it can be passed by reference and advanced piece by piece.
struct Arguments {
  va_list list;
};

// A message is for reading; what a width or precision asks for beyond this is a mistake that would cost memory.
constexpr int kMaxWidth = 1 << 16;

enum class Length { kNone, kChar, kShort, kLong, kLongLong, kIntMax, kSize, kPtrDiff, kLongDouble };

// Longer names first, so that a name is not taken for its beginning.
constexpr struct {
  std::string_view name;
  Length length;
} kLengths[] = {{"hh", Length::kChar},   {"ll", Length::kLongLong},  {"h", Length::kShort},
                {"l", Length::kLong},    {"j", Length::kIntMax},     {"z", Length::kSize},
                {"t", Length::kPtrDiff}, {"L", Length::kLongDouble}, {"", Length::kNone}};

// Prints a value under a conversion that matches its type.
template <class Value>
std::string print(std::string const& conversion, Value value) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  return number::printed(conversion.c_str(), value);
#pragma GCC diagnostic pop
}

// Reads conversions off a format and prints them.
class Reader {
 public:
  Reader(std::string_view format, va_list list) : rest_(format) { va_copy(args_.list, list); }
  ~Reader() { va_end(args_.list); }
  Reader(Reader const&) = delete;
  Reader& operator=(Reader const&) = delete;

  std::vector<std::string> read() {
    std::vector<std::string> values;
    while (find_conversion()) values.push_back(next());
    return values;
  }

 private:
  // Goes to the next percent sign that begins a conversion.
  bool find_conversion() {
    for (;;) {
      rest_.remove_prefix(std::min(rest_.find('%'), rest_.size()));
      if (!rest_.starts_with("%%")) return !rest_.empty();
      rest_.remove_prefix(2);
    }
  }

  std::string next() {
    const std::string_view begin = rest_;
    rest_.remove_prefix(1);
    std::string conversion = "%";
    add_flags(conversion);
    add_width(conversion);
    if (rest_.starts_with('.')) {
      rest_.remove_prefix(1);
      add_precision(conversion);
    }
    const Length length = take_length(conversion);
    const char type = rest_.empty() ? '\0' : rest_.front();
    if (type != '\0') {
      conversion += type;
      rest_.remove_prefix(1);
    }
    if (!is_lost_) {
      std::string text = print_argument(conversion, type, length);
      if (!is_lost_) return text;
    }
    return std::string(begin.substr(0, begin.size() - rest_.size()));
  }

  void add_flags(std::string& conversion) {
    const std::size_t end = std::min(rest_.find_first_not_of("-+ #0'"), rest_.size());
    conversion += rest_.substr(0, end);
    rest_.remove_prefix(end);
  }

  // A number in the format or, for a `*`, the next argument; -1 if there is neither.
  int width_or_precision() {
    if (rest_.starts_with('*')) {
      rest_.remove_prefix(1);
      return is_lost_ ? 0 : std::clamp(va_arg(args_.list, int), -kMaxWidth, kMaxWidth);
    }
    int value = -1;
    const auto [end, fault] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), value);
    if (fault == std::errc::result_out_of_range) value = kMaxWidth;
    rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
    return std::min(value, kMaxWidth);
  }

  void add_width(std::string& conversion) {
    const int width = rest_.starts_with('*') ? width_or_precision() : std::max(width_or_precision(), 0);
    if (width < 0) conversion += '-';  // a negative argument means the flag and its size
    if (width != 0) conversion += std::to_string(std::abs(width));
  }

  void add_precision(std::string& conversion) {
    const int precision = rest_.starts_with('*') ? width_or_precision() : std::max(width_or_precision(), 0);
    if (precision < 0) return;  // a negative argument means none
    conversion += '.';
    conversion += std::to_string(precision);
  }

  Length take_length(std::string& conversion) {
    for (auto const& [name, length] : kLengths) {
      if (!rest_.starts_with(name)) continue;
      rest_.remove_prefix(name.size());
      conversion += name;
      return length;
    }
    return Length::kNone;
  }

  template <class Value>
  std::string print_next(std::string const& conversion) {
    return print(conversion, va_arg(args_.list, Value));
  }

  // Signed or unsigned of the size that `length` names. What is shorter than an int comes as one.
  template <bool IsSigned>
  std::string print_integer(std::string const& conversion, Length length) {
    const auto as = [&]<class Signed>(Signed) {
      return print_next<std::conditional_t<IsSigned, Signed, std::make_unsigned_t<Signed>>>(conversion);
    };
    switch (length) {
      case Length::kLong:
        return as(long{});
      case Length::kLongLong:
        return as(static_cast<long long>(0));
      case Length::kIntMax:
        return as(std::intmax_t{});
      case Length::kSize:
        return as(std::make_signed_t<std::size_t>{});
      case Length::kPtrDiff:
        return as(std::ptrdiff_t{});
      case Length::kLongDouble:
        return lose();
      default:
        return as(int{});
    }
  }

  // The conversion is none: from here on nobody knows where an argument begins.
  std::string lose() {
    is_lost_ = true;
    return {};
  }

  std::string print_argument(std::string const& conversion, char type, Length length) {
    const bool is_plain = length == Length::kNone;
    const bool is_wide = length == Length::kLong;
    switch (type) {
      case 'd':
      case 'i':
        return print_integer<true>(conversion, length);
      case 'u':
      case 'x':
      case 'X':
      case 'o':
        return print_integer<false>(conversion, length);
      case 'f':
      case 'F':
      case 'e':
      case 'E':
      case 'g':
      case 'G':
      case 'a':
      case 'A':
        if (length == Length::kLongDouble) return print_next<long double>(conversion);
        return is_plain || is_wide ? print_next<double>(conversion) : lose();
      case 'c':
        if (is_wide) return print_next<std::wint_t>(conversion);
        return is_plain ? print_next<int>(conversion) : lose();
      case 's':
        if (is_wide) return print_text(conversion, va_arg(args_.list, wchar_t const*), L"(null)");
        return is_plain ? print_text(conversion, va_arg(args_.list, char const*), "(null)") : lose();
      case 'p':
        return is_plain ? print_next<void*>(conversion) : lose();
      case 'n':
        va_arg(args_.list, void*);
        return {};  // the text is its place's alone: there is nothing to count
      default:
        return lose();
    }
  }

  template <class Char>
  static std::string print_text(std::string const& conversion, Char const* text, Char const* none) {
    return print(conversion, text != nullptr ? text : none);
  }

  std::string_view rest_;
  Arguments args_;
  bool is_lost_ = false;
};

}  // namespace

std::vector<std::string> format_each(char const* format, va_list list) { return Reader(format, list).read(); }

}  // namespace kdi
