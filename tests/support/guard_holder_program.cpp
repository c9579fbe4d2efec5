// Holds the guard of an export, whose name it is given, as a program of its own: from the moment it signals
// "holds" until it is told to end.

#include <windows.h>

int main(int count, char** arguments) {
    const HANDLE guard = CreateMutexA(nullptr, FALSE, count == 2 ? arguments[1] : nullptr);
    const HANDLE holds = OpenEventW(EVENT_MODIFY_STATE, FALSE, L"zelto test guard holder holds");
    const HANDLE end = OpenEventW(SYNCHRONIZE, FALSE, L"zelto test guard holder end");
    if (guard == nullptr || holds == nullptr || end == nullptr) {
        return 1;
    }
    SetEvent(holds);
    WaitForSingleObject(end, 60'000);
    return 0; // the system closes the handles
}
