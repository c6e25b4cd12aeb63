/* What compilers call for structures and arrays, without a library. */
#include <stddef.h>

void *memcpy(void *to, const void *from, size_t size);
void *memset(void *to, int value, size_t size);

void *memcpy(void *to, const void *from, size_t size) {
  unsigned char *out = to;
  const unsigned char *in = from;
  while (size-- > 0) *out++ = *in++;
  return to;
}

void *memset(void *to, int value, size_t size) {
  unsigned char *out = to;
  while (size-- > 0) *out++ = (unsigned char)value;
  return to;
}

void __aeabi_memcpy(void *to, const void *from, size_t size);
void __aeabi_memcpy4(void *to, const void *from, size_t size);
void __aeabi_memclr(void *to, size_t size);
void __aeabi_memclr4(void *to, size_t size);

void __aeabi_memcpy(void *to, const void *from, size_t size) { memcpy(to, from, size); }
void __aeabi_memcpy4(void *to, const void *from, size_t size) { memcpy(to, from, size); }
void __aeabi_memclr(void *to, size_t size) { memset(to, 0, size); }
void __aeabi_memclr4(void *to, size_t size) { memset(to, 0, size); }
