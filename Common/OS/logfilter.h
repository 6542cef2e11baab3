#ifndef COMMON_OS_LOGFILTER_H
#define COMMON_OS_LOGFILTER_H

/// Internal. Whether the filters, whose tables logmsg.h describes, drop a complete record. An empty
/// record is dropped without any.
[[nodiscard]] bool logmsg_filter_out(const char* record);

#endif
