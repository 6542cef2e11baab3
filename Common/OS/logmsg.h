#ifndef COMMON_OS_LOGMSG_H
#define COMMON_OS_LOGMSG_H

#include <cstdarg>

/// Log facility of the process: levelled, printf-style calls become records of at most 2048 bytes
/// (NUL included, longer text is cut) that go to the log device "/dev/vexolog", each in one write:
///
///     <3>AppConfig: hd[0]: appconfig: the text
///
/// that is level mark, application, processor number in hexadecimal, component and text. When the
/// device cannot be opened, and on a unit whose index (vireoidx.h) is not 0, records are printed on
/// standard output; a missing device is tried again with every record.
///
/// A record ends with the call whose *format* contains a newline; a newline in an argument ends
/// nothing. Text of calls before that waits in a buffer of the calling thread, and the record keeps
/// the level and the component of the call that began it.
///
/// Threads: logmsg_init() once, before other threads log. Records may then be written by any
/// thread; switches and filters are not locked, so change them from one thread only.
///
/// A program that also links logmsg_printf.cpp has its printf() output logged, at debug level and
/// without a component.

/// Log calls. Levels are syslog priorities.
/// @param component  part of the system that logs; null: the record names none
/// @param fmt        null: nothing is logged
/// @return length of the record so far, its prefix included and, when it was printed, its line
///         ending not; 2048 for one that was cut; 0 when nothing was logged (before logmsg_init(),
///         which also writes a warning to standard error; bare "\n" with no text waiting; no memory
///         for waiting text, which is then lost)
[[gnu::format(printf, 2, 3)]] int logcrit(const char* component, const char* fmt, ...);   ///< 2
[[gnu::format(printf, 2, 3)]] int logerr(const char* component, const char* fmt, ...);    ///< 3
[[gnu::format(printf, 2, 3)]] int logwarn(const char* component, const char* fmt, ...);   ///< 4
[[gnu::format(printf, 2, 3)]] int loginfo(const char* component, const char* fmt, ...);   ///< 6
[[gnu::format(printf, 2, 3)]] int logdebug(const char* component, const char* fmt, ...);  ///< 7
/// @param level  0 to 7; 101: the text carries its own prefix and gets none; any other is taken as
/// 7
[[gnu::format(printf, 3, 4)]] int logmsg(int level, const char* component, const char* fmt, ...);
/// What printf() becomes: level 7, no component.
[[gnu::format(printf, 1, 2)]] int os_printf(const char* fmt, ...);
/// A record of another processor, which begins with its own level mark: level 101.
[[gnu::format(printf, 1, 2)]] int logmsg_remote(const char* fmt, ...);
/// What all of them call. `ap` is indeterminate afterwards, as after vprintf().
[[gnu::format(printf, 4, 0)]] int va_logmsg(va_list ap, int level, const char* component,
                                            const char* fmt);

/// Opens the facility. Called once, at start-up. From here on the process ignores SIGPIPE and
/// SIGXFSZ: a write that fails, of a record or of anything else, returns its error and no more.
/// @param processorNum  written into every record
/// @param pAppName      written into every record, cut to 39 characters; copied. Null or empty: the
///                      name under which the process was started
void logmsg_init(int processorNum, const char* pAppName);
/// Does nothing: device and buffers belong to the process until it ends.
void logmsg_shutdown();
/// @return the name in force, empty before logmsg_init(); valid for the life of the process
const char* logmsg_get_appname();

/// Whether records go to the device; on (1) at start. The setters return 0.
int logmsg_set_syslog_echo(int on);
int logmsg_get_syslog_echo();
/// Kept for callers; the facility itself does not use it. 0 at start.
int logmsg_set_spewfilter(int on);
int logmsg_get_spewfilter();
/// Kept for callers; the facility itself does not use it. 8 at start.
int logmsg_set_format(int format);
int logmsg_get_format();

/// Filters. While the show table holds a pattern, only records that contain one of its patterns are
/// printed; records that contain a pattern of the cull table are not. A pattern is found anywhere
/// in a record, its prefix included; letter case matters. Each table has logmsg_max_filters()
/// (10) slots for patterns of up to 369 characters; longer ones are cut.

int logmsg_max_filters();
/// Puts the pattern into the first free slot, even when the table already has it. Null or empty:
/// nothing changes. @return 0; -1 when the table is full, which is also printed on standard output
int logmsg_showfilter_add(const char* pShowFilter);
int logmsg_cullfilter_add(const char* pCullFilter);
/// Removes the first equal pattern, letter case ignored, or all with "*". @return 0, also when
/// there is none, which is printed on standard output
int logmsg_showfilter_delete(const char* pShowFilter);
int logmsg_cullfilter_delete(const char* pCullFilter);
/// @return the pattern of slot `i`, valid until the slot changes; "" when it is free or `i` is not
///         from 0 to 9
const char* logmsg_showfilter_get(int i);
const char* logmsg_cullfilter_get(int i);
/// Prints the patterns on standard output. @return 0
int logmsg_showfilter_dump();
int logmsg_cullfilter_dump();

#endif
