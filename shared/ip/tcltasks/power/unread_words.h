// What a script says in the record of a power estimate and nothing reads: told on the message manager, as warnings that
// change no result.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace power_est_init::power_est_kdi_tcltasks {

/// How a value is read: as it is, as the number that it begins with, or as one of a few words.
enum class Reads : unsigned char { text, integer, real, truth, enable, phy_ratio, phy_mode };

/// The warnings of one record. After kMost of them only their number is told, when the object goes.
class UnreadWords {
 public:
  static constexpr std::size_t kMost = 16;

  UnreadWords() = default;
  UnreadWords(UnreadWords const&) = delete;
  UnreadWords& operator=(UnreadWords const&) = delete;
  ~UnreadWords();

  /// A key that nothing reads, with the nearest of the words that are: word(0), word(1), ... up to an empty one.
  template <class Word>
  void add(std::string_view key, Word word) {
    Nearest nearest(key);
    for (std::size_t i = 0; !word(i).empty(); ++i) nearest.offer(word(i));
    tell_key(key, nearest.word());
  }

  /// A value that is read, but perhaps not whole: a number with something behind it, a word that is none of those that
  /// are known. A value that is no number at all counts as 0 without a word, as the contract of the estimate has it.
  void look_at(std::string_view key, std::string_view value, Reads reads);

 private:
  // The word that differs least from some part of the key.
  class Nearest {
   public:
    explicit Nearest(std::string_view key) : key_(key) {}
    void offer(std::string_view word);
    std::string_view word() const { return word_; }

   private:
    std::string_view key_;
    std::string_view word_;
    std::size_t distance_ = 0;
  };

  void tell_key(std::string_view key, std::string_view nearest);
  void tell(std::string const& text);

  std::size_t told_ = 0;
};

}  // namespace power_est_init::power_est_kdi_tcltasks
