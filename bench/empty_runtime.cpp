#include <windows.h>

// Nothing but the C runtime's own start and end.
BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID) {
    return TRUE;
}
