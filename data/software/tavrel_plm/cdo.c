#include "cdo.h"

#include "access.h"

enum {
  HEAD_WORDS = 4,
  TAIL_WORDS = 2, /* end, checksum */
  MAGIC = 0,
  VERSION = 1,
  LENGTH = 2,
  COMMANDS = 3
};
enum { END = 0, SECTION = 1, WRITE = 2, MASKED_WRITE = 3, POLL = 4, DELAY = 5, BLOCK_WRITE = 6 };

#define CDO_MAGIC 0x314F4443u /* "CDO1" */
#define MOST_COMMANDS 1000000u
#define LONGEST_TIME 60000000u
#define LONGEST_NAME 200u

static uint32_t code_of(uint32_t head) { return head >> 24; }
static uint32_t size_of(uint32_t head) { return head & 0xFFFFFFu; }

static uint8_t byte_of(const uint32_t *words, uint32_t at) { return (uint8_t)(words[at / 4] >> (at % 4 * 8)); }

static uint32_t checksum_of(const uint32_t *words, uint32_t count) {
  uint32_t crc = 0xFFFFFFFFu;
  for (uint32_t at = 0; at < 4 * count; ++at) {
    crc ^= byte_of(words, at);
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320u : 0);
  }
  return ~crc;
}

static enum cdo_fault check_head(const uint32_t *file, uint32_t most) {
  if (most < HEAD_WORDS + TAIL_WORDS) return CDO_LENGTH;
  if (file[MAGIC] != CDO_MAGIC) return CDO_NO_FILE;
  const uint32_t length = file[LENGTH];
  if (length < HEAD_WORDS + TAIL_WORDS || length > most) return CDO_LENGTH;
  if (checksum_of(file, length - 1) != file[length - 1]) return CDO_CHECKSUM;
  return file[VERSION] == 1 ? CDO_FINE : CDO_VERSION;
}

static enum cdo_fault check_name(const uint32_t *arguments, uint32_t size) {
  if (size < 2) return CDO_SIZE;
  const uint32_t length = arguments[0];
  if (length == 0 || length > LONGEST_NAME) return CDO_NAME;
  if (size != 1 + (length + 3) / 4) return CDO_SIZE;
  for (uint32_t at = 0; at < 4 * (size - 1); ++at) {
    const uint8_t byte = byte_of(arguments + 1, at);
    if (at >= length ? byte != 0 : byte < 0x20 || byte > 0x7E || byte == '"' || byte == '\\') return CDO_NAME;
  }
  return CDO_FINE;
}

static enum cdo_fault check_masked(const uint32_t *arguments) {
  if (arguments[0] % 4 != 0) return CDO_ADDRESS;
  return (arguments[2] & ~arguments[1]) == 0 ? CDO_FINE : CDO_BITS;
}

static enum cdo_fault check_command(uint32_t code, const uint32_t *arguments, uint32_t size) {
  static const uint8_t sizes[] = {[WRITE] = 2, [MASKED_WRITE] = 3, [POLL] = 4, [DELAY] = 1};
  if (code == SECTION) return check_name(arguments, size);
  if (code == BLOCK_WRITE) {
    if (size < 2 || size - 1 > 65535) return CDO_SIZE;
    return arguments[0] % 4 == 0 && (0xFFFFFFFCu - arguments[0]) / 4 >= size - 2 ? CDO_FINE : CDO_ADDRESS;
  }
  if (code < WRITE || code > DELAY) return CDO_UNKNOWN;
  if (size != sizes[code]) return CDO_SIZE;
  switch (code) {
    case WRITE:
      return arguments[0] % 4 == 0 ? CDO_FINE : CDO_ADDRESS;
    case DELAY:
      return arguments[0] <= LONGEST_TIME ? CDO_FINE : CDO_TIME;
    case POLL:
      if (arguments[3] > LONGEST_TIME) return CDO_TIME;
      break;
    default:
      break;
  }
  return check_masked(arguments);
}

enum cdo_fault cdo_check(const uint32_t *file, uint32_t most, uint32_t *command) {
  *command = 0;
  const enum cdo_fault head = check_head(file, most);
  if (head != CDO_FINE) return head;
  const uint32_t checksum = file[LENGTH] - 1;
  uint32_t at = HEAD_WORDS, count = 0;
  while (at < checksum && file[at] != END) {
    const uint32_t size = size_of(file[at]);
    *command = ++count;
    if (size >= checksum - at) return CDO_SIZE;
    const enum cdo_fault fault = check_command(code_of(file[at]), file + at + 1, size);
    if (fault != CDO_FINE) return fault;
    at += 1 + size;
  }
  *command = 0;
  return at + 1 == checksum && count == file[COMMANDS] && count <= MOST_COMMANDS ? CDO_FINE : CDO_END;
}

static void wait(uint32_t microseconds) {
  const uint32_t begin = plm_microseconds();
  while (plm_microseconds() - begin < microseconds) continue;
}

static enum cdo_fault poll(const uint32_t *arguments) {
  const uint32_t begin = plm_microseconds();
  for (;;) {
    /* the time first, so that a register that is late by no more than the look at it counts */
    const uint32_t passed = plm_microseconds() - begin;
    if ((plm_read(arguments[0]) & arguments[1]) == arguments[2]) return CDO_FINE;
    if (passed >= arguments[3]) return CDO_TIMEOUT;
  }
}

static enum cdo_fault run_command(uint32_t code, const uint32_t *arguments, uint32_t size) {
  switch (code) {
    case WRITE:
      plm_write(arguments[0], arguments[1]);
      break;
    case MASKED_WRITE:
      plm_write(arguments[0], (plm_read(arguments[0]) & ~arguments[1]) | arguments[2]);
      break;
    case POLL:
      return poll(arguments);
    case DELAY:
      wait(arguments[0]);
      break;
    case BLOCK_WRITE:
      for (uint32_t word = 1; word < size; ++word) plm_write(arguments[0] + 4 * (word - 1), arguments[word]);
      break;
    default: /* a section */
      break;
  }
  return CDO_FINE;
}

enum cdo_fault cdo_run(const uint32_t *file, uint32_t *command) {
  *command = 0;
  for (const uint32_t *at = file + HEAD_WORDS; *at != END; at += 1 + size_of(*at)) {
    ++*command;
    const enum cdo_fault fault = run_command(code_of(*at), at + 1, size_of(*at));
    if (fault != CDO_FINE) return fault;
  }
  return CDO_FINE;
}
