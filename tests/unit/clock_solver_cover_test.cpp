// The least number of primitives against the enumeration of all partitions.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <numeric>

#include "platform/ip/clocking/cover.h"
#include "tests/support/clock_exhaustive.h"
#include "tests/support/clock_primitives.h"
#include "tests/support/clock_requests.h"

namespace {

using namespace kdi::clocking;
using test_support::Random;
using test_support::exhaustive::Enumeration;

Primitive coverable_primitive() {
  Primitive primitive = test_support::tiny_primitive();
  primitive.outputs[0].divider = {.min = 1, .max = 9, .fraction = 4, .fraction_min = 3};
  return primitive;
}

Request group_request(CoverRequest const& request, std::size_t input, std::vector<std::size_t> const& outputs) {
  Request single = request.options;
  single.input_hz = request.inputs_hz[input];
  for (std::size_t i : outputs) single.outputs.push_back(request.outputs[i]);
  return single;
}

// Whether one primitive makes the group, from some input, in some order of its outputs.
bool is_makeable(Primitive const& primitive, CoverRequest const& request, std::vector<std::size_t> group) {
  if (group.size() > primitive.outputs.size()) return false;
  std::ranges::sort(group);
  do {
    for (std::size_t input = 0; input < request.inputs_hz.size(); ++input) {
      const Request single = group_request(request, input, group);
      if (Enumeration(primitive, single).best()) return true;
    }
  } while (std::ranges::next_permutation(group).found);
  return false;
}

// Over all partitions of the outputs; 0 if there is none.
std::size_t least_number(Primitive const& primitive, CoverRequest const& request) {
  std::vector<std::vector<std::size_t>> groups;
  std::size_t best = 0;
  const std::function<void(std::size_t)> place = [&](std::size_t output) {
    if (best != 0 && groups.size() >= best) return;
    if (output == request.outputs.size()) {
      best = groups.size();
      return;
    }
    for (std::size_t at = 0; at < groups.size(); ++at) {
      groups[at].push_back(output);
      if (is_makeable(primitive, request, groups[at])) place(output + 1);
      groups[at].pop_back();
    }
    if (!is_makeable(primitive, request, {output})) return;
    groups.push_back({output});
    place(output + 1);
    groups.pop_back();
  };
  place(0);
  return best;
}

CoverRequest random_cover(Random& random, std::size_t outputs) {
  CoverRequest request;
  request.options.tolerance = random.one_in(2) ? Rational(0) : Rational(1, 100);
  for (unsigned i = 0, count = 1 + random.below(3); i < count; ++i)
    request.inputs_hz.push_back(test_support::between(random, 30, 300) * 1000000);
  for (std::size_t i = 0; i < outputs; ++i) {
    OutputRequest output;
    Rational const& input = request.inputs_hz[random.below(static_cast<unsigned>(request.inputs_hz.size()))];
    output.frequency_hz = input * Rational(random.below(8) + 3, 1 + random.below(6));
    if (output.frequency_hz > 400000000) output.frequency_hz = output.frequency_hz / 4;
    if (output.frequency_hz < 45000000) output.frequency_hz = output.frequency_hz * 4;
    request.outputs.push_back(output);
  }
  return request;
}

void expect_makes_all(CoverRequest const& request, Cover const& cover) {
  std::vector<std::size_t> made;
  for (CoverGroup const& group : cover.groups) {
    made.insert(made.end(), group.outputs.begin(), group.outputs.end());
    ASSERT_EQ(group.solution.outputs.size(), group.outputs.size());
    EXPECT_LE(group.solution.worst_error, *request.options.tolerance);
    for (std::size_t i = 0; i < group.outputs.size(); ++i) {
      OutputSolution const& output = group.solution.outputs[i];
      const Rational gain = group.solution.multiplier / group.solution.input_divider / output.divider;
      EXPECT_EQ(output.frequency_hz, request.inputs_hz[group.input] * gain);
      EXPECT_LE(abs(output.frequency_hz / request.outputs[group.outputs[i]].frequency_hz - 1),
                *request.options.tolerance);
    }
  }
  std::ranges::sort(made);
  std::vector<std::size_t> all(request.outputs.size());
  std::iota(all.begin(), all.end(), std::size_t{0});
  EXPECT_EQ(made, all);
}

TEST(MinimalPrimitives, AreTheFewestOverAllPartitions) {
  const Primitive primitive = coverable_primitive();
  Random random(21);
  std::vector<int> seen(8, 0);
  for (int i = 0; i < 120 && !HasFailure(); ++i) {
    SCOPED_TRACE(i);
    const CoverRequest request = random_cover(random, 1 + random.below(6));
    const Cover cover = minimal_primitives(primitive, request);
    const std::size_t truth = least_number(primitive, request);
    ASSERT_EQ(cover.groups.size(), truth) << cover.message;
    ++seen[truth];
    if (truth == 0) {
      EXPECT_NE(cover.message.find("cannot be made from any of the inputs"), std::string::npos) << cover.message;
      continue;
    }
    EXPECT_TRUE(cover.is_minimal);
    EXPECT_EQ(cover.at_least, truth);
    EXPECT_EQ(cover.message, "");
    expect_makes_all(request, cover);
  }
  for (int count : {0, 1, 2, 3}) EXPECT_GT(seen[static_cast<std::size_t>(count)], 3) << count;
}

TEST(MinimalPrimitives, AreBoundedWhenThereAreManyOutputs) {
  const Primitive primitive = coverable_primitive();
  CoverRequest request;
  request.inputs_hz = {100000000};
  request.options.tolerance = 0;
  for (std::int64_t i = 0; i < 20; ++i)
    request.outputs.push_back({Rational(i % 2 == 0 ? 80000000 : 90000000), 0, Rational(1, 2), ""});
  const Cover cover = minimal_primitives(primitive, request);
  expect_makes_all(request, cover);
  // 80 MHz takes a VCO of 400 MHz, 90 MHz one of 450: ten clocks of each, three on a primitive, are four and four.
  // The bound only counts 20 clocks in threes.
  EXPECT_EQ(cover.groups.size(), 8u);
  EXPECT_EQ(cover.at_least, 7u);
  EXPECT_FALSE(cover.is_minimal);
  EXPECT_EQ(cover.message,
            "with more than 14 clocks the number is only bounded: 8 primitives do, at least 7 are needed");

  request.outputs.resize(14);
  const Cover exact = minimal_primitives(primitive, request);
  EXPECT_EQ(exact.groups.size(), 6u);
  EXPECT_TRUE(exact.is_minimal);
  expect_makes_all(request, exact);
}

TEST(MinimalPrimitives, MayHaveOneOutputEach) {
  Primitive primitive = coverable_primitive();
  primitive.outputs.resize(1);
  CoverRequest request;
  request.inputs_hz = {100000000};
  request.options.tolerance = 0;
  request.outputs = {{Rational(80000000), 0, Rational(1, 2), ""}, {Rational(80000000), 0, Rational(1, 2), ""}};
  const Cover cover = minimal_primitives(primitive, request);
  EXPECT_EQ(cover.groups.size(), 2U);
  EXPECT_TRUE(cover.is_minimal);
  expect_makes_all(request, cover);
}

TEST(MinimalPrimitives, RefuseWhatTheyCannotJudge) {
  CoverRequest request;
  request.inputs_hz = {100000000};
  request.outputs = {{100000000, 0, Rational(1, 2), ""}};
  const auto message = [&request](Primitive const& primitive) {
    const Cover cover = minimal_primitives(primitive, request);
    EXPECT_TRUE(cover.groups.empty());
    return cover.message;
  };
  Primitive odd = coverable_primitive();
  odd.outputs[2].divider.max = 5;
  EXPECT_EQ(message(odd), "outputs 1 and 2 of the primitive differ; only the first counter may be special");
  odd = coverable_primitive();
  odd.outputs[0].divider.min = 2;
  EXPECT_EQ(message(odd), "output 0 of the primitive does not offer all that output 1 does");
  request.inputs_hz = {1000000};
  EXPECT_EQ(message(coverable_primitive()), "clock 0, 100 MHz, cannot be made from any of the inputs");
  request.inputs_hz.clear();
  EXPECT_EQ(message(coverable_primitive()), "0 inputs are outside 1 to 16");
  request.inputs_hz = {100000000};
  request.outputs.resize(33, request.outputs[0]);
  EXPECT_EQ(message(coverable_primitive()), "33 outputs are outside 1 to 32");
  request.outputs.resize(1);
  request.outputs[0].frequency_hz = 0;
  EXPECT_EQ(message(coverable_primitive()),
            "input 0, clock 0: output 0 frequency 0 Hz is outside 0 (excluded) to 2^40 Hz, or is finer than 2^-20 Hz");
}

}  // namespace
