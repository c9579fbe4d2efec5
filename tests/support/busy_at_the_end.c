// Ends with exit code 7 while another thread is busy with code of the program.

#include <windows.h>

static volatile LONG counted;

static DWORD WINAPI CountForEver(LPVOID unused) {
    (void)unused;
    for (;;) {
        ++counted;
    }
}

int main(void) {
    HANDLE thread = CreateThread(NULL, 0, CountForEver, NULL, 0, NULL);
    if (thread == NULL) {
        return 1;
    }
    while (counted == 0) {
        SwitchToThread();
    }
    CloseHandle(thread);
    return 7;
}
