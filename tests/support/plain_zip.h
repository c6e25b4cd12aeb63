// ZIP archives byte by byte, as APPNOTE.TXT 6.3.10 (PKWARE) lays them out: what is stored is read from the headers
// alone, and archives are made that no sound writer would make.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace plain_zip {

inline std::uint32_t crc32(std::string_view bytes) {
  std::uint32_t crc = 0xFFFFFFFFU;
  for (const char c : bytes) {
    crc ^= static_cast<unsigned char>(c);
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB88320U : 0);
  }
  return ~crc;
}

inline std::uint32_t number(std::string_view bytes, std::size_t at, std::size_t size) {
  std::uint32_t value = 0;
  for (std::size_t i = size; i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes.at(at + i));
  return value;
}

inline void put(std::string& bytes, std::uint32_t value, int size) {
  for (int i = 0; i < size; ++i) bytes += static_cast<char>(value >> (8 * i));
}

struct Entry {
  std::string name;
  std::string content;
  std::uint32_t time = 0, date = 0, method = 0;
  std::size_t begin = 0;      ///< of the content in the archive
  std::string unpacked = {};  ///< what a compressed content stands for; empty: it is not compressed
};

/// The stored entries in the order of their headers.
inline std::vector<Entry> entries(std::string_view archive) {
  std::vector<Entry> all;
  for (std::size_t at = 0; number(archive, at, 4) == 0x04034B50U;) {
    Entry entry;
    entry.method = number(archive, at + 8, 2);
    entry.time = number(archive, at + 10, 2);
    entry.date = number(archive, at + 12, 2);
    const std::size_t size = number(archive, at + 18, 4), name = number(archive, at + 26, 2);
    entry.name = archive.substr(at + 30, name);
    entry.begin = at + 30 + name + number(archive, at + 28, 2);
    entry.content = archive.substr(entry.begin, size);
    all.push_back(entry);
    at = entry.begin + size;
  }
  return all;
}

/// Compressed (RFC 1951), as one block that is stored.
inline Entry compressed(std::string const& name, std::string const& content) {
  Entry entry;
  entry.name = name;
  const auto size = static_cast<std::uint32_t>(content.size());
  put(entry.content, 1, 1);
  put(entry.content, size, 2);
  put(entry.content, ~size & 0xFFFFU, 2);
  entry.content += content;
  entry.unpacked = content;
  return entry;
}

struct Oddity {
  std::uint32_t flags = 0, method = 0;  ///< 8: compressed
  std::uint32_t told_size = 0;          ///< 0: as it is
};

/// An archive of the entries, all of them odd in the same way.
inline std::string archive(std::vector<Entry> const& entries, Oddity const& odd = {}) {
  std::string bytes, directory;
  for (Entry const& entry : entries) {
    const auto offset = static_cast<std::uint32_t>(bytes.size());
    const auto stored = static_cast<std::uint32_t>(entry.content.size());
    std::string common;
    put(common, 20, 2);
    put(common, odd.flags, 2);
    put(common, odd.method, 2);
    put(common, 0, 2);
    put(common, 33, 2);
    put(common, crc32(entry.unpacked.empty() ? entry.content : entry.unpacked), 4);
    put(common, stored, 4);
    put(common,
        odd.told_size != 0       ? odd.told_size
        : entry.unpacked.empty() ? stored
                                 : static_cast<std::uint32_t>(entry.unpacked.size()),
        4);
    put(common, static_cast<std::uint32_t>(entry.name.size()), 2);
    put(common, 0, 2);
    put(bytes, 0x04034B50U, 4);
    bytes += common + entry.name + entry.content;
    put(directory, 0x02014B50U, 4);
    put(directory, 20, 2);
    directory += common;
    for (const int size : {2, 2, 2, 4}) put(directory, 0, size);
    put(directory, offset, 4);
    directory += entry.name;
  }
  const auto begin = static_cast<std::uint32_t>(bytes.size()), size = static_cast<std::uint32_t>(directory.size());
  bytes += directory;
  put(bytes, 0x06054B50U, 4);
  put(bytes, 0, 4);
  for (int i = 0; i < 2; ++i) put(bytes, static_cast<std::uint32_t>(entries.size()), 2);
  put(bytes, size, 4);
  put(bytes, begin, 4);
  put(bytes, 0, 2);
  return bytes;
}

}  // namespace plain_zip
