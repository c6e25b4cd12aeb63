/* What the loader needs of the hardware that it runs on: registers, time, and an end. access.c is that of the platform
   controller; a test or a simulator puts its own in the place. */
#ifndef PLM_ACCESS_H
#define PLM_ACCESS_H

#include <stdint.h>

uint32_t plm_read(uint32_t address);
void plm_write(uint32_t address, uint32_t value);

/* A counter of microseconds that runs on behind its last value with 0. */
uint32_t plm_microseconds(void);

/* What a run came to: 0 and the number of commands that were carried out, or a fault and the command that it is of. */
struct plm_report {
  uint32_t magic;   /* PLM_REPORT, once the rest is there */
  uint32_t fault;   /* enum cdo_fault */
  uint32_t command; /* from 1; 0 for a fault of the file as a whole */
};
#define PLM_REPORT 0x504C4D52u /* "PLMR" */

/* Leaves the report where the host finds it, and does not come back. */
void plm_end(const struct plm_report *report);

#endif
