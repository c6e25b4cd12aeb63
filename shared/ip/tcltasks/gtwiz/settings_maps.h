// Readers of the transceiver wizard's settings: flat texts in which numbered words open sections, and dictionaries in
// braces. All are functions of their arguments.
//
// In a flat text a section goes from its word (LR0_SETTINGS, TX1_SETTINGS, PROT2) up to the next section's, the last
// one up to the word that holds "END". A word opens a section if it holds the section's word; where that ends in a
// digit, no digit may follow it, so that PROT1 is not found in PROT10. A text of more sections times words than
// kMostSteps is refused: its sections may overlap, and so their contents would outgrow it.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "kdi/common/KdiTypes.h"

namespace kelvane_gtwiz_utils::gtwiz_utils {

inline constexpr std::size_t kMostSteps = std::size_t{1} << 24;

using VectorMap = std::map<std::string, StrVec>;
using VectorMap2 = std::map<std::string, VectorMap>;

/// The text without braces, in words between runs of blanks; an empty one at an end with a blank.
StrVec getSettingsVec(std::string const& text);
/// The text in words, without the blanks around lone braces; between words `{` and `}` if it doesn't begin with `{`.
StrVec getBraceList(std::string text);
/// How many words the regular expression matches as a whole. Throws std::invalid_argument for one that is none.
int getExprCnt(std::string const& expression, StrVec const& words);
/// The words between those that hold `start` and `end`; the last one that holds `start` goes to `startWord`.
StrVec getSubSet(std::string const& start, std::string const& end, StrVec const& words, std::string& startWord);
/// Pairs of a name and a value; a last name without one has the empty text, a later equal name wins.
ParamMap strVector2StrStrMap(StrVec const& words);

/// The sections <prefix><i>_SETTINGS, i below `count`, as pairs by their words.
GtMap2 getSettingsMap(int count, std::string const& prefix, StrVec const& words);
/// The same with another word that ends the last section.
GtMap2 getTXRXSettingsMap(int count, std::string const& prefix, std::string const& end, StrVec const& words);
/// The sections <prefix><i>_, as many as words are like LR0_SETTINGS: what stands behind the word `tx` or `rx` in a
/// section under that word, what stands before both under SETTINGS; nothing for what is empty.
GtMap3 getLRSettingsMap(std::string const& prefix, std::string const& tx, std::string const& rx, StrVec const& words);
/// The sections <prefix><i>_, i below `count`; the last one ends at `end`.
GtMap2 getQuadUsageData(int count, StrVec const& words, std::string const& prefix, std::string const& end);
/// The sections <prefix><i>, i below `count`, as words.
VectorMap getLaneUsageMap(int count, StrVec const& words, std::string const& prefix);

/// The sections <prefix><i>_SETTINGS of a text.
GtMap2 tcl2cpp3LevelMap(std::string const& text, std::string const& prefix);
/// The sections TXQuad_<i>_ and RXQuad_<i>_ of a text, under TX_QUAD_CH and RX_QUAD_CH: one for each number, although
/// several words may have it.
GtMap3 tcl2cppQuadUsage(std::string const& text);
/// The sections PROT<i> of a text.
VectorMap tcl2LaneUsageMap(std::string const& text);

/// Adds the entries of a dictionary in braces to a map, a later key replacing an equal one whole. Braces around all of
/// a dictionary are taken off; a value that should have entries and is a word has it under the empty key; a last key
/// may lack its value. No character but braces and blanks means anything. Throws a std::string if braces don't pair;
/// the map is then as it was.
void constructMultiMapFromTCLDict(std::string const& text, GtMap2& map);
void constructMultiMapFromTCLDict(std::string const& text, GtMap3& map);
void constructMultiMapFromTCLDict(std::string const& text, VectorMap& map);
void constructMultiMapFromTCLDict(std::string const& text, VectorMap2& map);

}  // namespace kelvane_gtwiz_utils::gtwiz_utils
