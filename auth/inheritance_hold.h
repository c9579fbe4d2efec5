#pragma once

#include <windows.h>

namespace zelto {

// One per library: whoever has inheritable handles that only one program is meant to get, or starts a program
// that inherits, holds it.
inline SRWLOCK inheritanceLock = SRWLOCK_INIT;

// Keeps this library's other starts of programs away for as long as it lives, or until it is released, on the
// thread that made it. A program inherits all inheritable handles that there are when it starts, those meant
// for another program included; and a pipe whose one end such a program has taken along does not end before
// that program. Programs that the host starts by itself meanwhile are beyond it.
class InheritanceHold {
public:
    InheritanceHold() noexcept { AcquireSRWLockExclusive(&inheritanceLock); }
    InheritanceHold(const InheritanceHold&) = delete;
    InheritanceHold& operator=(const InheritanceHold&) = delete;
    ~InheritanceHold() { Release(); }

    void Release() noexcept {
        if (held_) {
            held_ = false;
            ReleaseSRWLockExclusive(&inheritanceLock);
        }
    }

private:
    bool held_ = true;
};

} // namespace zelto
