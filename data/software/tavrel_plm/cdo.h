/* Files of configuration commands in their binary form (docs/cdo.md). */
#ifndef PLM_CDO_H
#define PLM_CDO_H

#include <stdint.h>

enum cdo_fault {
  CDO_FINE = 0,
  CDO_NO_FILE = 1,      /* does not begin as one */
  CDO_LENGTH = 2,       /* longer than its place, or shorter than a head and an end */
  CDO_CHECKSUM = 3,     /* a byte has changed */
  CDO_VERSION = 4,      /* of another version */
  CDO_UNKNOWN = 5,      /* a command that there is not */
  CDO_SIZE = 6,         /* a command that is longer or shorter than its kind, or reaches behind the file */
  CDO_ADDRESS = 7,      /* no multiple of 4, or registers behind the last address */
  CDO_BITS = 8,         /* a value with bits outside of its mask */
  CDO_TIME = 9,         /* longer than any command may take */
  CDO_NAME = 10,        /* of a section */
  CDO_END = 11,         /* no end, one before the file's, or another number of commands */
  CDO_TIMEOUT = 12      /* a register that did not become what was waited for */
};

/* Looks at all of a file that has at most `most` words: nothing of one with a fault may be carried out. `command` is set
   to the number of the command with the fault, from 1; 0 if it is none of a command. */
enum cdo_fault cdo_check(const uint32_t *file, uint32_t most, uint32_t *command);

/* Carries out a file without fault, over the functions of access.h. `command` is set to the number of commands that
   were carried out, or to that of the poll that was in vain: what follows that one is not done. */
enum cdo_fault cdo_run(const uint32_t *file, uint32_t *command);

#endif
