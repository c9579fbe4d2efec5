#pragma once

#include "tests/support/import_patch.h"

#include <winsock2.h>

namespace zelto::test {

// As long as the object lives, this program's readers wait a minute for their browser's request instead of 5 seconds: a
// test whose browser sends it after some other steps does not depend on how long those take.
class PatientSelect {
public:
    PatientSelect() { original_ = patch_.Original<Function>(); }

private:
    using Function = int WINAPI(int, fd_set*, fd_set*, fd_set*, const timeval*);

    static int WINAPI Select(int count, fd_set* readable, fd_set* writable, fd_set* failed, const timeval*) {
        const timeval minute = {60, 0};
        return original_(count, readable, writable, failed, &minute);
    }

    static inline Function* original_ = &select;
    ImportPatch patch_{GetModuleHandleW(nullptr), "select", Select};
};

} // namespace zelto::test
