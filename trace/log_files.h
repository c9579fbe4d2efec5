#pragma once

#include <string_view>

namespace zelto {

// All are called with the trace lock held, or when no other thread can use the trace.

// Writes the pending records to the main log, which is opened if need be, and rotates it at the size limit.
// When there is no file, because none is named or it cannot be opened, the pending records are dropped.
void TraceFlush() noexcept;

// Appends an error record, given without its line end, to the error copy and hands it to the system; rotates
// the copy at the size limit. Does nothing when no error copy is named or it cannot be opened.
void WriteErrorCopy(std::string_view record) noexcept;

// Hands what the open streams have buffered to the system.
void FlushStreams() noexcept;

// Writes out and closes both streams.
void CloseStreams() noexcept;

} // namespace zelto
