// What nearly every source of the product includes, for builds that have IPTASKS_PRECOMPILED. Only headers of the
// system stand here, so that a source which forgets one of our own is noticed in every build.
#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>
