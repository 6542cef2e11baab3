#ifndef COMMON_OS_VIREOIDX_H
#define COMMON_OS_VIREOIDX_H

/// Index of this unit. Read from "/tmp/vireo-idx.txt" (one decimal number in text, anything after
/// it ignored) on the first call and kept for the life of the process. Not locked: the first call
/// is made at start-up, before other threads log.
/// @return 0 or more; 0 also when the file is missing, holds no number or a negative one
int get_vireo_idx();

#endif
