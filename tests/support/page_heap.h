#pragma once

#include <cstddef>
#include <windows.h>

namespace zelto::test {

// A heap for one module that marks what is freed: each block has memory pages of its own, which are taken away when it
// is freed and never given out again. Whoever touches freed memory, by reading or writing, ends the program with an
// access violation. The end of a block is the end of its last page but for 15 bytes.
//
// Blocks that the module allocated before are freed as usual.

// Has `module` allocate from this heap from now on, until it is unmapped.
void UsePageHeap(HMODULE module);

// Blocks that were allocated and freed so far, in the whole program.
std::size_t PageHeapAllocations();
std::size_t PageHeapFrees();

// What the module calls instead of malloc, calloc, realloc and free.
void* __cdecl PageHeapAllocate(std::size_t size);
void* __cdecl PageHeapAllocateZeroed(std::size_t count, std::size_t size);
void* __cdecl PageHeapReallocate(void* block, std::size_t size);
void __cdecl PageHeapFree(void* block);

} // namespace zelto::test
