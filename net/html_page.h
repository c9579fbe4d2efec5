#pragma once

#include <cstdint>
#include <string>
#include <windows.h>

namespace zelto {

// Copies the HTML page `id` (resources/resource_ids.h), a resource of type RT_HTML of `module`, into `page`:
// the bytes as they are in the file. Returns 1; or 0, with `page` empty, when there is no such page or no
// module.
BOOL LoadHtmlPage(HMODULE module, std::uint32_t id, std::string& page);

} // namespace zelto
