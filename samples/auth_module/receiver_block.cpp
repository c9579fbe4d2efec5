#include "receiver_block.h"

#include "record_layout.h"

#include <algorithm>
#include <utility>
#include <windows.h>

namespace authmodule {

std::optional<ReceiverBlock> ReceiverBlock::Open(std::uint64_t receiver) {
    const auto handle = reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(receiver));
    void* const view = MapViewOfFile(handle, FILE_MAP_WRITE, 0, 0, kBlockSize);
    if (view == nullptr) {
        return std::nullopt;
    }
    return ReceiverBlock(static_cast<char*>(view));
}

ReceiverBlock::ReceiverBlock(ReceiverBlock&& other) noexcept : view_(std::exchange(other.view_, nullptr)) {}

ReceiverBlock::~ReceiverBlock() {
    if (view_ != nullptr) {
        UnmapViewOfFile(view_);
    }
}

void ReceiverBlock::Write(std::string_view bytes) {
    std::copy_n(bytes.data(), std::min(bytes.size(), kBlockSize), view_);
}

void ReceiverBlock::WriteText(std::string_view text) {
    Write(text);
    if (text.size() < kBlockSize) {
        view_[text.size()] = '\0';
    }
}

} // namespace authmodule
