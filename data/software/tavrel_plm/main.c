/* The loader: carries out the configuration that was put into its window, all of it or, where the file is damaged,
   nothing. */
#include "access.h"
#include "cdo.h"

/* From the linker script. */
extern const uint32_t plm_window[];
extern const uint32_t plm_window_end[];

void plm_main(void);

void plm_main(void) {
  struct plm_report report = {PLM_REPORT, CDO_FINE, 0};
  report.fault = cdo_check(plm_window, (uint32_t)(plm_window_end - plm_window), &report.command);
  if (report.fault == CDO_FINE) report.fault = cdo_run(plm_window, &report.command);
  plm_end(&report);
}
