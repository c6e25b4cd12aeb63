// The values that rules of a core work on.
//
// A value is a truth, an integer (64 bits), an exact decimal number, a text, a list of values of one type, or a
// dictionary from texts to values of one type. Values are immutable: a copy shares what it holds, in any thread.
#pragma once

#include <atomic>
#include <compare>
#include <concepts>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/cores/Decimal.h"

namespace kdi::cores {

enum class Kind : std::uint8_t { nothing, truth, integer, decimal, text, list, dictionary };

/// The type of a value or a rule: a kind, and for lists and dictionaries the type of what they hold. `nothing` is the
/// type of the elements of an empty list.
class KDI_DOOR Type {
 public:
  static constexpr int kMostDepth = 8;

  constexpr Type(Kind scalar = Kind::nothing) : scalar_(scalar) {}  // NOLINT: a scalar kind is a type

  /// A list or dictionary of values of type `element`. Nothing if that is nested kMostDepth deep already.
  static std::optional<Type> list_of(Type element);
  static std::optional<Type> dictionary_of(Type element);
  /// The type that `text` spells: `truth`, `integer`, `decimal`, `text`, `list of T`, `dictionary of T`.
  static std::optional<Type> read(std::string_view text);

  Kind kind() const;
  /// Of a list or a dictionary.
  Type element() const;
  bool is_number() const { return depth_ == 0 && (scalar_ == Kind::integer || scalar_ == Kind::decimal); }
  bool is_container() const { return depth_ > 0; }
  std::string text() const;

  /// Whether a value of this type may stand where `wanted` is asked for: the same type, an integer for a decimal
  /// number, an empty list or dictionary for any, and so for what they hold.
  bool fits(Type wanted) const;
  /// The type that values of both types fit; nothing if there is none.
  static std::optional<Type> common(Type a, Type b);

  friend constexpr bool operator==(Type a, Type b) = default;

 private:
  Kind scalar_;
  std::uint8_t depth_ = 0;
  std::uint8_t dictionaries_ = 0;  // one bit for each level, the outermost being bit depth_ - 1
};

class Node;

/// A value without ownership, as rules compute with it; 16 bytes.
class KDI_DOOR Cell {
 public:
  Cell() = default;
  static Cell of(bool truth) { return Cell(Kind::truth, truth ? 1 : 0); }
  static Cell of(std::int64_t integer) { return Cell(Kind::integer, integer); }
  static Cell of(Decimal number) {
    Cell cell(Kind::decimal, number.mantissa_);
    cell.places_ = number.places_;
    return cell;
  }
  static Cell of(Kind kind, Node* node) {
    Cell cell(kind, 0);
    cell.node_ = node;
    return cell;
  }

  Kind kind() const { return kind_; }
  bool truth() const { return bits_ != 0; }
  std::int64_t integer() const { return bits_; }
  Decimal decimal() const {
    Decimal number;
    number.mantissa_ = bits_;
    number.places_ = places_;
    return number;
  }
  Node* node() const { return node_; }
  std::string const& text() const;
  std::span<Cell const> elements() const;
  std::map<std::string, Cell, std::less<>> const& entries() const;
  bool has_node() const { return kind_ >= Kind::text; }

  /// Equal values of one type; lists by their elements in order.
  friend bool operator==(Cell a, Cell b) {
    if (!a.has_node() || !b.has_node()) return a.bits_ == b.bits_ && a.places_ == b.places_;
    return a.node_ == b.node_ || has_equal_node(a, b);
  }
  /// Truths, numbers and texts (by bytes) have an order; lists and dictionaries are compared element by element.
  friend KDI_DOOR std::strong_ordering order(Cell a, Cell b);

 private:
  Cell(Kind kind, std::int64_t bits) : kind_(kind), bits_(bits) {}
  friend KDI_DOOR bool has_equal_node(Cell a, Cell b);

  Kind kind_ = Kind::nothing;
  std::uint8_t places_ = 0;  // of a decimal number
  union {
    std::int64_t bits_ = 0;
    Node* node_;
  };
};

/// What a text, a list or a dictionary consists of; counted by those that hold it, one at the beginning.
class KDI_DOOR Node {
 public:
  using Entries = std::map<std::string, Cell, std::less<>>;

  explicit Node(std::string given);
  explicit Node(std::vector<Cell> given);  ///< takes a share in each element
  explicit Node(Entries given);            ///< likewise
  Node(Node const&) = delete;
  Node& operator=(Node const&) = delete;

  void retain() { count_.fetch_add(1, std::memory_order_relaxed); }
  void release() {
    if (count_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }

  /// Each of a node that was made of one.
  std::string const& text() const { return std::get_if<Text>(&content_)->text; }
  std::size_t hash() const { return std::get_if<Text>(&content_)->hash; }
  std::vector<Cell> const& elements() const { return *std::get_if<std::vector<Cell>>(&content_); }
  Entries const& entries() const { return *std::get_if<Entries>(&content_); }

 private:
  struct Text {
    std::string text;
    std::size_t hash;
  };
  ~Node();
  std::atomic<std::uint32_t> count_ = 1;
  std::variant<Text, std::vector<Cell>, Entries> const content_;
};

inline std::string const& Cell::text() const { return node_->text(); }
inline std::span<Cell const> Cell::elements() const { return node_->elements(); }
inline Node::Entries const& Cell::entries() const { return node_->entries(); }

/// The slots that rules read, by number, without ownership: a row of cells; or of a core, where the first slots are
/// those of its parameters, four of each, of which the last two are truths and lie in bytes, since a core has
/// thousands.
class Slots {
 public:
  static constexpr std::uint32_t kOfParameter = 4, kCellsOfParameter = 2;
  static constexpr std::uint8_t kNothing = 2;

  template <class Row>
  requires std::convertible_to<Row const&, std::span<Cell const>> Slots(Row const& row)
      : cells_(std::span<Cell const>(row).data()) {}  // NOLINT: it is one
  Slots(Cell const* cells, std::uint8_t const* truths, std::uint32_t of_parameters)
      : cells_(cells), truths_(truths), of_parameters_(of_parameters) {}

  Cell operator[](std::uint32_t slot) const {
    if (slot >= of_parameters_) return cells_[slot - of_parameters_ / 2];
    const std::uint32_t place = place_of(slot);
    if (!is_truth(slot)) return cells_[place];
    return truths_[place] == kNothing ? Cell() : Cell::of(truths_[place] != 0);
  }

  /// Of a slot of a parameter: whether it is a truth, and its place among truths or cells.
  static bool is_truth(std::uint32_t slot) { return (slot & 2) != 0; }
  static std::uint32_t place_of(std::uint32_t slot) {
    return slot / kOfParameter * kCellsOfParameter + slot % kCellsOfParameter;
  }

 private:
  Cell const* cells_;
  std::uint8_t const* truths_ = nullptr;
  std::uint32_t of_parameters_ = 0;
};

/// Slots that own what they hold, for those who keep thousands of values.
class KDI_DOOR Cells {
 public:
  /// So many cells of kind `nothing`, behind the slots of so many parameters.
  explicit Cells(std::size_t size = 0, std::size_t parameters = 0)
      : cells_(Slots::kCellsOfParameter * parameters + size),
        truths_(Slots::kCellsOfParameter * parameters, Slots::kNothing) {}
  Cells(Cells const& other);
  Cells(Cells&& other) noexcept : cells_(std::move(other.cells_)), truths_(std::move(other.truths_)) {
    other.cells_.clear();
    other.truths_.clear();
  }
  Cells& operator=(Cells other) noexcept {
    cells_.swap(other.cells_);
    truths_.swap(other.truths_);
    return *this;
  }
  ~Cells() {
    for (const Cell cell : cells_)
      if (cell.has_node()) cell.node()->release();
  }

  Cell operator[](std::uint32_t slot) const { return Slots(*this)[slot]; }
  operator Slots() const { return {cells_.data(), truths_.data(), of_parameters()}; }  // NOLINT: they are

  /// Takes a share in what `cell` holds. Returns whether it is another value than before, or the first.
  bool put(std::uint32_t slot, Cell cell) {
    if (slot >= of_parameters()) return put_cell(slot - of_parameters() / 2, cell);
    const std::uint32_t place = Slots::place_of(slot);
    if (!Slots::is_truth(slot)) return put_cell(place, cell);
    const std::uint8_t truth = cell.truth() ? 1 : 0;
    return std::exchange(truths_[place], truth) != truth;
  }

 private:
  std::uint32_t of_parameters() const { return static_cast<std::uint32_t>(truths_.size()) * 2; }
  bool put_cell(std::uint32_t place, Cell cell) {
    Cell& known = cells_[place];
    if (known.kind() != Kind::nothing && known == cell) return false;
    if (cell.has_node()) cell.node()->retain();
    if (known.has_node()) known.node()->release();
    known = cell;
    return true;
  }

  std::vector<Cell> cells_;
  std::vector<std::uint8_t> truths_;
};

/// What a value takes of memory, in bytes, about; what several share counts for each.
KDI_DOOR std::size_t bytes(Cell cell);

/// A value that owns what it holds.
class KDI_DOOR Value {
 public:
  Value() = default;
  Value(bool truth) : cell_(Cell::of(truth)) {}                   // NOLINT: one for each kind
  Value(int integer) : cell_(Cell::of(std::int64_t{integer})) {}  // NOLINT
  Value(std::int64_t integer) : cell_(Cell::of(integer)) {}       // NOLINT
  Value(Decimal number) : cell_(Cell::of(number)) {}              // NOLINT
  Value(std::string text);                                        // NOLINT
  Value(char const* text) : Value(std::string(text)) {}           // NOLINT
  static Value list(std::vector<Value> const& elements);
  static Value dictionary(std::map<std::string, Value> const& entries);
  /// A share in what `cell` holds.
  static Value share(Cell cell);

  Value(Value const& other) : cell_(other.cell_) { retain(); }
  Value(Value&& other) noexcept : cell_(std::exchange(other.cell_, Cell())) {}
  Value& operator=(Value other) noexcept {
    std::swap(cell_, other.cell_);
    return *this;
  }
  ~Value() {
    if (cell_.has_node()) cell_.node()->release();
  }

  /// Borrowed: good as long as a value that holds the same is there.
  Cell cell() const { return cell_; }

  /// As users see it: `true` and `false`, numbers and texts as they are, and containers as rules write them
  /// (`[1, 2]`, `{'a': 1}`).
  std::string text() const;

  friend bool operator==(Value const& a, Value const& b) { return a.cell_ == b.cell_; }

 private:
  void retain() {
    if (cell_.has_node()) cell_.node()->retain();
  }
  Cell cell_;
};

}  // namespace kdi::cores
