// The transceiver wizard: quads of transceivers by instance name, with all that follows from their settings.
//
// docs/transceivers.md has the words of settings, sections and answers. What is wrong with a word throws a std::string
// that names word and value and ends in a line feed. For any thread: an instance is replaced whole, and who asks
// meanwhile is told of one or of the other.
#pragma once

#include <string>

#include "kdi/common/KdiDoor.h"
#include "kdi/common/KdiTypes.h"

namespace kelvane_gtwiz {

class KDI_DOOR gt_wiz_ip_mgr {
 public:
  /// Makes or replaces an instance: of lanes as the options say (`PROTOCOL` names a preset), or of settings. All of it
  /// is checked first; on a fault the instance is as it was.
  static void initilizeData(std::string const& instance, std::string const& part, std::string const& kind,
                            std::string const& quad, std::string const& directory, std::string const& options,
                            std::string const& tag);
  static void initilizeDataWithDict(std::string const& instance, std::string const& part, std::string const& kind,
                                    std::string const& quad, GtSettings const& settings, std::string const& directory,
                                    std::string const& options, std::string const& tag);

  /// The attributes of a section (`TX0`, `RX3`, a PLL, `COMMON`; empty: all, as `section.name`) at a rate's index
  /// (empty: 0).
  static ParamMap getAttributes(std::string const& instance, std::string const& section, std::string const& rate);
  /// The output clock of each lane and direction in MHz, with 17 digits.
  static ParamMap getOutClkFrequencies(std::string const& instance, std::string const& section,
                                       std::string const& rate);
  static ParamMap getOutClkFrequencies(std::string const& instance, std::string const& part, std::string const& kind,
                                       std::string const& quad, GtSettings const& settings,
                                       std::string const& directory, std::string const& options,
                                       std::string const& tag);
  /// The writes that bring a section to a rate, address to word, both hexadecimal: one register an entry, and packed
  /// for a block memory.
  static ParamMap getMemContent(std::string const& instance, std::string const& section, std::string const& rate);
  static ParamMap getBramMemContent(std::string const& instance, std::string const& section, std::string const& rate);

  /// `RESULT` (true, false), and for each lane `quad PLL reference`, or `REASON`. If `keep`, lanes stay in the quads
  /// that the settings give them.
  static ParamMap canBePacked(std::string const& instance, std::string const& part, std::string const& kind,
                              std::string const& quad, GtSettings const& settings, std::string const& directory,
                              std::string const& options, std::string const& tag, bool keep);
  /// For each port of a reference clock `MHz pad quad`.
  static ParamMap getRefClkPorts(std::string const& instance, std::string const& part, std::string const& kind,
                                 std::string const& quad, GtSettings const& settings, std::string const& directory,
                                 std::string const& options, std::string const& tag, bool keep);

  /// Whether the table of all rates exceeds what fabric memory holds for the kind, and its entries.
  static bool isFabricBRAMNeeded(std::string const& instance, std::string const& part, std::string const& kind,
                                 std::string const& quad, GtSettings const& settings, std::string const& directory,
                                 std::string const& options, std::string const& tag);
  static int getRateTableSize(std::string const& instance, std::string const& part, std::string const& kind,
                              std::string const& quad, GtSettings const& settings, std::string const& directory,
                              std::string const& options, std::string const& tag);

  /// What was done last and why, at most 10,000 lines.
  static StrVec getLogContent();

  /// Puts the bytes of a file, or, if it is empty, the memory content of the instance, into a section of an ELF image;
  /// the new image takes the place of `output`, or, if that is empty, of the image.
  static void updateELF(std::string const& instance, std::string const& image, std::string const& section,
                        std::string const& content, std::string const& output);
};

}  // namespace kelvane_gtwiz
