#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace zelto {

// Overwrites `size` bytes with zeros, in a way that the compiler does not drop although nobody reads them
// again.
void Wipe(void* bytes, std::size_t size) noexcept;

// An allocator that wipes what it frees, so that growing, shrinking, moving and destroying leave nothing
// behind.
template <class Value>
struct WipingAllocator {
    using value_type = Value;

    WipingAllocator() = default;
    template <class Other>
    WipingAllocator(const WipingAllocator<Other>&) noexcept {}

    Value* allocate(std::size_t count) { return std::allocator<Value>().allocate(count); }
    void deallocate(Value* values, std::size_t count) noexcept {
        Wipe(values, count * sizeof(Value));
        std::allocator<Value>().deallocate(values, count);
    }

    template <class Other>
    bool operator==(const WipingAllocator<Other>&) const noexcept {
        return true;
    }
};

// Bytes that are wiped before their storage is freed. A vector keeps nothing inside itself, so a moved-from
// one holds nothing.
using SecretBytes = std::vector<unsigned char, WipingAllocator<unsigned char>>;

// Narrow text that is wiped before its storage is freed: answers, passwords, tokens, and whatever is cut out
// of them. Unlike std::string it keeps no short text inside the object, where a move would leave a copy. May
// hold zero bytes; not copyable by accident.
class SecretText {
public:
    SecretText() = default;
    // Throws std::bad_alloc.
    explicit SecretText(std::string_view text);
    SecretText(SecretText&&) noexcept = default;
    SecretText& operator=(SecretText&&) noexcept = default;
    SecretText(const SecretText&) = delete;
    SecretText& operator=(const SecretText&) = delete;
    ~SecretText() = default;

    std::string_view View() const noexcept;

    // Zero-terminated; valid until the text is changed, moved or destroyed.
    const char* CString() const noexcept;

private:
    std::vector<char, WipingAllocator<char>> characters_; // with a terminator; empty for the empty text
};

} // namespace zelto
