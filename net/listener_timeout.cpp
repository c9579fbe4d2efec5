#include "net/listener_timeout.h"

namespace zelto {

std::uint32_t WholeSeconds(std::uint32_t milliseconds) noexcept {
    return milliseconds / 1000;
}

std::int64_t RelativeDueTime(std::uint32_t seconds) noexcept {
    return std::int64_t{seconds} * -10'000'000;
}

} // namespace zelto
