#ifndef COMMON_OS_OSPATHS_H
#define COMMON_OS_OSPATHS_H

/// Internal. Where the modules of this directory find their files. Exists for the tests, which
/// point both elsewhere before the first use; nothing else writes them.
extern const char* gLogDevicePath;  ///< log device, read by logmsg_init() and by every late open
extern const char* gVireoIdxPath;   ///< index file, read by the first get_vireo_idx()

#endif
