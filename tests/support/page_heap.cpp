#include "tests/support/page_heap.h"

#include "tests/support/import_patch.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <stdexcept>

namespace zelto::test {
namespace {

constexpr std::size_t kReserved = std::size_t{2} << 30;
constexpr std::size_t kPage = 4096;
constexpr std::size_t kAlignment = 16;

struct Pages {
    unsigned char* first;
    std::size_t bytes;
    std::size_t size; // of the block that lies at their end
};

std::mutex lock;
std::map<void*, Pages> blocks;
unsigned char* next = nullptr;
unsigned char* end = nullptr;
std::size_t allocations = 0;
std::size_t frees = 0;

std::size_t RoundUp(std::size_t size, std::size_t unit) {
    return (size + unit - 1) / unit * unit;
}

// With the lock held.
bool ReserveOnce() {
    if (next == nullptr) {
        next = static_cast<unsigned char*>(VirtualAlloc(nullptr, kReserved, MEM_RESERVE, PAGE_NOACCESS));
        end = next == nullptr ? nullptr : next + kReserved;
    }
    return next != nullptr;
}

// A function that the module does not import is nobody's source of blocks.
template <class Function>
void ReplaceIfImported(HMODULE module, const char* name, Function* replacement) {
    if (!ImportsFunction(module, name)) {
        return;
    }
    // Never restored, and so never destroyed: blocks of this heap must not reach another one.
    static_cast<void>(new ImportPatch(module, name, replacement));
}

} // namespace

void UsePageHeap(HMODULE module) {
    ReplaceIfImported(module, "malloc", &PageHeapAllocate);
    ReplaceIfImported(module, "calloc", &PageHeapAllocateZeroed);
    ReplaceIfImported(module, "realloc", &PageHeapReallocate);
    ReplaceIfImported(module, "free", &PageHeapFree);
}

std::size_t PageHeapAllocations() {
    const std::lock_guard guard(lock);
    return allocations;
}

std::size_t PageHeapFrees() {
    const std::lock_guard guard(lock);
    return frees;
}

void* __cdecl PageHeapAllocate(std::size_t size) {
    const std::lock_guard guard(lock);
    const std::size_t used = RoundUp(std::max<std::size_t>(size, 1), kAlignment);
    const std::size_t bytes = RoundUp(used, kPage);
    if (!ReserveOnce() || bytes > static_cast<std::size_t>(end - next) ||
        VirtualAlloc(next, bytes, MEM_COMMIT, PAGE_READWRITE) == nullptr) {
        return nullptr;
    }
    void* block = next + bytes - used;
    std::memset(next, 0xCD, bytes);
    blocks[block] = {next, bytes, size};
    next += bytes;
    ++allocations;
    return block;
}

void* __cdecl PageHeapAllocateZeroed(std::size_t count, std::size_t size) {
    if (size != 0 && count > SIZE_MAX / size) {
        return nullptr;
    }
    void* block = PageHeapAllocate(count * size);
    return block == nullptr ? nullptr : std::memset(block, 0, count * size);
}

void* __cdecl PageHeapReallocate(void* block, std::size_t size) {
    std::size_t former = 0;
    if (block != nullptr) {
        const std::lock_guard guard(lock);
        const auto found = blocks.find(block);
        if (found == blocks.end()) {
            return std::realloc(block, size);
        }
        former = found->second.size;
    }
    void* fresh = PageHeapAllocate(size);
    if (fresh != nullptr && block != nullptr) {
        std::memcpy(fresh, block, std::min(former, size));
        PageHeapFree(block);
    }
    return fresh;
}

void __cdecl PageHeapFree(void* block) {
    if (block == nullptr) {
        return;
    }
    const std::lock_guard guard(lock);
    const auto found = blocks.find(block);
    if (found == blocks.end()) {
        std::free(block);
        return;
    }
    VirtualFree(found->second.first, found->second.bytes, MEM_DECOMMIT);
    blocks.erase(found);
    ++frees;
}

} // namespace zelto::test
