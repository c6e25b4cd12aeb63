/* The registers of the device, as the platform controller reaches them. */
#include "access.h"

/* The controller's counter of microseconds; the linker script says where it is, and where the report goes. */
extern volatile uint32_t plm_counter;
extern volatile struct plm_report plm_report_place;

uint32_t plm_read(uint32_t address) { return *(volatile uint32_t *)(uintptr_t)address; }

void plm_write(uint32_t address, uint32_t value) { *(volatile uint32_t *)(uintptr_t)address = value; }

uint32_t plm_microseconds(void) { return plm_counter; }

void plm_end(const struct plm_report *report) {
  plm_report_place.fault = report->fault;
  plm_report_place.command = report->command;
  plm_report_place.magic = report->magic; /* last: who waits for it finds the rest */
  for (;;) __asm__ volatile("wfi");
}
