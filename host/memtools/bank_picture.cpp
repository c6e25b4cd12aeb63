#include "host/memtools/bank_picture.h"

#include <algorithm>
#include <map>
#include <set>

#include "host/svg.h"

namespace memtools {
namespace {

using namespace kdi::planning;

constexpr int kPadWidth = 46, kPadHeight = 30, kLaneStep = 36, kLeft = 20, kTop = 76, kHead = 24, kGap = 18;
constexpr int kNameWidth = 34;

struct Colour {
  char const* fill;
  char const* meaning;
};
constexpr Colour kData{"#cfe2ff", "data"}, kMask{"#e3d4f7", "mask"}, kStrobe{"#7fb2f0", "strobe"},
    kAddress{"#ffe3b3", "address, command"}, kClock{"#f5b461", "clock of the memory"},
    kSystem{"#f29a9a", "system clock"}, kControl{"#f3efc2", "control"}, kTaken{"#c9c9c9", "another's"},
    kSpecial{"#e9e9e9", "for no signal"}, kFree{"#ffffff", "free"};
constexpr Colour kLegend[] = {kData, kMask, kStrobe, kAddress, kClock, kControl, kSystem, kTaken, kSpecial, kFree};

using svg::escaped;
using svg::number;

std::string text_at(int x, int y, int size, std::string const& words, char const* more = "") {
  return "<text x=\"" + number(x) + "\" y=\"" + number(y) + "\" font-size=\"" + number(size) + "\"" + more + ">" +
         escaped(words) + "</text>\n";
}

Colour colour_of(Signal const& signal) {
  if (signal.unit == Signal::kSystem) return kSystem;
  switch (signal.what) {
    case SignalClass::data:
      return kData;
    case SignalClass::mask:
      return kMask;
    case SignalClass::strobe:
      return kStrobe;
    case SignalClass::clock:
      return kClock;
    case SignalClass::control:
      return kControl;
    default:
      return kAddress;
  }
}

// The port without the prefixes that all have, and its index: dq12, ck_t0.
std::string short_name(Signal const& signal) {
  std::string name = signal.port;
  for (int cut = 0; cut < (signal.unit == Signal::kSystem ? 1 : 2); ++cut) name.erase(0, name.find('_') + 1);
  return signal.index < 0 ? name : name + number(signal.index);
}

class Picture {
 public:
  Picture(std::string const& title, std::vector<Drawn> const& controllers)
      : title_(title), controllers_(controllers), layout_(*controllers.front().request->layout) {
    for (std::size_t c = 0; c < controllers.size(); ++c) {
      for (std::size_t i = 0; i < controllers[c].pads.size(); ++i)
        if (controllers[c].pads[i] >= 0) signal_on_[controllers[c].pads[i]] = {c, static_cast<int>(i)};
      for (TakenPad const& one : controllers[c].request->taken) taken_by_[one.pad] = one.by;
    }
  }

  std::string draw() {
    std::map<int, std::pair<int, int>> rows_of_column;
    for (auto const& [pad, signal] : signal_on_) {
      PlacedBank const& bank = layout_.banks[static_cast<std::size_t>(layout_.bank_of_pad(pad))];
      const auto [at, is_new] = rows_of_column.emplace(bank.column, std::pair(bank.row, bank.row));
      at->second = {std::min(at->second.first, bank.row), std::max(at->second.second, bank.row)};
    }
    int x = kLeft, height = kTop;
    for (auto const& [column, rows] : rows_of_column) {
      const auto [width, bottom] = draw_column(column, rows.first, rows.second, x);
      x += width + 2 * kGap;
      height = std::max(height, bottom);
    }
    const int width = std::max(x, kLeft + 6 * 170);
    return svg::opening(width, height + kHead, 11) + text_at(kLeft, 24, 16, title_) + legend() +
           text_at(kLeft + 5 * 170, 45, 11, "blue rim: strobe site") +
           text_at(kLeft + 5 * 170, 63, 11, "red rim: clock site") + body_ +
           text_at(kLeft, height + 8, 11, svg::kOfAModel, " fill=\"#555\"") + "</svg>\n";
  }

 private:
  static std::string legend() {
    std::string all;
    int index = 0;
    for (Colour const& one : kLegend) {
      const int x = kLeft + index % 5 * 170, y = 34 + index / 5 * 18;
      ++index;
      all += "<rect x=\"" + number(x) + "\" y=\"" + number(y) + "\" width=\"14\" height=\"12\" fill=\"" + one.fill +
             "\" stroke=\"#666\"/>\n" + text_at(x + 20, y + 11, 11, one.meaning);
    }
    return all;
  }

  // Its width, and where it ends. The highest row stands at the top, as on the die.
  std::pair<int, int> draw_column(int column, int first, int last, int x) {
    int y = kTop, width = 0;
    for (int row = last; row >= first; --row)
      for (PlacedBank const& bank : layout_.banks) {
        if (bank.column != column || bank.row != row) continue;
        body_ += text_at(x, y + 16, 13, "bank " + number(bank.number) + ", " + bank.kind, " font-weight=\"bold\"");
        y += kHead;
        for (int lane = bank.first; lane < bank.first + bank.lanes; ++lane, y += kLaneStep)
          width = std::max(width, draw_lane(layout_.lanes[static_cast<std::size_t>(lane)], x, y));
        y += kGap;
      }
    return {width, y};
  }

  int draw_lane(PlacedLane const& lane, int x, int y) {
    body_ += text_at(x, y + 19, 12, lane.name);
    for (int i = 0; i < lane.pads; ++i) draw_pad(lane.first + i, x + kNameWidth + i * kPadWidth, y);
    return kNameWidth + lane.pads * kPadWidth;
  }

  void draw_pad(int index, int x, int y) {
    PlacedPad const& pad = layout_.pads[static_cast<std::size_t>(index)];
    Colour colour = kFree;
    std::string words, title = pad.name + (pad.ball.empty() ? ", unbonded" : ", ball " + pad.ball);
    if (const auto found = signal_on_.find(index); found != signal_on_.end()) {
      auto const& [controller, number_of_signal] = found->second;
      Signal const& signal =
          controllers_[controller].request->interface->signals[static_cast<std::size_t>(number_of_signal)];
      colour = colour_of(signal);
      words = short_name(signal);
      if (controllers_.size() > 1) words = std::string(1, static_cast<char>('A' + controller)) + " " + words;
      title += ": " + signal.name;
    } else if (const auto other = taken_by_.find(index); other != taken_by_.end()) {
      colour = kTaken;
      title += ": " + other->second;
    } else if (pad.ball.empty() || pad.configuration || pad.impedance || pad.reference) {
      colour = kSpecial;
    }
    body_ += "<g><title>" + escaped(title) + "</title><rect x=\"" + number(x) + "\" y=\"" + number(y) + "\" width=\"" +
             number(kPadWidth - 2) + "\" height=\"" + number(kPadHeight) + "\" fill=\"" + colour.fill + "\" stroke=\"" +
             (pad.strobe  ? "#1d5fb0"
              : pad.clock ? "#b03030"
                          : "#999") +
             "\"/>" +
             text_at(x + 2, y + 12,
                     words.size() > 10  ? 6
                     : words.size() > 8 ? 7
                                        : 9,
                     words) +
             text_at(x + 2, y + 25, 8, pad.ball, " fill=\"#666\"") + "</g>\n";
  }

  std::string const& title_;
  std::vector<Drawn> const& controllers_;
  Layout const& layout_;
  std::map<int, std::pair<std::size_t, int>> signal_on_;
  std::map<int, std::string> taken_by_;
  std::string body_;
};

}  // namespace

std::string bank_picture(std::string const& title, std::vector<Drawn> const& controllers) {
  return Picture(title, controllers).draw();
}

}  // namespace memtools
