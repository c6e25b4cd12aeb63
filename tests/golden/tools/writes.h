#ifndef REGS_H
#define REGS_H

#include <stdint.h>

#define REGS_WRITES 2

/* Addresses, each with its data, in the order of the writes. */
static const uint32_t regs[REGS_WRITES][2] = {
  {0x0000000cu, 0x00000000u}, /* AXIS_WIDTH */
  {0x00000020u, 0x0000007fu}, /* IER: Enable all interrupts */
};

#endif
