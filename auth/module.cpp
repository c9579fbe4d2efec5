#include "auth/module.h"

namespace zelto {
namespace {

HMODULE libraryModule =
    nullptr; // written under the loader lock before any export can be called, then only read

} // namespace

HMODULE LibraryModule() noexcept {
    return libraryModule;
}

void SaveLibraryModule(HMODULE module) noexcept {
    libraryModule = module;
}

} // namespace zelto
