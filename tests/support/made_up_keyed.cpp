// Needs of the made-up engine what no stub can carry; never linked.
#include "tests/support/made_up_engine.h"

namespace {

class Derived : public made_up::Keyed {};

}  // namespace

int needs_too_much() {
  const Derived derived;
  try {
    return derived.made_up::Keyed::number() + made_up::level;
  } catch (made_up::KeyedFault const&) {
    return 0;
  }
}
