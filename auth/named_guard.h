#pragma once

#include "auth/kernel_handle.h"

namespace zelto {

// The guard of an export against a second run of the same kind: a named mutex that nobody owns or waits for.
// That it exists is the guard; closing its last handle lifts it. The names have no prefix, so they count per
// session (CreateMutex, "kernel object namespaces").
struct NamedGuard {
    KernelHandle mutex;          // empty when the mutex could not be created or opened
    bool alreadyExisted = false; // somebody else holds the guard: turn the caller away
};

NamedGuard OpenNamedGuard(const char* name) noexcept;
NamedGuard OpenNamedGuard(const wchar_t* name) noexcept;

} // namespace zelto
