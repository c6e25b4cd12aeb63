#include "tests/support/made_up_engine.h"

#include <atomic>
#include <cstdarg>

namespace made_up {

Mixed mixed(long whole, double fraction) { return {whole + 1, fraction / 2}; }

Large large(double first) {
  Large made{};
  for (double& value : made.values) value = first++;
  return made;
}

long double wide(long double value) { return value / 3; }

std::string many(int a, int b, int c, int d, int e, int f, int g, int h, double i, double j, double k, double l,
                 double m, double n, double o, double p, double q, float r, Large s, std::string t) {
  std::string text = std::move(t);
  for (const int value : {a, b, c, d, e, f, g, h}) text += " " + std::to_string(value);
  for (const double value : {i, j, k, l, m, n, o, p, q, double{r}}) text += " " + std::to_string(value).substr(0, 4);
  for (const double value : s.values) text += " " + std::to_string(static_cast<int>(value));
  return text;
}

double sum(int count, ...) {
  va_list list;
  va_start(list, count);
  double all = 0;
  for (int i = 0; i < count; ++i) all += va_arg(list, double);
  va_end(list);
  return all;
}

std::string tell(Listener& listener) {
  std::string heard;
  for (int i = 1; i <= listener.patience(); ++i) heard += listener.hear(i) + ";";
  if (auto const* const named = dynamic_cast<NamedListener const*>(&listener)) heard += named->name();
  return heard;
}

namespace {

class Doubling : public Model {
 public:
  int evaluate(int value) override { return 2 * Model::evaluate(value); }
};

}  // namespace

std::unique_ptr<Model> make_model(int steps) {
  auto model = std::make_unique<Doubling>();
  model->steps.resize(static_cast<std::size_t>(steps), "step");
  return model;
}

std::string kind_of(Model const& model) {
  if (typeid(model) == typeid(Model)) return "model";
  return dynamic_cast<Doubling const*>(&model) != nullptr ? "doubling" : "derived";
}

void fail(std::string const& text, int number) { throw Fault(text, number); }

int count() {
  static std::atomic<int> calls = 0;
  return ++calls;
}

int Counter::next() { return next_++; }
int* Counter::made() {
  static int number = 7;
  return &number;
}

int level = 3;

Keyed::~Keyed() = default;
int Keyed::number() const { return 4; }
char const* KeyedFault::what() const noexcept { return "keyed"; }

}  // namespace made_up
