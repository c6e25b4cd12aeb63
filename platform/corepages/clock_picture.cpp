// The clock tree, twice: from left to right for wide pages, and as an indented tree for narrow ones, of which the page
// shows one. Clocks stand beside the source that they are divided from, so that no two lines cross.
#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/corepages/pictures.h"

namespace kdi::corepages {

using cores::ClockFindings;
using cores::Decimal;
using cores::Fraction;

std::optional<Decimal> error_ppm(Fraction const& actual, Decimal requested) {
  constexpr int kPlaces = 9;
  try {
    if (requested <= Decimal()) return std::nullopt;
    return Decimal::quotient(actual.rounded(kPlaces) - requested, requested, kPlaces) * Decimal(1'000'000);
  } catch (std::overflow_error const&) {
    return std::nullopt;
  }
}

namespace {

std::string number(int value) { return std::to_string(value); }
std::string mhz(Fraction const& value) { return value.rounded(cores::ClockSection::kShownPlaces).text(); }
Decimal size_of(Decimal value) { return value < Decimal() ? Decimal() - value : value; }

// What there is to show of a clock.
struct Output {
  std::string name, dividers, requested, actual, error, note;
  std::string to;  // where its parameter stands
  bool is_marked = false;
};

// Clocks of one source.
struct Group {
  std::optional<std::size_t> pll;  // none: a reference itself
  std::optional<std::size_t> reference;
  bool is_crossing = false;
  std::vector<Output> outputs;
};

struct Box {
  int x, y, width, height;
  int middle() const { return y + height / 2; }
};

class Tree {
 public:
  Tree(Unit const& unit, Decimal most_ppm)
      : unit_(unit), found_(*unit.clock_findings), request_(found_.request), most_ppm_(most_ppm) {
    gather();
  }

  std::vector<Group> const& groups() const { return groups_; }
  std::vector<Output> const& unmet() const { return unmet_; }
  ClockFindings const& found() const { return found_; }
  cores::ClockRequest const& request() const { return request_; }

  std::optional<std::size_t> reference_of(std::size_t pll) const {
    return reference(request_.plls[pll].references[found_.answer.plls[pll].reference]);
  }
  bool is_over(std::size_t pll) const {
    cores::Pll const& described = request_.plls[pll];
    cores::PllSetting const& setting = found_.answer.plls[pll];
    const auto is_above = [](Fraction const& value, Decimal limit) { return value.rounded(9) > limit; };
    return is_above(setting.vco, described.vco_most) || setting.vco.rounded(9) < described.vco_least ||
           (described.most && is_above(setting.output, *described.most));
  }
  std::string pll_tip(std::size_t pll) const {
    cores::Pll const& described = request_.plls[pll];
    std::string text = described.name + "\noscillator " + mhz(found_.answer.plls[pll].vco) + " MHz, may run at " +
                       described.vco_least.text() + " to " + described.vco_most.text() + " MHz\noutput " +
                       mhz(found_.answer.plls[pll].output) + " MHz";
    if (described.most) text += ", at most " + described.most->text() + " MHz";
    return text + (is_over(pll) ? "\nOUTSIDE ITS LIMITS" : "");
  }
  std::string pll_link(std::size_t pll) const {
    auto const& parameter = unit_.clocks->plls[found_.plls[pll]].feedback.parameter;
    return parameter ? unit_.links.id(unit_.parameter(*parameter).name) : std::string();
  }

  ClockCount count() const {
    ClockCount count{request_.clocks.size(), 0};
    for (Group const& group : groups_)
      for (Output const& output : group.outputs) count.marked += output.is_marked ? 1 : 0;
    count.marked += unmet_.size();
    return count;
  }

 private:
  std::optional<std::size_t> reference(std::string const& name) const {
    for (std::size_t r = 0; r < request_.references.size(); ++r)
      if (request_.references[r].name == name) return r;
    return std::nullopt;
  }

  void gather() {
    for (std::size_t r = 0; r < request_.references.size(); ++r) groups_.push_back({std::nullopt, r, false, {}});
    for (std::size_t p = 0; p < request_.plls.size(); ++p)
      if (found_.answer.plls[p].used) {
        groups_.push_back({p, std::nullopt, false, {}});
        if (found_.answer.plls[p].crossing != 0 && request_.plls[p].crossing)
          groups_.push_back({p, std::nullopt, true, {}});
      }
    for (std::size_t c = 0; c < request_.clocks.size(); ++c) {
      Group* const group = found_.answer.clocks[c].met ? group_of(c) : nullptr;
      (group != nullptr ? group->outputs : unmet_).push_back(output(c));
    }
    std::erase_if(groups_,
                  [](Group const& group) { return group.outputs.empty() && (!group.pll || group.is_crossing); });
  }

  Group* group_of(std::size_t clock) {
    std::string const& name = request_.clocks[clock].sources[found_.answer.clocks[clock].source];
    for (Group& group : groups_) {
      if (group.reference && request_.references[*group.reference].name == name) return &group;
      if (!group.pll) continue;
      cores::Pll const& pll = request_.plls[*group.pll];
      if (group.is_crossing ? pll.crossing->name == name : pll.name == name) return &group;
    }
    return nullptr;
  }

  Output output(std::size_t number_of_all) const {
    cores::Clock const& clock = request_.clocks[number_of_all];
    cores::ClockSetting const& setting = found_.answer.clocks[number_of_all];
    Output output;
    output.name = clock.name;
    output.requested = clock.requested.text();
    output.to = unit_.links.id(unit_.parameter(unit_.clocks->clocks[found_.clocks[number_of_all]].actual).name);
    if (!setting.met) {
      output.is_marked = true;
      output.actual = "cannot be made";
      for (cores::UnmetClock const& unmet : found_.answer.unmet)
        if (unmet.clock == number_of_all) output.note = text_of(unmet, request_);
      if (output.note.empty()) output.note = "its source or its divider is not there";
      return output;
    }
    for (const int divider : setting.dividers) output.dividers += " ÷ " + number(divider);
    output.actual = mhz(setting.actual);
    judge(clock, setting, output);
    return output;
  }

  void judge(cores::Clock const& clock, cores::ClockSetting const& setting, Output& output) const {
    const std::optional<Decimal> ppm = error_ppm(setting.actual, clock.requested);
    output.error = ppm ? error_text(*ppm) : "?";
    const bool is_far = !ppm || size_of(*ppm) > most_ppm_;
    const bool is_over = clock.most && setting.actual.rounded(9) > *clock.most;
    output.is_marked = is_far || is_over;
    if (is_over) output.note = "above its limit of " + clock.most->text() + " MHz";
    if (is_far) output.note += (output.note.empty() ? "" : "; ") + ("off its request by " + output.error + " ppm");
    if (!is_over && clock.most)
      output.note += (output.note.empty() ? "" : "; ") + ("may run up to " + clock.most->text() + " MHz");
  }

  static std::string error_text(Decimal ppm) {
    if (ppm == Decimal()) return "0";
    const Decimal size = size_of(ppm);
    const int places = size >= Decimal(100) ? 0 : size >= Decimal(1) ? 1 : 3;
    return (ppm < Decimal() ? "−" : "+") + size.rounded(places).text();
  }

  Unit const& unit_;
  ClockFindings const& found_;
  cores::ClockRequest const& request_;
  Decimal most_ppm_;
  std::vector<Group> groups_;
  std::vector<Output> unmet_;
};

std::string text_at(int x, int y, std::string const& kind, std::string const& words) {
  return "<text x=\"" + number(x) + "\" y=\"" + number(y) + "\"" + (kind.empty() ? "" : " class=\"" + kind + "\"") +
         ">" + words + "</text>";
}

std::string box_at(Box const& box) {
  return "<rect x=\"" + number(box.x) + "\" y=\"" + number(box.y) + "\" width=\"" + number(box.width) + "\" height=\"" +
         number(box.height) + "\" rx=\"5\"/>";
}

std::string node(std::string const& kind, std::string const& to, std::string const& tip, std::string const& inside) {
  return "<g class=\"node " + kind + "\" tabindex=\"-1\" role=\"img\"" + (to.empty() ? "" : " data-to=\"" + to + "\"") +
         "><title>" + html(tip) + "</title>" + inside + "</g>\n";
}

std::string tip_of(Output const& output) {
  std::string text = output.name + "\nrequested " + output.requested + " MHz";
  if (!output.error.empty()) text += "\nactual " + output.actual + " MHz (" + output.error + " ppm)";
  return output.note.empty() ? text : text + "\n" + output.note;
}

// ---------------------------------------------------------------------------------------------------------------- wide

class WidePicture {
 public:
  explicit WidePicture(Tree const& tree) : tree_(tree) {}

  std::string drawn() {
    auto const& request = tree_.request();
    std::vector<std::vector<int>> fed(request.references.size());  // heights at which lines leave a reference
    auto const& groups = tree_.groups();
    for (std::size_t g = 0; g < groups.size();) {
      if (!groups[g].pll) {
        fed[*groups[g].reference].push_back(outputs(groups[g], kReferenceRight));
        y_ += kGap;
        ++g;
        continue;
      }
      std::size_t end = g;
      while (end < groups.size() && groups[end].pll == groups[g].pll) ++end;
      const int middle = pll(g, end);
      if (const auto reference = tree_.reference_of(*groups[g].pll)) fed[*reference].push_back(middle);
      g = end;
    }
    if (!tree_.unmet().empty()) {
      body_ += text_at(kOutputLeft, y_ + 15, "head", "Cannot be made");
      y_ += kRow;
      for (Output const& output : tree_.unmet()) row(output);
    }
    references(fed);
    return "<svg class=\"clocks wide-only\" viewBox=\"0 0 " + number(kWidth) + " " + number(y_ + 6) +
           "\" role=\"group\" aria-label=\"Clock tree\">\n" + head() + lines_ + body_ + "</svg>\n";
  }

 private:
  static constexpr int kWidth = 1120, kRow = 22, kGap = 14, kTop = 30;
  static constexpr int kReferenceRight = 132, kPllLeft = 190, kPllWidth = 214, kCrossingLeft = 428,
                       kCrossingWidth = 144;
  static constexpr int kOutputLeft = 606;

  static std::string head() {
    return text_at(0, 14, "head", "Reference") + text_at(kPllLeft, 14, "head", "PLL") +
           text_at(kOutputLeft, 14, "head", "Clock") + text_at(846, 14, "head end", "divided by") +
           text_at(930, 14, "head end", "requested") + text_at(1042, 14, "head end", "actual, MHz") +
           text_at(kWidth - 4, 14, "head end", "error, ppm") + "\n";
  }

  void path(std::string const& way) { lines_ += "<path d=\"" + way + "\"/>\n"; }

  // From one height to several: a line in, a trunk, and a branch for each.
  void branches(int x, int y, int turn, std::vector<int> const& heights, int to_x) {
    std::string way = "M" + number(x) + " " + number(y) + "H" + number(turn);
    const auto [low, high] = std::minmax_element(heights.begin(), heights.end());
    const int top = std::min(y, *low), bottom = std::max(y, *high);
    if (top != bottom) way += "M" + number(turn) + " " + number(top) + "V" + number(bottom);
    for (const int height : heights) way += "M" + number(turn) + " " + number(height) + "H" + number(to_x);
    path(way);
  }

  // Returns the height at which the group's line comes in.
  int outputs(Group const& group, int from_x) {
    const int top = y_;
    std::vector<int> heights;
    for (Output const& output : group.outputs) {
      heights.push_back(y_ + kRow / 2);
      row(output);
    }
    const int middle = (top + y_) / 2;
    branches(from_x, middle, kOutputLeft - 22, heights, kOutputLeft - 6);
    return middle;
  }

  void row(Output const& output) {
    const int base = y_ + 15;
    body_ +=
        node(output.is_marked ? "out bad" : "out", output.to, tip_of(output),
             "<rect class=\"row\" x=\"" + number(kOutputLeft - 6) + "\" y=\"" + number(y_ + 1) + "\" width=\"" +
                 number(kWidth - kOutputLeft + 6) + "\" height=\"" + number(kRow - 2) + "\" rx=\"4\"/>" +
                 text_at(kOutputLeft, base, "", (output.is_marked ? "⚠ " : "") + html_cut(output.name, 24)) +
                 text_at(846, base, "end", html_cut(output.dividers, 20)) +
                 text_at(930, base, "end", html(output.requested)) + text_at(1042, base, "end", html(output.actual)) +
                 text_at(kWidth - 4, base, "end err", html(output.error)));
    y_ += kRow;
  }

  int pll(std::size_t first, std::size_t end) {
    auto const& groups = tree_.groups();
    const std::size_t number_of_all = *groups[first].pll;
    cores::Pll const& described = tree_.request().plls[number_of_all];
    cores::PllSetting const& setting = tree_.found().answer.plls[number_of_all];
    const int top = y_;
    constexpr int kHeight = 60;
    int rows = 0;
    for (std::size_t g = first; g < end; ++g) rows += std::max<int>(1, static_cast<int>(groups[g].outputs.size()));
    const int height = std::max(kHeight, rows * kRow);
    const int middle = top + height / 2;
    y_ = top + (height - rows * kRow) / 2;
    for (std::size_t g = first; g < end; ++g) {
      if (groups[g].outputs.empty()) {
        body_ += text_at(kOutputLeft, y_ + 15, "quiet", groups[g].is_crossing || end > first + 1 ? "" : "no clock");
        y_ += kRow;
        continue;
      }
      if (!groups[g].is_crossing) {
        // Beside a crossing the line turns in front of that one's box.
        const bool is_alone = end == first + 1;
        const int right = kPllLeft + kPllWidth, turn = right + (is_alone ? 0 : 18);
        const int came_in = outputs(groups[g], turn);
        if (!is_alone) branches(right, middle, turn, {came_in}, turn);
        continue;
      }
      const int box_middle = outputs(groups[g], kCrossingLeft + kCrossingWidth);
      const Box box{kCrossingLeft, box_middle - 18, kCrossingWidth, 36};
      branches(kPllLeft + kPllWidth, middle, kPllLeft + kPllWidth + 18, {box_middle}, kCrossingLeft);
      body_ += node("pll", "",
                    described.crossing->name + "\n" + described.name + " divided by " + number(setting.crossing) +
                        ", for clocks that share it",
                    box_at(box) + text_at(box.x + 8, box.y + 15, "", html_cut(described.crossing->name, 17)) +
                        text_at(box.x + 8, box.y + 29, "sub", "÷ " + number(setting.crossing)));
    }
    const Box box{kPllLeft, middle - kHeight / 2 + 2, kPllWidth, kHeight - 4};
    const bool is_over = tree_.is_over(number_of_all);
    body_ += node(is_over ? "pll bad" : "pll", tree_.pll_link(number_of_all), tree_.pll_tip(number_of_all),
                  box_at(box) + text_at(box.x + 10, box.y + 17, "name", html_cut(described.name, 24)) +
                      text_at(box.x + box.width - 8, box.y + 17, "end name", mhz(setting.output) + " MHz") +
                      text_at(box.x + 10, box.y + 34, "sub",
                              "× " + number(setting.feedback) + " = oscillator " + mhz(setting.vco) + " MHz") +
                      text_at(box.x + 10, box.y + 49, "sub", "÷ " + number(setting.output_divider)));
    y_ = top + height + kGap;
    return middle;
  }

  void references(std::vector<std::vector<int>> const& fed) {
    int next = kTop;
    for (std::size_t r = 0; r < fed.size(); ++r) {
      cores::ClockReference const& reference = tree_.request().references[r];
      if (fed[r].empty() && reference.mhz == Decimal()) continue;
      const int wanted = fed[r].empty() ? next : (fed[r].front() + fed[r].back()) / 2 - 20;
      const Box box{0, std::max(next, wanted), kReferenceRight, 40};
      next = box.y + box.height + 10;
      const int turn = kReferenceRight + 14 + 10 * static_cast<int>(r % 4);
      if (!fed[r].empty()) branches(kReferenceRight, box.middle(), turn, fed[r], kPllLeft);
      body_ += node(fed[r].empty() ? "ref idle" : "ref", "", reference.name + "\n" + reference.mhz.text() + " MHz",
                    box_at(box) + text_at(box.x + 8, box.y + 17, "name", html_cut(reference.name, 16)) +
                        text_at(box.x + 8, box.y + 33, "sub", reference.mhz.text() + " MHz"));
    }
    y_ = std::max(y_, next);
  }

  Tree const& tree_;
  int y_ = kTop;
  std::string lines_, body_;
};

// -------------------------------------------------------------------------------------------------------------- narrow

class NarrowPicture {
 public:
  explicit NarrowPicture(Tree const& tree) : tree_(tree) {}

  std::string drawn() {
    auto const& request = tree_.request();
    for (std::size_t r = 0; r < request.references.size(); ++r) reference(r);
    if (!tree_.unmet().empty()) {
      body_ += text_at(0, y_ + 16, "head", "Cannot be made");
      y_ += 24;
      for (Output const& output : tree_.unmet()) row(output, 0);
    }
    return "<svg class=\"clocks narrow-only\" viewBox=\"0 0 440 " + number(y_ + 4) +
           "\" role=\"group\" aria-label=\"Clock tree\">\n" + body_ + "</svg>\n";
  }

 private:
  static constexpr int kWidth = 440, kRow = 36;

  void reference(std::size_t r) {
    cores::ClockReference const& one = tree_.request().references[r];
    std::string line = "<path d=\"M9 " + number(y_ + 34);
    const int top = y_;
    const std::string before = std::move(body_);
    body_.clear();
    y_ += 40;
    int last = 0;
    for (Group const& group : tree_.groups()) {
      const bool is_mine = group.pll ? tree_.reference_of(*group.pll) == r : group.reference == r;
      if (!is_mine) continue;
      last = y_ + 18;
      body_ += "<path d=\"M9 " + number(last) + "H22\"/>";
      if (group.pll) pll(group);
      branch(group, group.pll ? 40 : 22);
    }
    const bool is_idle = last == 0;
    if (is_idle && one.mhz == Decimal()) {
      body_ = before;
      y_ = top;
      return;
    }
    const Box box{0, top, 180, 34};
    body_ = before + (is_idle ? "" : line + "V" + number(last) + "\"/>") +
            node(is_idle ? "ref idle" : "ref", "", one.name + "\n" + one.mhz.text() + " MHz",
                 box_at(box) + text_at(8, top + 21, "name", html_cut(one.name, 14)) +
                     text_at(box.width - 8, top + 21, "end sub", one.mhz.text() + " MHz")) +
            body_;
  }

  void pll(Group const& group) {
    cores::Pll const& described = tree_.request().plls[*group.pll];
    cores::PllSetting const& setting = tree_.found().answer.plls[*group.pll];
    const Box box{22, y_, kWidth - 24, 40};
    const bool is_over = tree_.is_over(*group.pll);
    if (group.is_crossing)
      body_ += node("pll", "", described.crossing->name,
                    box_at(box) + text_at(box.x + 8, y_ + 17, "name", html_cut(described.crossing->name, 24)) +
                        text_at(box.x + 8, y_ + 33, "sub", html(described.name) + " ÷ " + number(setting.crossing)));
    else
      body_ += node(is_over ? "pll bad" : "pll", tree_.pll_link(*group.pll), tree_.pll_tip(*group.pll),
                    box_at(box) + text_at(box.x + 8, y_ + 17, "name", html_cut(described.name, 24)) +
                        text_at(kWidth - 10, y_ + 17, "end name", mhz(setting.output) + " MHz") +
                        text_at(box.x + 8, y_ + 33, "sub",
                                "× " + number(setting.feedback) + " = " + mhz(setting.vco) + " MHz ÷ " +
                                    number(setting.output_divider)));
    y_ += 46;
  }

  void branch(Group const& group, int left) {
    const int top = y_ - 6;
    for (Output const& output : group.outputs) {
      if (group.pll) body_ += "<path d=\"M31 " + number(y_ + 14) + "H" + number(left) + "\"/>";
      row(output, left);
    }
    if (group.pll && !group.outputs.empty())
      body_ += "<path d=\"M31 " + number(top) + "V" + number(y_ - kRow + 14) + "\"/>";
    y_ += 8;
  }

  void row(Output const& output, int left) {
    const bool is_made = !output.error.empty();
    const std::string figures =
        is_made ? output.requested + " → " + output.actual + " MHz" : output.requested + " MHz cannot be made";
    body_ += node(output.is_marked ? "out bad" : "out", output.to, tip_of(output),
                  "<rect class=\"row\" x=\"" + number(left) + "\" y=\"" + number(y_) + "\" width=\"" +
                      number(kWidth - left - 2) + "\" height=\"" + number(kRow - 2) + "\" rx=\"4\"/>" +
                      text_at(left + 6, y_ + 14, "", (output.is_marked ? "⚠ " : "") + html_cut(output.name, 30)) +
                      text_at(kWidth - 8, y_ + 14, "end sub", html(output.dividers)) +
                      text_at(left + 6, y_ + 29, "sub", html(figures)) +
                      text_at(kWidth - 8, y_ + 29, "end err", is_made ? html(output.error) + " ppm" : ""));
    y_ += kRow;
  }

  Tree const& tree_;
  int y_ = 2;
  std::string body_;
};

}  // namespace

std::string clock_picture(Unit const& unit, Decimal most_ppm) {
  const Tree tree(unit, most_ppm);
  std::string page;
  if (tree.found().manual) page += "<p>Sources and dividers are set by hand; the frequencies are what they give.</p>\n";
  return page + WidePicture(tree).drawn() + NarrowPicture(tree).drawn();
}

ClockCount count_clocks(Unit const& unit, Decimal most_ppm) { return Tree(unit, most_ppm).count(); }

}  // namespace kdi::corepages
