#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace zelto::test {

// A secret of 48 characters that stands nowhere in this process's memory: it is kept masked, and each character is
// unmasked for itself.
class MaskedSecret {
public:
    // Another `seed` gives another secret.
    explicit MaskedSecret(unsigned seed);

    static constexpr std::size_t kSize = 48;

    // The secret's characters as hex digits.
    std::string Hex() const;

    // True when the kSize bytes at `bytes` are the secret.
    bool Is(const char* bytes) const;

    // True when a window of 16 characters of the secret begins at `bytes`: at its begin, in its middle, or at its end.
    bool HasWindowAt(const unsigned char* bytes) const;

    // Whether a window can begin with this byte.
    bool MayBeginWith(unsigned char byte) const { return begins_[byte]; }

private:
    unsigned char At(std::size_t index) const;

    unsigned char masked_[kSize];
    bool begins_[256] = {};
};

// A part of memory.
struct Region {
    const void* begin;
    std::size_t size;
};

// Searches all readable memory of this process, stacks and freed memory included, for windows of `secret` outside of
// `exceptions`. Allocates nothing: that might write over what it is to find. The result (the first 1,000) is good until the
// next call.
std::span<const Region> FindCopies(const MaskedSecret& secret, std::span<const Region> exceptions);

} // namespace zelto::test
