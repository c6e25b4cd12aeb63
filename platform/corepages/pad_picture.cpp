// The pads: each bank as columns of pads with their numbers, and beside them the functions that sit there. Functions
// that want the same pads stand side by side, marked.
#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "kdi/common/KdiText.h"
#include "platform/corepages/pictures.h"

namespace kdi::corepages {
namespace {

using cores::PadBank;
using cores::PadFindings;
using cores::PadFunction;

constexpr std::uint32_t kMostInColumn = 26;
constexpr int kPadHeight = 22;
constexpr int kNumberWidth = 44;
constexpr int kLaneLeft = 52;
constexpr int kWidth = 372;
constexpr double kCharacterWidth = 6.9;
constexpr std::size_t kColours = 10;

std::string number(std::size_t value) { return std::to_string(value); }
std::string number(int value) { return std::to_string(value); }

// Pads beside one another that one function takes, within one column.
struct Run {
  std::size_t function;
  std::uint32_t first, last;  // among all pads
  bool conflicts = false;
  int lane = 0, lanes = 1;
};

class PadPicture {
 public:
  explicit PadPicture(Unit const& unit) : unit_(unit), section_(*unit.pads), found_(*unit.pad_findings) {
    for (std::size_t f = 0; f < found_.functions.size(); ++f) {
      colours_.try_emplace(found_.functions[f].peripheral, colours_.size() % kColours);
      for (const std::uint32_t pad : seat(f).pads) sitting_[pad].push_back(f);
    }
    for (cores::PadConflict const& conflict : found_.conflicts)
      for (const std::size_t f : {conflict.first, conflict.second})
        conflicting_[f].insert(conflict.pads.begin(), conflict.pads.end());
    for (std::size_t f = 0; f < section_.functions.size(); ++f)
      for (cores::PadGroup const& group : section_.functions[f].groups)
        for (const std::uint32_t pad : group.pads) {
          auto& names = possible_[pad];
          if (names.empty() || names.back() != f) names.push_back(f);
        }
  }

  std::string drawn() const {
    std::string page = "<div class=\"banks\">\n";
    for (std::size_t b = 0; b < section_.banks.size(); ++b) {
      PadBank const& bank = section_.banks[b];
      for (std::uint32_t first = bank.first; first <= bank.last; first += kMostInColumn)
        page += column(bank, found_.banks[b] != 0, first, std::min(bank.last, first + kMostInColumn - 1));
    }
    return page + "</div>\n";
  }

  std::string seats() const {
    std::string page =
        "<table class=\"wide\"><thead><tr><th>Function</th><th>Seat</th><th>Set by</th><th>State</th></tr></thead>"
        "<tbody>\n";
    for (std::size_t f = 0; f < found_.functions.size(); ++f) page += seat_row(f);
    return page + "</tbody></table>\n";
  }

  PadCount count() const {
    PadCount count{0, 0, 0};
    for (std::size_t b = 0; b < section_.banks.size(); ++b)
      for (std::uint32_t n = section_.banks[b].first; n <= section_.banks[b].last && found_.banks[b] != 0; ++n) {
        const auto here = sitting_.find(section_.banks[b].offset + n - section_.banks[b].first);
        ++count.all;
        count.used += here != sitting_.end() ? 1 : 0;
        count.conflicting += here != sitting_.end() && here->second.size() > 1 ? 1 : 0;
      }
    return count;
  }

 private:
  cores::PadGroup const& seat(std::size_t function) const {
    PadFunction const& one = found_.functions[function];
    return one.groups[one.present];
  }
  cores::DescribedFunction const& described(std::size_t function) const {
    return section_.functions[found_.described[function]];
  }
  bool conflicts_at(std::size_t function, std::uint32_t pad) const {
    const auto place = conflicting_.find(function);
    return place != conflicting_.end() && place->second.contains(pad);
  }
  std::string colour(std::size_t function) const {
    return "c" + number(colours_.at(found_.functions[function].peripheral));
  }
  std::string set_by(std::size_t function) const {
    auto const& parameter = described(function).parameter;
    return parameter ? unit_.parameter(*parameter).name : std::string();
  }

  // ------------------------------------------------------------------------------------------------------- a column

  std::string column(PadBank const& bank, bool is_there, std::uint32_t first, std::uint32_t last) const {
    const int height = static_cast<int>(last - first + 1) * kPadHeight;
    const std::string name = html(bank.name) + " " + number(std::size_t{first}) + "–" + number(std::size_t{last});
    std::string page = "<figure class=\"bank" + std::string(is_there ? "" : " absent") + "\"><figcaption>" + name +
                       (is_there ? "" : " <span class=\"tag\">not on this part</span>") +
                       "</figcaption>\n<svg viewBox=\"0 0 " + number(kWidth) + " " + number(height + 2) +
                       "\" role=\"group\" aria-label=\"Pads " + name + "\">\n";
    const std::uint32_t offset = bank.offset + first - bank.first;
    for (std::uint32_t i = 0; i <= last - first; ++i) page += pad(offset + i, first + i, static_cast<int>(i));
    for (Run const& run : runs(offset, offset + last - first)) page += drawn(run, offset);
    return page + "</svg></figure>\n";
  }

  std::string pad(std::uint32_t number_of_all, std::uint32_t shown, int row) const {
    const auto here = sitting_.find(number_of_all);
    const bool is_free = here == sitting_.end();
    const bool is_bad = !is_free && here->second.size() > 1;
    std::string functions;
    if (!is_free)
      for (const std::size_t f : here->second) text::append_word(functions, number(f));
    std::string page = "<g class=\"pad " + (is_free ? std::string("free") : colour(here->second.front())) +
                       (is_bad ? " bad" : "") + "\" tabindex=\"-1\" role=\"img\"";
    if (!functions.empty()) page += " data-f=\"" + functions + "\"";
    page += "><title>" + html(tip(number_of_all)) + "</title><rect x=\"1\" y=\"" + number(row * kPadHeight + 1) +
            "\" width=\"" + number(kNumberWidth) + "\" height=\"" + number(kPadHeight - 2) +
            "\" rx=\"3\"/><text x=\"23\" y=\"" + number(row * kPadHeight + 16) + "\">" + number(std::size_t{shown}) +
            "</text>";
    if (is_free)
      page += "<line x1=\"" + number(kLaneLeft) + "\" x2=\"" + number(kWidth - 2) + "\" y1=\"" +
              number(row * kPadHeight + kPadHeight / 2) + "\" y2=\"" + number(row * kPadHeight + kPadHeight / 2) +
              "\"/>";
    return page + "</g>\n";
  }

  std::string tip(std::uint32_t pad) const {
    std::string text = section_.pad_name(pad);
    const auto here = sitting_.find(pad);
    if (here == sitting_.end()) {
      text += "\nfree";
    } else {
      if (here->second.size() > 1) text += "\nCONFLICT";
      for (const std::size_t f : here->second) text += "\n" + found_.functions[f].name + " (" + where(f) + ")";
    }
    if (const auto may = possible_.find(pad); may != possible_.end()) {
      std::vector<std::string> names;
      for (const std::size_t f : may->second) names.push_back(section_.functions[f].name);
      text += "\nMay sit here: " + text::joined(names, ", ");
    }
    return text;
  }

  std::string where(std::size_t function) const {
    const std::string parameter = set_by(function);
    return (parameter.empty() ? "" : parameter + " = ") + seat(function).text;
  }

  // ----------------------------------------------------------------------------------------------------------- runs

  std::vector<Run> runs(std::uint32_t from, std::uint32_t to) const {
    std::vector<Run> all;
    for (std::size_t f = 0; f < found_.functions.size(); ++f) {
      std::vector<std::uint32_t> pads = seat(f).pads;
      std::sort(pads.begin(), pads.end());
      bool goes_on = false;
      for (const std::uint32_t pad : pads) {
        if (pad < from || pad > to) continue;
        if (goes_on && all.back().last + 1 == pad)
          all.back().last = pad;
        else
          all.push_back({f, pad, pad});
        all.back().conflicts = all.back().conflicts || conflicts_at(f, pad);
        goes_on = true;
      }
    }
    std::stable_sort(all.begin(), all.end(), [](Run const& a, Run const& b) { return a.first < b.first; });
    place_side_by_side(all);
    return all;
  }

  // Runs that meet, directly or by others between them, share the width.
  static void place_side_by_side(std::vector<Run>& all) {
    for (std::size_t begin = 0; begin < all.size();) {
      std::vector<std::uint32_t> ends;  // by lane
      std::uint32_t last = all[begin].last;
      std::size_t end = begin;
      for (; end < all.size() && all[end].first <= last; ++end) {
        last = std::max(last, all[end].last);
        const auto lane = std::find_if(ends.begin(), ends.end(), [&](std::uint32_t o) { return o < all[end].first; });
        all[end].lane = static_cast<int>(lane - ends.begin());
        if (lane == ends.end())
          ends.push_back(all[end].last);
        else
          *lane = all[end].last;
      }
      for (std::size_t i = begin; i < end; ++i) all[i].lanes = static_cast<int>(ends.size());
      begin = end;
    }
  }

  std::string drawn(Run const& run, std::uint32_t offset) const {
    const int width = (kWidth - 2 - kLaneLeft) / run.lanes;
    const int left = kLaneLeft + run.lane * width;
    const int top = static_cast<int>(run.first - offset) * kPadHeight + 1;
    const int height = static_cast<int>(run.last - run.first + 1) * kPadHeight - 2;
    const auto room = static_cast<std::size_t>((width - 20) / kCharacterWidth);
    std::string box = "x=\"" + number(left) + "\" y=\"" + number(top) + "\" width=\"" + number(width - 3) +
                      "\" height=\"" + number(height) + "\" rx=\"4\"";
    const std::string parameter = set_by(run.function);
    std::string page = "<g class=\"run " + colour(run.function) + (run.conflicts ? " bad" : "") + "\" data-f=\"" +
                       number(run.function) + "\"";
    if (!parameter.empty()) page += " data-to=\"" + unit_.links.id(parameter) + "\"";
    page += "><title>" + html(run_tip(run)) + "</title><rect " + box + "/>";
    if (run.conflicts) page += "<rect class=\"hatch\" " + box + "/>";
    const std::string name = (run.conflicts ? "⚠ " : "") + found_.functions[run.function].name;
    const bool has_more = height >= 2 * kPadHeight - 2 && !parameter.empty();
    const int middle = top + height / 2 + (has_more ? -3 : 5);
    page += "<text x=\"" + number(left + 9) + "\" y=\"" + number(middle) + "\">" + html_cut(name, room) + "</text>";
    if (has_more)
      page += "<text class=\"sub\" x=\"" + number(left + 9) + "\" y=\"" + number(middle + 14) + "\">" +
              html_cut(parameter, static_cast<std::size_t>(static_cast<double>(room) * 0.92)) + "</text>";
    return page + "</g>\n";
  }

  std::string run_tip(Run const& run) const {
    std::string text = found_.functions[run.function].name + "\n" + section_.pad_names(seat(run.function).pads);
    if (!set_by(run.function).empty()) text += "\n" + where(run.function);
    for (cores::PadConflict const& conflict : found_.conflicts) {
      if (conflict.first != run.function && conflict.second != run.function) continue;
      const std::size_t other = conflict.first == run.function ? conflict.second : conflict.first;
      text += "\nCONFLICT with " + found_.functions[other].name + " at " + section_.pad_names(conflict.pads);
    }
    return text;
  }

  // ---------------------------------------------------------------------------------------------------------- table

  std::string seat_row(std::size_t function) const {
    PadFunction const& one = found_.functions[function];
    std::string state;
    for (cores::PadConflict const& conflict : found_.conflicts) {
      if (conflict.first != function && conflict.second != function) continue;
      const std::size_t other = conflict.first == function ? conflict.second : conflict.first;
      state += (state.empty() ? "" : "; ") + ("with " + found_.functions[other].name + " at ") +
               section_.pad_names(conflict.pads);
    }
    const std::string parameter = set_by(function);
    const bool has_pads = !seat(function).pads.empty();
    return "<tr data-f=\"" + number(function) + "\"" + (state.empty() ? "" : " class=\"bad\"") +
           "><td><span class=\"dot " + colour(function) + "\"></span>" + html(one.name) + "</td><td>" +
           html(has_pads ? section_.pad_names(seat(function).pads) : seat(function).text) + "</td><td>" +
           (parameter.empty() ? std::string("fixed") : unit_.links.link(parameter)) + "</td><td>" +
           (!state.empty() ? "<b class=\"sev error\">conflict</b> " + html(state)
            : has_pads     ? std::string("seated")
                           : std::string("<span class=\"quiet\">no pads</span>")) +
           "</td></tr>\n";
  }

  Unit const& unit_;
  cores::PadSection const& section_;
  PadFindings const& found_;
  std::map<std::string, std::size_t> colours_;                  // by peripheral
  std::map<std::uint32_t, std::vector<std::size_t>> sitting_;   // functions in use by pad
  std::map<std::uint32_t, std::vector<std::size_t>> possible_;  // described functions by pad
  std::map<std::size_t, std::set<std::uint32_t>> conflicting_;  // pads by function
};

std::string moves(Unit const& unit, cores::PadAdvice const& advice) {
  std::string page = "<ul>";
  for (auto const& [parameter, text] : advice.moves)
    page += "<li>" + unit.links.link(unit.parameter(parameter).name) + ": <code>" +
            html(unit.configuration->value(parameter)) + "</code> → <code>" + html(text) + "</code></li>";
  for (auto const& [peripheral, enabler] : advice.given_up)
    page += "<li>give up " + html(peripheral) +
            (enabler ? ": " + unit.links.link(unit.parameter(*enabler).name) + " → <code>0</code>" : std::string()) +
            "</li>";
  page += "</ul>";
  return advice.doubt.empty() ? page : page + "<p class=\"quiet\">" + html(advice.doubt) + "</p>";
}

std::string advice_under(std::string const& heading, Unit const& unit, cores::PadAdvice const& advice) {
  return "<div class=\"advice\"><h4>" + heading + "</h4>" + moves(unit, advice) + "</div>\n";
}

// The nearest is the one that moves the fewest; who had rather keep all that can be kept is told the other one too.
std::string nearest(Unit const& unit) {
  const auto found = [&](cores::PadRepair repair) {
    return cores::nearest_repair(*unit.pads, *unit.pad_findings, repair);
  };
  const cores::PadAdvice fewest_moved = found(cores::PadRepair::fewest_moved);
  const cores::PadAdvice fewest_given_up = found(cores::PadRepair::fewest_given_up);
  const std::string nobody = "There is no seat for everyone. The nearest repair, with the fewest moved";
  if (fewest_moved.moves == fewest_given_up.moves && fewest_moved.given_up == fewest_given_up.given_up)
    return advice_under(nobody + " and the fewest given up", unit, fewest_given_up);
  return advice_under(nobody, unit, fewest_moved) +
         advice_under("Another one, with the fewest given up", unit, fewest_given_up);
}

// How nobody wants another's pads any more.
std::string repair(Unit const& unit) {
  if (unit.pad_findings->conflicts.empty()) return "";
  try {
    if (const auto advice = cores::free_assignment(*unit.pads, *unit.pad_findings))
      return advice_under("A seat for everyone, with the fewest moved", unit, *advice);
    return nearest(unit);
  } catch (cores::PadEffortError const& error) {
    return "<p class=\"quiet\">" + html(error.what()) + "</p>\n";
  }
}

}  // namespace

std::string pad_picture(Unit const& unit) {
  const PadPicture picture(unit);
  return repair(unit) + picture.drawn() + picture.seats();
}

PadCount count_pads(Unit const& unit) { return PadPicture(unit).count(); }

}  // namespace kdi::corepages
