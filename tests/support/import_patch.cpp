#include "tests/support/import_patch.h"

#include <cstring>
#include <stdexcept>
#include <string>

namespace zelto::test {
namespace {

template <class T>
T* At(HMODULE module, std::size_t offset) {
    return reinterpret_cast<T*>(reinterpret_cast<unsigned char*>(module) + offset);
}

const IMAGE_IMPORT_DESCRIPTOR* FirstImport(HMODULE module) {
    const auto* dos = At<IMAGE_DOS_HEADER>(module, 0);
    const auto* headers = At<IMAGE_NT_HEADERS>(module, static_cast<std::size_t>(dos->e_lfanew));
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    return directory.Size == 0 ? nullptr : At<IMAGE_IMPORT_DESCRIPTOR>(module, directory.VirtualAddress);
}

void** SlotInDescriptor(HMODULE module, const IMAGE_IMPORT_DESCRIPTOR& import, const char* function) {
    const auto* name = At<IMAGE_THUNK_DATA>(module, import.OriginalFirstThunk);
    auto* address = At<IMAGE_THUNK_DATA>(module, import.FirstThunk);
    for (; name->u1.AddressOfData != 0; ++name, ++address) {
        if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) {
            continue;
        }
        const auto* byName =
            At<IMAGE_IMPORT_BY_NAME>(module, static_cast<std::size_t>(name->u1.AddressOfData));
        if (std::strcmp(reinterpret_cast<const char*>(byName->Name), function) == 0) {
            return reinterpret_cast<void**>(&address->u1.Function);
        }
    }
    return nullptr;
}

void** FindSlot(HMODULE module, const char* function) {
    const auto* import = FirstImport(module);
    for (; import != nullptr && import->Name != 0; ++import) {
        if (void** slot = SlotInDescriptor(module, *import, function)) {
            return slot;
        }
    }
    return nullptr;
}

void WriteSlot(void** slot, void* value) {
    DWORD protection = 0;
    if (!VirtualProtect(slot, sizeof(*slot), PAGE_READWRITE, &protection)) {
        throw std::runtime_error("VirtualProtect failed on an import address");
    }
    InterlockedExchangePointer(slot, value);
    VirtualProtect(slot, sizeof(*slot), protection, &protection);
}

} // namespace

ImportPatch::ImportPatch(HMODULE module, const char* function, void* replacement)
    : slot_(FindSlot(module, function)) {
    if (slot_ == nullptr) {
        throw std::runtime_error(std::string("the module does not import ") + function);
    }
    original_ = *slot_;
    WriteSlot(slot_, replacement);
}

ImportPatch::~ImportPatch() {
    WriteSlot(slot_, original_);
}

bool ImportsFunction(HMODULE module, const char* function) {
    return FindSlot(module, function) != nullptr;
}

} // namespace zelto::test
