#pragma once

#include "tests/auth_module/auth_module_test.h"

namespace zelto::test {

// The receiver number that the records of make_records.py are made for (see CMakeLists.txt).
inline constexpr std::uintptr_t kReceiver = ZELTO_TEST_RECEIVER;

// Plays an auth module that has ended at once: the block has the receiver number kReceiver and holds `block` when the
// library looks at it. Nothing is started.
class ChannelTest : public AuthModuleTest {
protected:
    ChannelTest();
    ~ChannelTest() override;

    // The block's bytes from now on, at most 65,536.
    void Block(const std::string& bytes);

    // What a two-factor prompt gives with this block: `size` bytes of its buffer, 0xCC where nothing was
    // written. Its result is the ended module's exit code, 0.
    std::string Token(std::size_t size);

    // How many handles of block, process and thread the library holds.
    static std::size_t HandlesInUse();

    // A sound record for kReceiver; its plaintext is 102 bytes long.
    std::string SoundBlock() const;
};

// One line of the file that make_records.py writes.
struct MadeRecord {
    std::string name;
    std::string nRet;      // "0", a failure, or "any" failure
    std::string plaintext; // of a success
    std::string block;
};
std::vector<MadeRecord> MadeRecords();

} // namespace zelto::test
