/* What the processor meets first: its vectors, and the way from a reset to plm_main. */
#include <stdint.h>

#include "access.h"

/* From the linker script. */
extern uint32_t plm_data[], plm_data_end[], plm_zero[], plm_zero_end[], plm_stack[];
extern const uint32_t plm_data_image[];

void plm_main(void);
void plm_reset(void);
void plm_trap(void);

void plm_reset(void) {
  const uint32_t *from = plm_data_image;
  for (uint32_t *to = plm_data; to != plm_data_end; ++to) *to = *from++;
  for (uint32_t *to = plm_zero; to != plm_zero_end; ++to) *to = 0;
  plm_main();
  for (;;) continue;
}

/* A register that is not there, or another fault of the processor. */
void plm_trap(void) {
  const struct plm_report report = {PLM_REPORT, 0xFFFFFFFFu, 0};
  plm_end(&report);
}

__attribute__((section(".vectors"), used)) static void (*const vectors[])(void) = {
    (void (*)(void))plm_stack, plm_reset, plm_trap, plm_trap, plm_trap, plm_trap, plm_trap, plm_trap,
    plm_trap, plm_trap, plm_trap, plm_trap, plm_trap, plm_trap, plm_trap, plm_trap};
