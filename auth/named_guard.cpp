#include "auth/named_guard.h"

namespace zelto {
namespace {

NamedGuard MakeGuard(HANDLE mutex, DWORD lastError) noexcept {
    return NamedGuard{KernelHandle(mutex), lastError == ERROR_ALREADY_EXISTS};
}

} // namespace

NamedGuard OpenNamedGuard(const char* name) noexcept {
    const HANDLE mutex = CreateMutexA(nullptr, FALSE, name);
    const DWORD lastError = GetLastError();
    return MakeGuard(mutex, lastError);
}

NamedGuard OpenNamedGuard(const wchar_t* name) noexcept {
    const HANDLE mutex = CreateMutexW(nullptr, FALSE, name);
    const DWORD lastError = GetLastError();
    return MakeGuard(mutex, lastError);
}

} // namespace zelto
