#include "kdi/rule_engine/content_cipher.h"

#include <fcntl.h>
#include <sodium.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <optional>
#include <vector>

#include "kdi/common/HPAParamMgr.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"
#include "platform/rule_engine/texts.h"

namespace kelvane_gtwiz {
namespace {

using kdi::gt::refuse;

constexpr std::string_view kVersion = "KGX1";  // what the form is called, and which one it is; authenticated as well
constexpr std::size_t kKeyBytes = crypto_aead_xchacha20poly1305_ietf_KEYBYTES;
constexpr std::size_t kNonceBytes = crypto_aead_xchacha20poly1305_ietf_NPUBBYTES;
constexpr std::size_t kTagBytes = crypto_aead_xchacha20poly1305_ietf_ABYTES;
constexpr std::size_t kMostText = std::size_t{1} << 28;
constexpr int kVariant = sodium_base64_VARIANT_ORIGINAL;

void start() {
  static const bool is_ready = sodium_init() >= 0;
  if (!is_ready) refuse("the cipher library does not start");
}

unsigned char const* bytes_of(std::string_view text) { return reinterpret_cast<unsigned char const*>(text.data()); }
unsigned char* bytes_of(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

/// A key that is gone from memory when it is done with.
class Key {
 public:
  Key() = default;
  Key(Key const&) = delete;
  Key& operator=(Key const&) = delete;
  ~Key() { sodium_memzero(bytes_.data(), bytes_.size()); }

  /// The key of a file that nobody else may read: 32 bytes, or as 64 hexadecimal digits on a line.
  void read(std::string const& path) {
    const int file = kdi::open_file(path, O_RDONLY | O_NONBLOCK);
    if (file < 0) refuse("the key file cannot be opened: " + kdi::text::system_reason(errno));
    const int closed = read_open(file);
    ::close(file);
    switch (closed) {
      case kGood:
        return;
      case kNoFile:
        refuse("the key file is no file");
      case kOpenToOthers:
        refuse("the key file may be read or written by others than its owner");
      case kForeign:
        refuse("the key file belongs to another user");
      default:
        refuse("the key file holds no key: 32 bytes, or 64 hexadecimal digits");
    }
  }

  std::string_view view() const { return {reinterpret_cast<char const*>(bytes_.data()), bytes_.size()}; }

 private:
  enum Outcome { kGood, kNoFile, kOpenToOthers, kForeign, kNoKey };

  int read_open(int file) {
    struct stat about {};
    if (::fstat(file, &about) != 0 || !S_ISREG(about.st_mode)) return kNoFile;
    if ((about.st_mode & 077) != 0) return kOpenToOthers;
    if (about.st_uid != ::geteuid() && about.st_uid != 0) return kForeign;
    std::array<char, 2 * kKeyBytes + 3> given{};
    std::size_t size = 0;
    for (ssize_t read = 1; read > 0 && size < given.size(); size += static_cast<std::size_t>(read))
      if ((read = ::read(file, given.data() + size, given.size() - size)) < 0) return kNoKey;
    const int outcome = take({given.data(), size}) ? kGood : kNoKey;
    sodium_memzero(given.data(), given.size());
    return outcome;
  }

  bool take(std::string_view given) {
    if (given.size() == kKeyBytes) {
      std::memcpy(bytes_.data(), given.data(), kKeyBytes);
      return true;
    }
    given = kdi::text::trimmed(given);
    std::size_t size = 0;
    return given.size() == 2 * kKeyBytes &&
           sodium_hex2bin(bytes_.data(), bytes_.size(), given.data(), given.size(), nullptr, &size, nullptr) == 0 &&
           size == kKeyBytes;
  }

  std::array<unsigned char, kKeyBytes> bytes_{};
};

void read_key(Key& key, std::string const& given) {
  const std::string path = given.empty() ? HPAParamMgr::getParamMgr().getValueAsString("gtwiz.encryptKeyFile") : given;
  if (path.empty()) refuse("no encryption key is configured");
  key.read(path);
}

}  // namespace

std::string sealed(std::string_view text, std::string_view key, std::string_view nonce) {
  start();
  if (key.size() != kKeyBytes || nonce.size() != kNonceBytes) refuse("a key has 32 bytes and a nonce 24");
  if (text.size() > kMostText) refuse("the content is longer than " + std::to_string(kMostText) + " bytes");
  std::string all = std::string(kVersion).append(nonce);
  const std::size_t begin = all.size();
  all.resize(begin + text.size() + kTagBytes);
  crypto_aead_xchacha20poly1305_ietf_encrypt(bytes_of(all) + begin, nullptr, bytes_of(text), text.size(),
                                             bytes_of(kVersion), kVersion.size(), nullptr, bytes_of(nonce),
                                             bytes_of(key));
  std::string encoded(sodium_base64_encoded_len(all.size(), kVariant), '\0');
  sodium_bin2base64(encoded.data(), encoded.size(), bytes_of(all), all.size(), kVariant);
  encoded.pop_back();  // the zero behind it
  return encoded;
}

std::string opened(std::string_view content, std::string_view key) {
  start();
  if (key.size() != kKeyBytes) refuse("a key has 32 bytes and a nonce 24");
  std::string all(content.size() / 4 * 3 + 3, '\0');
  std::size_t size = 0;
  if (sodium_base642bin(bytes_of(all), all.size(), content.data(), content.size(), nullptr, &size, nullptr, kVariant) !=
      0)
    refuse("the content is no base64");
  all.resize(size);
  if (!all.starts_with(kVersion)) refuse("the content is of no known version");
  if (size < kVersion.size() + kNonceBytes + kTagBytes) refuse("the content is cut off");
  const std::string_view nonce = std::string_view(all).substr(kVersion.size(), kNonceBytes);
  const std::string_view sealed_text = std::string_view(all).substr(kVersion.size() + kNonceBytes);
  std::string text(sealed_text.size() - kTagBytes, '\0');
  if (crypto_aead_xchacha20poly1305_ietf_decrypt(bytes_of(text), nullptr, nullptr, bytes_of(sealed_text),
                                                 sealed_text.size(), bytes_of(kVersion), kVersion.size(),
                                                 bytes_of(nonce), bytes_of(key)) != 0)
    refuse("the content was not made with this key, or it was changed");
  return text;
}

std::string encrypted_content(std::string const& text) {
  start();
  Key key;
  read_key(key, {});
  std::string nonce(kNonceBytes, '\0');
  randombytes_buf(nonce.data(), nonce.size());
  return sealed(text, key.view(), nonce);
}

std::string decrypted_content(std::string const& content, std::string const& key_file) {
  start();
  Key key;
  read_key(key, key_file);
  return opened(content, key.view());
}

}  // namespace kelvane_gtwiz
