#include "trace/file_choice.h"

namespace zelto {
namespace {

std::int32_t Low32(std::uint64_t value) noexcept {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

} // namespace

FileChoice ChooseFile(const FileFacts& first, const FileFacts& second, std::uint64_t limitMiB) noexcept {
    const std::int32_t limit = Low32(limitMiB << 20);
    if (first.modified < second.modified) {
        return Low32(second.size) < limit ? FileChoice::TakeSecond : FileChoice::DeleteFirstTakeFirst;
    }
    return Low32(first.size) < limit ? FileChoice::TakeFirst : FileChoice::DeleteSecondTakeSecond;
}

} // namespace zelto
