/* Registers that behave, for the loader under an emulator: what RegisterMemory does (register_memory.h), over tables
   that the test makes (EMULATED_TABLES). At the end it writes the report and every register, through the debugger's
   channel of ARM processors ("semihosting"), and stops the emulator. */
#include "data/software/tavrel_plm/access.h"
#include EMULATED_TABLES

static uint32_t words[REGISTERS];
static struct { uint32_t reads_left, is_starting, is_steady; } plls[PLLS];
static uint32_t time;
static int is_begun;

static uint32_t call_host(uint32_t operation, const void* argument) {
  register uint32_t r0 __asm__("r0") = operation;
  register const void* r1 __asm__("r1") = argument;
  __asm__ volatile("bkpt 0xAB" : "+r"(r0) : "r"(r1) : "memory");
  return r0;
}

static void put(const char* before, uint32_t value) {
  char text[16];
  int at = 0;
  for (; *before != '\0'; ++before) text[at++] = *before;
  for (int shift = 28; shift >= 0; shift -= 4) text[at++] = "0123456789abcdef"[value >> shift & 15];
  text[at++] = '\n';
  text[at] = '\0';
  call_host(0x04, text); /* SYS_WRITE0 */
}

void plm_end(const struct plm_report* report) {
  put("fault ", report->fault);
  put("command ", report->command);
  for (uint32_t i = 0; i < REGISTERS; ++i) put("", words[i]);
  call_host(0x18, (const void*)(uintptr_t)0x20026); /* SYS_EXIT, ended by itself */
  for (;;) continue;
}

uint32_t plm_microseconds(void) { return time++; }

/* What hardware would not do. */
static void fail(void) {
  const struct plm_report report = {PLM_REPORT, 0xFFFFFFFEu, 0};
  plm_end(&report);
}

static uint32_t find(uint32_t address) {
  if (!is_begun)
    for (uint32_t i = 0; i < REGISTERS; ++i) words[i] = registers[i].reset;
  is_begun = 1;
  uint32_t low = 0, high = REGISTERS;
  while (low < high) {
    const uint32_t middle = low + (high - low) / 2;
    if (registers[middle].address < address)
      low = middle + 1;
    else
      high = middle;
  }
  if (low < REGISTERS && registers[low].address == address) return low;
  fail(); /* no such register */
  return 0;
}

uint32_t plm_read(uint32_t address) {
  const uint32_t reg = find(address);
  for (uint32_t i = 0; i < PLLS; ++i) {
    if (pll_tables[i].status_reg != reg || !plls[i].is_starting || --plls[i].reads_left > 0) continue;
    plls[i].is_starting = 0;
    plls[i].is_steady = 1;
    words[reg] |= pll_tables[i].status;
  }
  return words[reg];
}

static void follow(uint32_t reg, uint32_t before) {
  for (uint32_t i = 0; i < PLLS; ++i) {
    const int is_control = pll_tables[i].reg == reg;
    int is_setting = 0;
    for (uint32_t j = 0; j < pll_tables[i].settings_count; ++j) is_setting |= pll_tables[i].settings[j] == reg;
    if ((!is_control && !is_setting) || words[reg] == before) continue;
    const uint32_t control = words[pll_tables[i].reg], was = is_control ? before : control;
    if ((was & pll_tables[i].reset) != 0 && (control & pll_tables[i].reset) == 0) {
      plls[i].reads_left = READS_TO_LOCK;
      plls[i].is_starting = (control & pll_tables[i].bypass) != 0;
      plls[i].is_steady = 0;
      continue;
    }
    if (is_setting && (control & pll_tables[i].reset) == 0) fail();
    if (is_control && (was & pll_tables[i].reset) == 0 && (control & pll_tables[i].reset) != 0 && plls[i].is_steady &&
        (control & pll_tables[i].bypass) == 0)
      fail();
    const int is_used_early = is_control && (control & pll_tables[i].bypass) == 0 && !plls[i].is_steady;
    if ((control & pll_tables[i].reset) == 0 && !is_used_early && !is_setting) continue;
    plls[i].reads_left = plls[i].is_starting = plls[i].is_steady = 0;
    words[pll_tables[i].status_reg] &= ~pll_tables[i].status;
  }
}

void plm_write(uint32_t address, uint32_t value) {
  const uint32_t reg = find(address);
  for (uint32_t i = 0; i < LOCKS; ++i)
    if (locks[i].block == registers[reg].block && locks[i].reg != reg && words[locks[i].reg] != locks[i].key) return;
  for (uint32_t i = 0; i < PLLS; ++i)
    if (pll_tables[i].status_reg == reg) return;
  const uint32_t before = words[reg];
  words[reg] = value;
  follow(reg, before);
}
