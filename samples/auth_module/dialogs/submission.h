#pragma once

#include "prompt.h"

#include <windows.h>

namespace authmodule {

// Has prompt.submit work on a copy of the fields on a thread of the system's pool. When it is done, `window`
// gets `message` with a pointer in lParam that EndSubmission takes over. False when no thread could be had.
bool StartSubmission(const Prompt& prompt, HWND window, UINT message);

// What submit has returned.
std::wstring EndSubmission(LPARAM lParam);

} // namespace authmodule
