#include "nomemory.h"

#include <cstdlib>
#include <new>

thread_local bool gNoMemory = false;

void* operator new(std::size_t nBytes) {
    void* const bytes = gNoMemory ? nullptr : std::malloc(nBytes);
    return bytes == nullptr ? throw std::bad_alloc() : bytes;
}
void operator delete(void* bytes) noexcept { std::free(bytes); }
void operator delete(void* bytes, std::size_t /*nBytes*/) noexcept { std::free(bytes); }
