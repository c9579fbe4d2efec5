#pragma once

#include <windows.h>

namespace zelto {

// The library's own module, as DllMain was given it. Null before the library has been attached.
HMODULE LibraryModule() noexcept;

// Called once by DllMain, before any export can run.
void SaveLibraryModule(HMODULE module) noexcept;

} // namespace zelto
