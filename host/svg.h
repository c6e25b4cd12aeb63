// Numbers and texts of pictures.
#pragma once

#include <string>
#include <string_view>

namespace svg {

inline std::string number(int value) { return std::to_string(value); }

/// As it stands between elements, or in an attribute between double quotes.
inline std::string escaped(std::string_view text) {
  std::string all;
  for (const char c : text)
    all += c == '<' ? "&lt;" : c == '>' ? "&gt;" : c == '&' ? "&amp;" : c == '"' ? "&quot;" : std::string(1, c);
  return all;
}

/// The first lines of a picture on white. In a window that is too narrow it shrinks as far as its texts can be read,
/// and moves sideways then.
inline std::string opening(int width, int height, int font_size) {
  const std::string w = number(width), h = number(height);
  return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + w + "\" height=\"" + h + "\" viewBox=\"0 0 " + w + " " +
         h + "\" style=\"max-width:100%;height:auto;min-width:" + number(width * 4 / 5) +
         "px\" font-family=\"sans-serif\" font-size=\"" + number(font_size) +
         "\">\n<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n";
}

/// The last line of a picture of where things are on a part.
constexpr char kOfAModel[] = "Pads, banks and limits are those of the part's model; nothing is measured.";

}  // namespace svg
