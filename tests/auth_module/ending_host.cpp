// A host process that ends while the library waits for an auth module, which the named event says to be running:
//   auth_module_ending_host LIBRARY launch    a thread of the host's waits
//   auth_module_ending_host LIBRARY worker    the library's own worker waits
// Its exit code is then 77.

#include "zelto_auth.h"

#include <cstring>
#include <thread>
#include <windows.h>

namespace {

constexpr UINT kEnded = 77;
constexpr UINT kNotStarted = 1;

std::uint32_t Ignore(void*, std::uint32_t, const char*) {
    return 0;
}

} // namespace

int main(int count, char** arguments) {
    const HMODULE library =
        count == 3 ? LoadLibraryExA(arguments[1], nullptr, LOAD_WITH_ALTERED_SEARCH_PATH) : nullptr;
    const HANDLE running = OpenEventA(SYNCHRONIZE, FALSE, "zelto test module started");
    if (library == nullptr || running == nullptr) {
        return kNotStarted;
    }
    const auto prompt = reinterpret_cast<decltype(&TwoFactorAuthGetResponse)>(
        reinterpret_cast<void*>(GetProcAddress(library, "TwoFactorAuthGetResponse")));
    if (std::strcmp(arguments[2], "worker") == 0) {
        prompt("", nullptr, 0, 1000, &Ignore, nullptr);
    } else {
        std::thread([prompt] { prompt("", nullptr, 0, 1000, nullptr, nullptr); }).detach();
    }
    ExitProcess(WaitForSingleObject(running, 60'000) == WAIT_OBJECT_0 ? kEnded : kNotStarted);
}
