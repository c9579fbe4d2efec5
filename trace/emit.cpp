#include "trace/emit.h"

#include "trace/trace.h"

#include <cstdint>
#include <cstdio>
#include <string_view>
#include <windows.h>
#include <winsock2.h>

namespace zelto {
namespace {

constexpr WORD kBright = 8;

void EmitPlain(std::uint64_t flags, const char* text) noexcept {
    if ((flags & kTraceConsoleOutput) != 0) {
        std::printf("%s", text);
    }
    if ((flags & kTraceDebuggerOutput) != 0) {
        OutputDebugStringA(text);
    }
}

// A console colour, or 0 for none.
WORD ColourOf(const char* level) noexcept {
    switch (level[0]) {
    case 'd':
        return 2;
    case 'e':
        return 4;
    case 'w':
        return 6;
    default:
        return 0;
    }
}

// Colours the console within its scope. Standard output that is no console is left alone.
class ConsoleColour {
public:
    explicit ConsoleColour(WORD colour) noexcept : console_(GetStdHandle(STD_OUTPUT_HANDLE)) {
        CONSOLE_SCREEN_BUFFER_INFO info;
        isConsole_ = GetConsoleScreenBufferInfo(console_, &info) != FALSE;
        if (isConsole_) {
            before_ = info.wAttributes;
            SetConsoleTextAttribute(console_, static_cast<WORD>(colour | kBright));
        }
    }
    ConsoleColour(const ConsoleColour&) = delete;
    ConsoleColour& operator=(const ConsoleColour&) = delete;
    ~ConsoleColour() {
        if (isConsole_) {
            SetConsoleTextAttribute(console_, before_);
        }
    }

private:
    HANDLE console_;
    bool isConsole_ = false;
    WORD before_ = 0;
};

void EmitColoured(std::uint64_t flags, WORD colour, char* text, std::size_t length) noexcept {
    const std::size_t lineEnd = std::string_view(text, length).find("\r\n");
    if (lineEnd == std::string_view::npos) {
        EmitPlain(flags, text);
        return;
    }
    char* rest = text + lineEnd + 2;
    const char cutCharacter = *rest;
    *rest = '\0';
    {
        const ConsoleColour coloured(colour);
        EmitPlain(flags, text);
    }
    *rest = cutCharacter;
    if (*rest != '\0') {
        EmitPlain(flags, rest);
    }
}

} // namespace

void TraceEmit(const char* level, bool continuation, char* text, std::size_t length) noexcept {
    const std::uint64_t flags = TraceFlags.load(std::memory_order_relaxed);
    const WORD colour = ColourOf(level);
    if ((flags & kTraceNoColours) != 0 || continuation || colour == 0) {
        EmitPlain(flags, text);
    } else {
        EmitColoured(flags, colour, text, length);
    }
}

} // namespace zelto
