// Placement figures of block memories: how many primitives of each size a memory takes, the inputs of its output
// multiplexer, and its power.
//
// All ten functions take the same words, `argc` of them, as pairs of a name and a value that describe one memory
// (docs/notes/bmg.md lists them). They do not change the words and keep no pointer to them. The result is the
// figure, or a negative code whose meaning bmg/host/tiling.h gives; `*status` receives 0 or the same code unless
// `status` is null. A failure also sends a message that names the word at fault. No function throws.
//
// The figures of one memory belong together: the functions describe the same tiling.
#pragma once

#include "kdi/common/KdiDoor.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Number of primitives of 9, 18 and 36 kilobits in the memory's tiling.
KDI_DOOR int Ip_blk_mem_gen_v8_3_placement_algo_num_prims_9(int argc, char** argv, int* status);
KDI_DOOR int Ip_blk_mem_gen_v8_3_placement_algo_num_prims_18(int argc, char** argv, int* status);
KDI_DOOR int Ip_blk_mem_gen_v8_3_placement_algo_num_prims_36(int argc, char** argv, int* status);
/// Inputs of the widest output multiplexer of a bit: 1 where one primitive holds the whole depth.
KDI_DOOR int Ip_blk_mem_gen_v8_3_placement_algo_mux_size(int argc, char** argv, int* status);
/// Power of the memory's primitives in mW, rounded up.
KDI_DOOR int Ip_blk_mem_gen_v8_3_placement_algo_power_report(int argc, char** argv, int* status);

KDI_DOOR int Ip_blk_mem_gen_v8_4_placement_algo_num_prims_9(int argc, char** argv, int* status);
KDI_DOOR int Ip_blk_mem_gen_v8_4_placement_algo_num_prims_18(int argc, char** argv, int* status);
KDI_DOOR int Ip_blk_mem_gen_v8_4_placement_algo_num_prims_36(int argc, char** argv, int* status);
KDI_DOOR int Ip_blk_mem_gen_v8_4_placement_algo_mux_size(int argc, char** argv, int* status);
KDI_DOOR int Ip_blk_mem_gen_v8_4_placement_algo_power_report(int argc, char** argv, int* status);

#ifdef __cplusplus
}
#endif
