#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace authmodule {

// The library's memory block, mapped for as long as the object lives.
class ReceiverBlock {
public:
    // `receiver` is the value of an inherited handle. None when it is not the handle of such a block.
    static std::optional<ReceiverBlock> Open(std::uint64_t receiver);

    ReceiverBlock(ReceiverBlock&& other) noexcept;
    ReceiverBlock& operator=(ReceiverBlock&&) = delete;
    ReceiverBlock(const ReceiverBlock&) = delete;
    ReceiverBlock& operator=(const ReceiverBlock&) = delete;
    ~ReceiverBlock();

    // Puts the bytes at the block's start, as many of them as it holds.
    void Write(std::string_view bytes);

    // The same with a zero byte behind them, which ends the text whatever was in the block before.
    void WriteText(std::string_view text);

private:
    explicit ReceiverBlock(char* view) noexcept : view_(view) {}

    char* view_;
};

} // namespace authmodule
