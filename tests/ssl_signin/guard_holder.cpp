// Holds the guard of the SSL-VPN sign-in as a program of its own, from the moment it signals "holds" until it
// is told to end.

#include <windows.h>

int main() {
    const HANDLE guard = CreateMutexW(nullptr, FALSE, L"GetSslSamlDataExternalBrowser");
    const HANDLE holds = OpenEventW(EVENT_MODIFY_STATE, FALSE, L"zelto test guard holder holds");
    const HANDLE end = OpenEventW(SYNCHRONIZE, FALSE, L"zelto test guard holder end");
    if (guard == nullptr || holds == nullptr || end == nullptr) {
        return 1;
    }
    SetEvent(holds);
    WaitForSingleObject(end, 60'000);
    return 0; // the system closes the handles
}
