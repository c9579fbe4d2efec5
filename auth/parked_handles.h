#pragma once

#include <windows.h>

namespace zelto {

// Keeps a pair of handles of this process across an unload of the library, in the one store that is private
// to the process, survives the unload and needs no kernel name: the process's local atom table (AddAtom).
// Another copy of the library that is loaded at the same time finds nothing parked and so never shares the
// objects of this one.

using HandlePair = HANDLE[2];

// Parks `handles`. Without memory for the atoms they stay open and are not found again. Half a pair, made when
// the system had no memory, is not handed on: the next load tries again.
void ParkHandles(const HandlePair& handles) noexcept;

// Takes a parked pair out of the store. False, and `handles` unchanged, when none is parked.
bool TakeParkedHandles(HandlePair& handles) noexcept;

} // namespace zelto
