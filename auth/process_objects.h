#pragma once

#include <windows.h>

namespace zelto {

// The two unnamed kernel objects that every export shares. They are created by a static initialiser when the
// library is loaded and live as long as the process: they are never closed, and nobody outside owns these
// handles.

// Mutex, created not owned: held for the whole life of one auth module, tried with a zero time-out. Null only
// when the system had no memory for it.
HANDLE ModuleLock() noexcept;

// Auto-reset event, created non-signalled: ends the wait for a running auth module.
HANDLE StopEvent() noexcept;

// Called when the library is unloaded from a process that lives on. The objects stay open; a later load of
// the library into the same process takes them up again, so that a host that loads and unloads often does not
// pile up handles.
void LeaveProcessObjects() noexcept;

} // namespace zelto
