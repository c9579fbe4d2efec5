#pragma once

#include <cstddef>

namespace zelto {

// Writes `text` to the outputs that TraceFlags enable: standard output (0x800) and the debugger (0x400).
//
//   level         the record's level. Its first character decides on the colour on the console: 'w' yellow,
//                 'e' red, 'd' green, anything else none. As the levels are padded on the left, only
//                 "warning" has one.
//   continuation  not the first piece of a record: never coloured.
//   text, length  ends a line; text[length] is a terminating zero. In a coloured record the first line alone
//                 is coloured; for that the text is cut for a moment, and is as before when the call returns.
//
// Called with the trace lock held.
void TraceEmit(const char* level, bool continuation, char* text, std::size_t length) noexcept;

} // namespace zelto
