#pragma once

#include "trace/trace_state.h"

#include <string_view>

namespace zelto {

// The two log streams share one stdio buffer: bytes of the one would be overwritten by the other. So every
// routine here first writes out what the other stream has in it. All are called with the trace lock held.

// Opens `name` to append, denying other writers, and creates its folder. On failure the stream stays closed
// with size 0.
void OpenStream(LogStream& stream, const FileName& name) noexcept;

// Writes out and closes the stream; a closed one is left alone.
void CloseStream(LogStream& stream) noexcept;

// Appends to the open stream and to its size. Less may be written, when the disk is full.
void WriteToStream(LogStream& stream, std::string_view text) noexcept;

// Hands what the stream has in the buffer to the system.
void FlushStream(LogStream& stream) noexcept;

// Sets the open stream's size from the end of the file.
void MeasureStream(LogStream& stream) noexcept;

// Has the CRT look up now whatever it looks up when a file is opened for the first time. That look-up needs
// the loader lock. A writer that waited for it while it holds the trace lock would never go on if at that
// moment the library is being unloaded: the unloading thread holds the loader lock and waits for the trace
// lock.
void PrepareStreams() noexcept;

} // namespace zelto
