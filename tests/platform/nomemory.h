#ifndef TESTS_PLATFORM_NOMEMORY_H
#define TESTS_PLATFORM_NOMEMORY_H

/// While it is true, this thread gets no memory from operator new.
extern thread_local bool gNoMemory;

#endif
