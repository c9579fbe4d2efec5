#pragma once

#include <cstddef>
#include <string_view>

namespace zelto {

// Hands a finished record to every output: memory ring, pending buffer (with the hex dump of `data`), console
// and debugger, and, for the level "  error", the error copy. `record` is every block and the message,
// without a line end. Called with the trace lock held.
void OutputRecord(std::string_view record, const void* data, std::size_t dataLength,
                  const char* level) noexcept;

} // namespace zelto
