#include "countdown.h"

namespace authmodule {

std::uint64_t SecondsLeft(std::uint64_t deadlineMs, std::uint64_t nowMs) {
    return nowMs >= deadlineMs ? 0 : (deadlineMs - nowMs + 999) / 1000;
}

std::wstring CountdownText(std::uint64_t secondsLeft) {
    return L"Closes in " + std::to_wstring(secondsLeft) + (secondsLeft == 1 ? L" second" : L" seconds");
}

} // namespace authmodule
