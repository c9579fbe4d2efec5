#pragma once

#include <windows.h>

namespace zelto::test {

// Replaces one import of a loaded module, for what the system at hand can't be brought to do. The module's
// import address table is patched; other modules keep calling the real function. Restored on destruction. Not
// meant for an import that another thread calls at the very moment of patching. A function that is already
// running may go on with the address that it has read before.
class ImportPatch {
public:
    // `function` is the imported name, for example "ShellExecuteW"; whichever DLL it is imported from counts.
    // The replacement must have the same signature and calling convention. Throws std::runtime_error when the
    // module does not import it by that name.
    template <class Function>
    ImportPatch(HMODULE module, const char* function, Function* replacement)
        : ImportPatch(module, function, reinterpret_cast<void*>(replacement)) {}
    ImportPatch(HMODULE module, const char* function, void* replacement);
    ImportPatch(const ImportPatch&) = delete;
    ImportPatch& operator=(const ImportPatch&) = delete;
    ~ImportPatch();

    // The function that was imported before, to be called on by a replacement.
    template <class Function>
    Function* Original() const {
        return reinterpret_cast<Function*>(original_);
    }

private:
    void** slot_;
    void* original_;
};

// True when `module` imports `function` by name.
bool ImportsFunction(HMODULE module, const char* function);

} // namespace zelto::test
