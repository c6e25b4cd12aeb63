// Texts that only who has a key can read: XChaCha20-Poly1305, as base64 in a versioned form
// (docs/encrypted-content.md).
//
// Every fault throws a std::string that ends in a line feed and holds nothing of the text or the key. For any thread.
#pragma once

#include <string>
#include <string_view>

#include "kdi/common/KdiDoor.h"

namespace kelvane_gtwiz {

/// `text` under the key in the file that the tool parameter gtwiz.encryptKeyFile names, with a nonce of its own, so
/// that equal texts give different results.
KDI_DOOR std::string encrypted_content(std::string const& text);

/// The text behind what encrypted_content made, under the key in the file `key_file` (empty: the tool parameter's).
KDI_DOOR std::string decrypted_content(std::string const& content, std::string const& key_file);

/// The same with a key of 32 bytes and a nonce of 24, for known answers.
KDI_DOOR std::string sealed(std::string_view text, std::string_view key, std::string_view nonce);
KDI_DOOR std::string opened(std::string_view content, std::string_view key);

}  // namespace kelvane_gtwiz
