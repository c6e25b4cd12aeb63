// Which of a list of words a key contains. Scripts hand over keys with prefixes and suffixes of their own
// (C0_DDR4_DQ_WIDTH), so a key belongs to the first word of the list that stands anywhere in it.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace power_est_init::power_est_kdi_tcltasks {

/// Up to 64 words of at least two letters each. A key is walked once: at each place a table tells by the next two
/// letters which words can begin there at all.
template <std::size_t Count>
class KeyWords {
  static_assert(Count <= 64);

 public:
  constexpr explicit KeyWords(std::array<std::string_view, Count> const& words) : words_(words) {
    for (std::size_t i = 0; i < Count; ++i) beginning_[slot(words[i][0], words[i][1])] |= std::uint64_t{1} << i;
  }

  /// The index of the first word that `key` contains; Count if it contains none.
  constexpr std::size_t first_in(std::string_view key) const {
    std::size_t first = Count;
    std::uint64_t before = ~std::uint64_t{0};  // words that stand before `first`
    for (std::size_t at = 0; at + 1 < key.size(); ++at)
      for (std::uint64_t may = beginning_[slot(key[at], key[at + 1])] & before; may != 0; may &= may - 1) {
        const auto word = static_cast<std::size_t>(std::countr_zero(may));
        if (!key.substr(at).starts_with(words_[word])) continue;
        first = word;
        before = (std::uint64_t{1} << word) - 1;
        break;
      }
    return first;
  }

 private:
  static constexpr std::size_t kSlots = 256;
  static constexpr std::size_t slot(char a, char b) {
    return (static_cast<unsigned char>(a) * 13U + static_cast<unsigned char>(b)) % kSlots;
  }

  std::array<std::string_view, Count> words_;
  std::array<std::uint64_t, kSlots> beginning_{};
};

/// The words of a table of rows that have a member `word`.
template <class Row, std::size_t Count>
constexpr KeyWords<Count> key_words_of(Row const (&rows)[Count]) {
  std::array<std::string_view, Count> words;
  for (std::size_t i = 0; i < Count; ++i) words[i] = rows[i].word;
  return KeyWords<Count>(words);
}

}  // namespace power_est_init::power_est_kdi_tcltasks
