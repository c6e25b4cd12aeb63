#include "platform/common/message_catalogue.h"

#include <limits>

#include "kdi/common/KdiJson.h"

namespace kdi {

MessageCatalogue read_message_catalogue(std::string const& path) {
  constexpr int kMost = std::numeric_limits<int>::max();
  const JsonFile file(path);
  MessageCatalogue catalogue;
  for (const JsonValue entry : file.root().items()) {
    entry.allow_only({"group", "number", "kind", "text"});
    entry.member("kind").choice({"error", "warning", "info"});
    const std::pair key{static_cast<int>(entry.member("group").integer(0, kMost)),
                        static_cast<int>(entry.member("number").integer(0, kMost))};
    if (!catalogue.emplace(key, entry.member("text").text()).second)
      entry.member("number").refuse("a number that no other message of the group has");
  }
  return catalogue;
}

}  // namespace kdi
