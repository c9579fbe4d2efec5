#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zelto {

// What the auth module is started with: its provider's name, the memory block for its answer (the value of the
// inherited handle) and the options of the prompt. The executable is passed beside it and not named again, so
// the line begins with a blank; it is cut to 4,095 characters. Throws std::bad_alloc.
std::wstring ModuleCommandLine(std::wstring_view providerName, std::uint64_t receiver,
                               std::wstring_view arguments);

} // namespace zelto
