#include "platform/hdf/zip.h"

#include <zip.h>

#include <memory>
#include <new>
#include <utility>

namespace kdi::hdf {
namespace {

// 1 January 1980, the first day that an archive can tell; midnight.
constexpr zip_uint16_t kDate = (1 << 5) | 1;
constexpr zip_uint16_t kTime = 0;
// Of a regular file that all may read, as the format keeps it.
constexpr zip_uint32_t kAttributes = 0100644U << 16;

[[noreturn]] void fail(zip_error_t* error) {
  if (zip_error_code_zip(error) == ZIP_ER_MEMORY) throw std::bad_alloc();
  const std::string text = zip_error_strerror(error);
  throw ZipError(text);
}

class Error {
 public:
  Error() { zip_error_init(&error_); }
  Error(Error const&) = delete;
  Error& operator=(Error const&) = delete;
  ~Error() { zip_error_fini(&error_); }
  zip_error_t* get() { return &error_; }

 private:
  zip_error_t error_;
};

// Closed without being written unless it was before.
using Archive = std::unique_ptr<zip_t, void (*)(zip_t*)>;
using Source = std::unique_ptr<zip_source_t, void (*)(zip_source_t*)>;

Source buffer(std::string_view bytes) {
  Error error;
  Source source(zip_source_buffer_create(bytes.data(), bytes.size(), 0, error.get()), zip_source_free);
  if (!source) fail(error.get());
  return source;
}

Archive opened(Source source, int flags) {
  Error error;
  Archive archive(zip_open_from_source(source.get(), flags, error.get()), zip_discard);
  if (!archive) fail(error.get());
  [[maybe_unused]] auto* const owned_by_archive = source.release();
  return archive;
}

void add(zip_t* archive, ZipEntry const& entry) {
  Source content = buffer(entry.content);
  const zip_int64_t index = zip_file_add(archive, entry.name.c_str(), content.get(), ZIP_FL_ENC_UTF_8);
  if (index < 0) fail(zip_get_error(archive));
  [[maybe_unused]] auto* const owned_by_archive = content.release();
  const auto at = static_cast<zip_uint64_t>(index);
  if (zip_set_file_compression(archive, at, ZIP_CM_STORE, 0) != 0 ||
      zip_file_set_dostime(archive, at, kTime, kDate, 0) != 0 ||
      zip_file_set_external_attributes(archive, at, 0, ZIP_OPSYS_UNIX, kAttributes) != 0)
    fail(zip_get_error(archive));
}

std::string content_of(zip_source_t* source) {
  if (zip_source_open(source) != 0) fail(zip_source_error(source));
  zip_stat_t about;
  if (zip_source_stat(source, &about) != 0) fail(zip_source_error(source));
  std::string bytes(about.size, '\0');
  for (std::size_t done = 0; done < bytes.size();) {
    const zip_int64_t count = zip_source_read(source, bytes.data() + done, bytes.size() - done);
    if (count < 0) fail(zip_source_error(source));
    if (count == 0) break;
    done += static_cast<std::size_t>(count);
  }
  zip_source_close(source);
  return bytes;
}

// The directory of an archive has name, size and encryption of each entry.
zip_stat_t about_entry(zip_t* archive, zip_uint64_t index) {
  zip_stat_t about;
  if (zip_stat_index(archive, index, ZIP_FL_ENC_GUESS, &about) != 0) fail(zip_get_error(archive));
  if (about.encryption_method != ZIP_EM_NONE) throw ZipError("an entry is encrypted");
  return about;
}

// Reading behind the last byte is what makes the checksum count.
std::string entry_content(zip_t* archive, zip_uint64_t index, std::size_t size) {
  const std::unique_ptr<zip_file_t, int (*)(zip_file_t*)> file(zip_fopen_index(archive, index, 0), zip_fclose);
  if (!file) fail(zip_get_error(archive));
  std::string bytes(size + 1, '\0');
  std::size_t done = 0;
  while (done < bytes.size()) {
    const zip_int64_t count = zip_fread(file.get(), bytes.data() + done, bytes.size() - done);
    if (count < 0) fail(zip_file_get_error(file.get()));
    if (count == 0) break;
    done += static_cast<std::size_t>(count);
  }
  if (done != size) throw ZipError("an entry that has not the size that it tells");
  bytes.pop_back();
  return bytes;
}

}  // namespace

std::string zipped(std::vector<ZipEntry> const& entries) {
  Source bytes = buffer({});
  zip_source_keep(bytes.get());  // for the archive, which lets go of it when it is closed
  Archive archive = opened(Source(bytes.get(), zip_source_free), ZIP_TRUNCATE);
  for (ZipEntry const& entry : entries) add(archive.get(), entry);
  if (zip_close(archive.get()) != 0) fail(zip_get_error(archive.get()));
  [[maybe_unused]] auto* const closed = archive.release();
  return content_of(bytes.get());
}

std::vector<ZipEntry> unzipped(std::string_view archive_bytes, std::size_t most_entries, std::size_t most_bytes) {
  const Archive archive = opened(buffer(archive_bytes), ZIP_RDONLY | ZIP_CHECKCONS);
  const auto count = static_cast<zip_uint64_t>(zip_get_num_entries(archive.get(), 0));
  if (count > most_entries) throw ZipError("more than " + std::to_string(most_entries) + " entries");
  zip_uint64_t left = most_bytes;
  std::vector<std::size_t> sizes;
  std::vector<ZipEntry> entries;
  for (zip_uint64_t index = 0; index < count; ++index) {
    const zip_stat_t about = about_entry(archive.get(), index);
    if (about.size > left) throw ZipError("more than " + std::to_string(most_bytes) + " bytes");
    left -= about.size;
    sizes.push_back(static_cast<std::size_t>(about.size));
    entries.push_back({about.name, {}});
  }
  for (zip_uint64_t index = 0; index < count; ++index) {
    try {
      entries[index].content = entry_content(archive.get(), index, sizes[index]);
    } catch (ZipError const& error) {
      throw ZipError(entries[index].name + ": " + error.what());
    }
  }
  return entries;
}

}  // namespace kdi::hdf
