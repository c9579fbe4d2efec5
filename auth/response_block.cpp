#include "auth/response_block.h"

#include <cstring>

namespace zelto {
namespace {

HANDLE CreateInheritableMapping() noexcept {
    SECURITY_ATTRIBUTES inheritable = {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    return CreateFileMappingW(INVALID_HANDLE_VALUE, &inheritable, PAGE_READWRITE, 0,
                              static_cast<DWORD>(kResponseBlockSize), nullptr);
}

} // namespace

ResponseBlock::ResponseBlock() noexcept : mapping_(CreateInheritableMapping()) {
    if (!mapping_) {
        return;
    }
    SetInherited(false);
    view_ = static_cast<char*>(
        MapViewOfFile(mapping_.get(), FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, kResponseBlockSize));
    if (view_ != nullptr) {
        std::memset(view_, 0, kResponseBlockSize);
    }
}

ResponseBlock::~ResponseBlock() {
    if (view_ != nullptr) {
        UnmapViewOfFile(view_);
    }
}

void ResponseBlock::SetInherited(bool inherited) const noexcept {
    SetHandleInformation(mapping_.get(), HANDLE_FLAG_INHERIT, inherited ? HANDLE_FLAG_INHERIT : 0);
}

} // namespace zelto
