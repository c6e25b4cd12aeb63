#include "host/iotools/bank_picture.h"

#include <algorithm>
#include <set>
#include <vector>

#include "host/svg.h"
#include "kdi/common/KdiText.h"

namespace iotools {
namespace {

using kdi::place::PlanOnPads;
using kdi::planning::Layout;

constexpr int kMargin = 20, kTop = 78, kLabel = 62, kPad = 100, kRow = 30, kBox = 24, kGap = 44, kLeast = 560;
constexpr std::size_t kLettersOfPad = 13, kLettersOfLine = 92;
constexpr int kLine = 15;
constexpr char kFree[] = "#f4f4f4", kOther[] = "#d9d9d9";
// Light enough for text, and told apart in grey as well as may be; more strobes begin anew.
constexpr char const* kColours[] = {"#bcd9f5", "#f9d9a6", "#c5e6b8", "#f3c0c6", "#d8c8ee", "#b5e5e0",
                                    "#f0e59a", "#e4c9ad", "#c6cfe8", "#dcecb0", "#f5c9e4", "#b9d4c2"};

using svg::escaped;
using svg::number;

std::string words(int x, int y, std::string_view text, char const* more = "") {
  return "<text x=\"" + number(x) + "\" y=\"" + number(y) + "\"" + more + ">" + escaped(text) + "</text>\n";
}

// The end of a name tells more than its begin.
std::string shortened(std::string const& name) {
  if (name.size() <= kLettersOfPad) return name;
  return "\xE2\x80\xA6" + name.substr(name.size() - kLettersOfPad + 1);
}

// A text in lines of at most so many letters, unless a word is longer.
std::vector<std::string> broken(std::string_view text) {
  std::vector<std::string> lines(1);
  for (const std::string_view word : kdi::text::words(text)) {
    if (!lines.back().empty() && lines.back().size() + 1 + word.size() > kLettersOfLine) lines.emplace_back();
    lines.back().append(lines.back().empty() ? "" : " ").append(word);
  }
  return lines;
}

class Painter {
 public:
  Painter(PlanOnPads const& plan, Layout const& layout) : plan_(plan), layout_(layout) {
    for (auto const& [port, pad] : plan.pads) port_on_.emplace(pad, port);
    std::size_t next = 0;
    for (auto const& [strobe, nibbles] : plan.strobes) {
      char const* const colour = kColours[next++ % std::size(kColours)];
      for (std::string const& nibble : nibbles) colour_of_.emplace(nibble, colour);
      strobes_.emplace(strobe, colour);
    }
  }

  std::string picture(std::string const& title) {
    std::set<int> banks;
    for (auto const& [port, pad] : plan_.pads) banks.insert(layout_.bank_of_pad(pad));
    const std::size_t end = std::min(title.find('\n'), title.size());
    std::string body = words(kMargin, 30, std::string_view(title).substr(0, end), " font-size=\"16\"");
    int y = 36, widest = kLeast;
    if (end < title.size())
      for (std::string const& line : broken(std::string_view(title).substr(end)))
        body += words(kMargin, y += kLine, line, " fill=\"#555\"");
    y += kTop - 36;
    for (const int bank : banks) {
      const auto [drawn, width, height] = bank_at(y, bank);
      body += drawn;
      y += height + kGap;
      widest = std::max(widest, width);
    }
    body += legend(y) + words(kMargin, y + 26, svg::kOfAModel, " fill=\"#555\"");
    return svg::opening(widest + 2 * kMargin, y + 44, 11) + body + "</svg>\n";
  }

 private:
  struct Drawn {
    std::string text;
    int width, height;
  };

  Drawn bank_at(int y, int bank) const {
    kdi::planning::PlacedBank const& of = layout_.banks[static_cast<std::size_t>(bank)];
    std::string text =
        words(kMargin, y - 14, "bank " + number(of.number) + " (" + of.kind + ")", " font-weight=\"bold\"");
    std::string before;
    int row = -1, column = 0, widest = 0;
    for (int lane = of.first; lane < of.first + of.lanes; ++lane) {
      kdi::planning::PlacedLane const& at = layout_.lanes[static_cast<std::size_t>(lane)];
      for (int pad = at.first; pad < at.first + at.pads; ++pad, ++column) {
        const std::string nibble = kdi::place::nibble_of_pad(layout_, pad);
        if (nibble != before) {
          ++row, column = 0;
          before = nibble;
          text += words(kMargin, y + row * kRow + 16, at.name + " " + nibble.substr(nibble.find('_') + 1),
                        " fill=\"#555\"");
        }
        text += pad_at(kMargin + kLabel + column * kPad, y + row * kRow, pad, nibble);
        widest = std::max(widest, column + 1);
      }
    }
    return {text, kLabel + widest * kPad, (row + 1) * kRow};
  }

  std::string pad_at(int x, int y, int pad, std::string const& nibble) const {
    kdi::planning::PlacedPad const& at = layout_.pads[static_cast<std::size_t>(pad)];
    const auto port = port_on_.find(pad);
    const bool is_strobe = port != port_on_.end() && strobes_.contains(port->second);
    const auto colour = colour_of_.find(nibble);
    // Beside what a strobe clocks the system clock may stand, which every interface calls so.
    const bool is_clocked =
        port != port_on_.end() && colour != colour_of_.end() && port->second.find("sys_clk") == std::string::npos;
    char const* const fill = port == port_on_.end() ? kFree
                             : is_strobe            ? strobes_.at(port->second)
                             : is_clocked           ? colour->second
                                                    : kOther;
    return "<g><title>" +
           escaped((port == port_on_.end() ? std::string("free") : port->second) + ": " + at.name + ", ball " +
                   (at.ball.empty() ? "none" : at.ball)) +
           "</title><rect x=\"" + number(x) + "\" y=\"" + number(y) + "\" width=\"" + number(kPad - 6) +
           "\" height=\"" + number(kBox) + "\" rx=\"3\" fill=\"" + fill + "\" stroke=\"" +
           (is_strobe ? "#222\" stroke-width=\"2" : "#999") + "\"/>" +
           words(x + 4, y + 16, port == port_on_.end() ? at.site : shortened(port->second),
                 port == port_on_.end() ? " fill=\"#aaa\"" : "") +
           "</g>\n";
  }

  std::string legend(int y) const {
    std::string text;
    int x = kMargin;
    const auto entry = [&](char const* colour, std::string const& name, bool thick) {
      text += "<rect x=\"" + number(x) + "\" y=\"" + number(y - 11) + "\" width=\"14\" height=\"14\" fill=\"" + colour +
              "\" stroke=\"" + (thick ? "#222\" stroke-width=\"2" : "#999") + "\"/>\n" + words(x + 20, y, name);
      x += 40 + 7 * static_cast<int>(name.size());
    };
    entry(kColours[0], "strobe", true);
    entry(kColours[0], "what it clocks, in its colour", false);
    entry(kOther, "without a strobe", false);
    entry(kFree, "free", false);
    return text;
  }

  PlanOnPads const& plan_;
  Layout const& layout_;
  std::map<int, std::string> port_on_;
  std::map<std::string, char const*> colour_of_;  // by nibble
  std::map<std::string, char const*> strobes_;
};

}  // namespace

std::string bank_picture(PlanOnPads const& plan, Layout const& layout, std::string const& title) {
  return Painter(plan, layout).picture(title);
}

}  // namespace iotools
