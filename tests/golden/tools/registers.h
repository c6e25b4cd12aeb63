#ifndef REGISTERS_H
#define REGISTERS_H

/* How large the memory is. */
#define XRAM_XRAM_SIZE_ADDRESS 0xf8000000u
#define XRAM_XRAM_SIZE_RESET 0x00000000u
#define XRAM_XRAM_SIZE_VALUE 0x00000002u
/* Whether and how often memory is read for errors. */
#define XRAM_XRAM_SCRUB_ADDRESS 0xf8000008u
#define XRAM_XRAM_SCRUB_RESET 0x00000000u
#define XRAM_XRAM_SCRUB_VALUE 0x00000000u
/* What reading for errors takes. */
#define XRAM_XRAM_SCRUB_LOAD_ADDRESS 0xf800000cu
#define XRAM_XRAM_SCRUB_LOAD_RESET 0x00000000u
#define XRAM_XRAM_SCRUB_LOAD_VALUE 0x00000000u

#endif
