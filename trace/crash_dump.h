#pragma once

#include <windows.h>
#include <winsock2.h>

namespace zelto {

// An exception that nobody has handled, and the thread that raised it.
struct Crash {
    EXCEPTION_POINTERS* exception;
    DWORD threadId;
};

// Logs the host executable's path, stops the trace and writes a minidump beside the executable. Called in the
// crashed process, by the crashed thread or by another one. Whatever cannot be had is left out: the trace,
// when its lock is not to be had within seconds, or the dump, when its file cannot be created.
void DumpCrash(const Crash& crash) noexcept;

} // namespace zelto
