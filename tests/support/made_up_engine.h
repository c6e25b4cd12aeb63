// An engine whose doors have everything that a call through a stub has to carry, and, apart from the rest, what none
// can.
#pragma once

#include <array>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"

namespace made_up {

// ---------------------------------------------------------------------------------- classes that need no stub at all
// No virtual function is out of line, so every library that uses the class makes its table and type information.

class KDI_DOOR Listener {
 public:
  virtual ~Listener() = default;
  virtual std::string hear(int number) = 0;
  virtual int patience() const { return 1; }
};

class KDI_DOOR NamedListener : public Listener {
 public:
  virtual std::string name() const = 0;
};

/// A base class with members and behaviour of its own, whole in this header.
class KDI_DOOR Model {
 public:
  virtual ~Model() = default;
  virtual int evaluate(int value) { return value + static_cast<int>(steps.size()); }
  std::vector<std::string> steps;
};

class KDI_DOOR Fault : public std::runtime_error {
 public:
  Fault(std::string const& text, int number) : std::runtime_error(text), number_(number) {}
  int number() const { return number_; }

 private:
  int number_;
};

// ------------------------------------------------------------------------------------------------------------- calls

struct Mixed {  // returned in registers of two kinds
  long whole;
  double fraction;
};
struct Large {  // returned through memory
  std::array<double, 9> values;
};

KDI_DOOR Mixed mixed(long whole, double fraction);
KDI_DOOR Large large(double first);
KDI_DOOR long double wide(long double value);
/// The arguments in words: more than there are registers of either kind, and two that are passed through memory.
KDI_DOOR std::string many(int a, int b, int c, int d, int e, int f, int g, int h, double i, double j, double k,
                          double l, double m, double n, double o, double p, double q, float r, Large s, std::string t);
/// The sum of `count` doubles.
KDI_DOOR double sum(int count, ...);

/// What the listener hears of 1 to its patience, and its name if it has one. What it throws passes through.
KDI_DOOR std::string tell(Listener& listener);
KDI_DOOR std::unique_ptr<Model> make_model(int steps);
/// The model's class by its type information, "derived" for one of the caller's that is derived from Model.
KDI_DOOR std::string kind_of(Model const& model);
/// Throws Fault.
KDI_DOOR void fail(std::string const& text, int number);
/// Counts its calls.
KDI_DOOR int count();

class KDI_DOOR Counter {
 public:
  explicit Counter(int first) : next_(first) {}
  int next();
  static int* made();

 private:
  int next_;
};

/// Exported by an engine that is not there.
KDI_DOOR int absent(int a, int b, int c, int d, int e, int f, int g, std::string text);

// ------------------------------------------------------------------------------------------- what no stub can carry

KDI_DOOR extern int level;

class KDI_DOOR Keyed {
 public:
  virtual ~Keyed();
  virtual int number() const;
};

class KDI_DOOR KeyedFault : public std::exception {
 public:
  char const* what() const noexcept override;
};

}  // namespace made_up
