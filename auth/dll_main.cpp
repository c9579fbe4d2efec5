#include "auth/module.h"
#include "auth/process_objects.h"
#include "trace/library_trace.h"

#include <windows.h>

// The library's entry point. Thread notifications are left on: the linked-in C++ runtime needs them for what
// it keeps per thread. It answers TRUE in every case, because a trace that cannot start is no reason to keep
// a caller from signing in.
BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved) {
    if (reason == DLL_PROCESS_ATTACH) {
        zelto::SaveLibraryModule(module);
        zelto::TraceOnProcessAttach();
    } else if (reason == DLL_PROCESS_DETACH) {
        // A reserved pointer tells the end of the process from an unload (DllMain entry point).
        const bool processEnding = reserved != nullptr;
        zelto::TraceOnProcessDetach(processEnding);
        if (!processEnding) {
            zelto::LeaveProcessObjects();
        }
    }
    return TRUE;
}
