// The catalogue of up- and down-converter chains, searched by what a chain has to do and may cost.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace dsptools {

/// A chain of the catalogue. Costs are those of one of the four variants in which a chain is built.
struct Chain {
  std::string name;
  std::string direction;  ///< ddc or duc
  double bandwidth;       ///< distance of neighbouring carriers, MHz
  int carriers;
  double passband;  ///< all carriers together, MHz
  bool is_real;     ///< a real signal at the radio side
  double rate;      ///< samples at the radio side, MHz
  double clock;     ///< MHz
  int multipliers;  ///< of all stages and of the mixer
  int block_memories;
  int latency;  ///< clock cycles through all stages
  int settling_samples;
  double settling;  ///< microseconds
};

/// The words that a search takes, in any order, each with a value: data/commands/dsptools.json tells of them.
std::span<std::string_view const> chain_words();

/// The chains that are as the words say (name value name value ...), in the order that the word `sort` asks for; chains
/// that are equal in it by multipliers and then by name. Throws std::invalid_argument for words that are no question,
/// and what reading a file throws if the rules of the catalogue (data/ducddc) cannot be read.
std::vector<Chain> find_chains(std::span<std::string_view const> words);

/// Why a search found none: words that no chain meets, each in a line with what there is, or else what leaving one of
/// them out would find.
std::string why_none(std::span<std::string_view const> words);

/// The chains as a table with a heading, a line each.
std::string chain_table(std::span<Chain const> chains);

}  // namespace dsptools
