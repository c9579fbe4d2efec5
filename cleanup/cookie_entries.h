#pragma once

#include <string>
#include <vector>

namespace zelto {

// The names of all cookie entries in the WinINet URL cache of the calling user, in the order of enumeration.
// Empty when there are none and when the cache cannot be enumerated. Throws std::bad_alloc.
std::vector<std::wstring> CollectCookieEntries();

// Deletes every cookie entry; one that cannot be deleted does not keep the others. True when each deletion
// succeeded, so also when there was none to make.
bool DeleteCookieEntries() noexcept;

} // namespace zelto
