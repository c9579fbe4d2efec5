#include "trace/formatter.h"

#include "trace/text_block.h"
#include "trace/wide_text.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace zelto {
namespace {

constexpr std::size_t kLocalWideBytes = 4095;

// A va_list in a record: where the type is an array, a plain parameter would be a pointer to the caller's.
struct Arguments {
    std::va_list list;
};

// What stands between '%' and the conversion character.
struct Options {
    bool zeros = false;    // numbers are filled with zeros
    bool leftmost = false; // numbers are filled on the right
    bool wide64 = false;   // numbers read 64 bits
    std::size_t width = 0; // at most kMessageArea, which no message can exceed
};

void SetWidth(Options& options, std::uint64_t width) noexcept {
    options.width = static_cast<std::size_t>(std::min<std::uint64_t>(width, kMessageArea));
}

const char* ReadDigits(const char* next, Options& options) noexcept {
    for (; *next >= '0' && *next <= '9'; ++next) {
        SetWidth(options, options.width * 10u + static_cast<unsigned>(*next - '0'));
    }
    return next;
}

const char* ReadWidth(const char* next, Options& options, Arguments& arguments) noexcept {
    if (*next == '*') {
        const std::int64_t width = va_arg(arguments.list, int);
        options.leftmost = width < 0;
        SetWidth(options, static_cast<std::uint64_t>(width < 0 ? -width : width));
        return next + 1;
    }
    if (*next == '-') {
        options.leftmost = true;
        ++next;
    }
    return ReadDigits(next, options);
}

const char* ReadSize(const char* next, Options& options) noexcept {
    if (*next == 'l') {
        ++next;
        options.wide64 = *next == 'l';
        next += options.wide64 ? 1 : 0;
    }
    return next;
}

const char* ReadOptions(const char* next, Options& options, Arguments& arguments) noexcept {
    if (*next == '0' || *next == ' ') {
        options.zeros = *next == '0';
        ++next;
    }
    return ReadSize(ReadWidth(next, options, arguments), options);
}

// `prefix` is "-", "0x" or empty; `counted` is the part of the width that it takes.
void AppendNumber(BoundedText& out, const Options& options, std::string_view prefix, std::size_t counted,
                  std::string_view digits) noexcept {
    const std::size_t used = counted + digits.size();
    if (options.width <= used) {
        out.Append(prefix);
        out.Append(digits);
        return;
    }
    const std::size_t fill = options.width - used;
    const bool zeros = options.zeros && !options.leftmost;
    out.Fill(' ', zeros || options.leftmost ? 0 : fill);
    out.Append(prefix);
    out.Fill('0', zeros ? fill : 0);
    out.Append(digits);
    out.Fill(' ', options.leftmost ? fill : 0);
}

std::uint64_t ReadUnsigned(const Options& options, Arguments& arguments) noexcept {
    return options.wide64 ? va_arg(arguments.list, unsigned long long) : va_arg(arguments.list, unsigned int);
}

void AppendSigned(BoundedText& out, const Options& options, Arguments& arguments) noexcept {
    const std::int64_t value =
        options.wide64 ? va_arg(arguments.list, long long) : va_arg(arguments.list, int);
    const auto bits = static_cast<std::uint64_t>(value);
    const Digits digits(value < 0 ? 0 - bits : bits); // the lowest value has no positive
    AppendNumber(out, options, value < 0 ? "-" : "", value < 0 ? 1 : 0, digits.View());
}

void AppendHex(BoundedText& out, const Options& options, std::uint64_t value, HexTable table) noexcept {
    AppendNumber(out, options, "0x", 0, Digits(value, table).View());
}

void AppendString(BoundedText& out, const Options& options, std::string_view text) noexcept {
    out.Fill(' ', options.width > text.size() ? options.width - text.size() : 0);
    out.Append(text);
}

void AppendNarrow(BoundedText& out, const Options& options, const char* text) noexcept {
    if (text != nullptr) {
        AppendString(out, options, {text, TextLength(text)});
    }
}

void AppendLongWide(BoundedText& out, const Options& options, const wchar_t* text, std::size_t length,
                    std::size_t bytes) noexcept {
    const std::unique_ptr<char, decltype(&std::free)> memory(
        static_cast<char*>(std::malloc((length + 1) * 4)), &std::free);
    if (memory != nullptr) {
        ConvertToUtf8(text, length, memory.get());
        AppendString(out, options, {memory.get(), bytes});
    }
}

void AppendWide(BoundedText& out, const Options& options, const wchar_t* text) noexcept {
    if (text == nullptr) {
        return;
    }
    const std::size_t length = WideLength(text);
    const std::size_t bytes = Utf8Length(text, length);
    if (bytes > kLocalWideBytes) {
        AppendLongWide(out, options, text, length, bytes);
        return;
    }
    char local[kLocalWideBytes];
    ConvertToUtf8(text, length, local);
    AppendString(out, options, {local, bytes});
}

void AppendCharacter(BoundedText& out, const Options& options, int value) noexcept {
    const char character = static_cast<char>(value);
    AppendString(out, options, {&character, 1});
}

// Handles the conversion at `next` and returns what follows it.
const char* AppendConversion(BoundedText& out, const char* next, const Options& options,
                             Arguments& arguments) noexcept {
    switch (*next) {
    case '\0':
        return next; // the format ends in the middle of a conversion
    case 'd':
    case 'i':
        AppendSigned(out, options, arguments);
        break;
    case 'u':
        AppendNumber(out, options, "", 0, Digits(ReadUnsigned(options, arguments)).View());
        break;
    case 'x':
        AppendHex(out, options, ReadUnsigned(options, arguments), kLowercaseDigits);
        break;
    case 'X':
        AppendHex(out, options, ReadUnsigned(options, arguments), kUppercaseDigits);
        break;
    case 'p':
        AppendHex(out, {.zeros = true, .width = 16}, va_arg(arguments.list, unsigned long long),
                  kUppercaseDigits);
        break;
    case 's':
        AppendNarrow(out, options, va_arg(arguments.list, const char*));
        break;
    case 'S':
        AppendWide(out, options, va_arg(arguments.list, const wchar_t*));
        break;
    case 'w':
        if (next[1] == 's') {
            AppendWide(out, options, va_arg(arguments.list, const wchar_t*));
            ++next;
        }
        break;
    case 'c':
        AppendCharacter(out, options, va_arg(arguments.list, int));
        break;
    case '%':
        out.Append('%');
        break;
    default:
        break;
    }
    return next + 1;
}

// A conversion with options, or a rare one. Returns what follows it.
const char* AppendAnyConversion(BoundedText& out, const char* next, Arguments& arguments) noexcept {
    Options options;
    const char* conversion = ReadOptions(next, options, arguments);
    return AppendConversion(out, conversion, options, arguments);
}

constexpr std::size_t kPlainNumber = 1 + kMaximumDecimalLength; // with its sign

// Writes a number that has no other option than its size. Null, with no argument taken, for another conversion.
char* PutPlainNumber(char* at, char conversion, const Options& options, Arguments& arguments) noexcept {
    if (conversion == 'd' || conversion == 'i') {
        const std::int64_t value =
            options.wide64 ? va_arg(arguments.list, long long) : va_arg(arguments.list, int);
        const auto bits = static_cast<std::uint64_t>(value);
        *at = '-';
        return PutDecimal(at + (value < 0 ? 1 : 0), value < 0 ? 0 - bits : bits);
    }
    if (conversion == 'u') {
        return PutDecimal(at, ReadUnsigned(options, arguments));
    }
    if (conversion == 'x') {
        const std::uint64_t value = ReadUnsigned(options, arguments);
        const std::size_t length = HexLength(value);
        at = CopyText(at, "0x");
        PutHex(at, value, length, kLowercaseDigits);
        return at + length;
    }
    return nullptr;
}

// Where `out` is written on, kept in a register from one piece of text to the next: the length of `out` itself is set
// only where that is needed.
class Place {
public:
    explicit Place(BoundedText& out) noexcept : out_(out), at_(out.End()), full_(at_ + out.Room()) {}
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;
    ~Place() { out_.SetEnd(at_); }

    // Appends `text` up to its zero or `stop`, and returns where that stands.
    const char* PutUntil(const char* text, char stop) noexcept {
        const TextCopy copy = CopyUntil(at_, full_, text, stop);
        at_ = copy.to;
        return *copy.from == '\0' || *copy.from == stop ? copy.from : PutRest(copy.from, stop);
    }

    // Appends a number. False, with nothing done, for another conversion, and when not every number would fit.
    bool PutNumber(char conversion, const Options& options, Arguments& arguments) noexcept {
        if (static_cast<std::size_t>(full_ - at_) < kPlainNumber) {
            return false;
        }
        char* const end = PutPlainNumber(at_, conversion, options, arguments);
        at_ = end == nullptr ? at_ : end;
        return end != nullptr;
    }

private:
    // Near the end of `out`.
    const char* PutRest(const char* text, char stop) noexcept {
        const char* end = text;
        while (*end != '\0' && *end != stop) {
            ++end;
        }
        out_.SetEnd(at_);
        out_.Append({text, static_cast<std::size_t>(end - text)});
        at_ = out_.End();
        return end;
    }

    BoundedText& out_;
    char* at_;
    char* const full_;
};

// Nearly all records are made of literal text, strings, and numbers without width or filling. Appends these as long as
// they come and fit, and returns the first part of the format that is something else: its end, or the '%' of a
// conversion.
const char* AppendPlainParts(BoundedText& out, const char* format, Arguments& arguments) noexcept {
    Place place(out);
    for (;;) {
        format = place.PutUntil(format, '%');
        if (*format == '\0') {
            return format;
        }
        const char* conversion = format + 1;
        if (*conversion == 's') {
            if (const char* text = va_arg(arguments.list, const char*)) {
                place.PutUntil(text, '\0');
            }
        } else {
            Options options;
            conversion = ReadSize(conversion, options);
            if (!place.PutNumber(*conversion, options, arguments)) {
                return format;
            }
        }
        format = conversion + 1;
    }
}

// What stands from the first conversion on, or from where less than a block of room was left.
ZELTO_NOT_INLINED void AppendFromConversion(BoundedText& out, const char* format,
                                            std::va_list arguments) noexcept {
    Arguments copy;
    va_copy(copy.list, arguments);
    for (format = AppendPlainParts(out, format, copy); *format != '\0';
         format = AppendPlainParts(out, format, copy)) {
        format = AppendAnyConversion(out, format + 1, copy);
    }
    va_end(copy.list);
}

} // namespace

// A text without a conversion needs few registers: what needs many, and has to keep them for its caller, is apart.
void AppendMessage(BoundedText& out, const char* format, std::va_list arguments) noexcept {
    const TextCopy literal = CopyUntil(out.End(), out.End() + out.Room(), format, '%');
    out.SetEnd(literal.to);
    if (*literal.from != '\0') {
        AppendFromConversion(out, literal.from, arguments);
    }
    out.MarkCut();
}

} // namespace zelto
