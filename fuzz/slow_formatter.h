#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace zelto::fuzz {

// The kinds of arguments that a format takes.
enum class Wanted { Integer, Narrow, Wide };

// Gives the next argument, as the 64-bit slot that a variadic call passes it in.
using NextArgument = std::function<std::uint64_t(Wanted)>;

// What trace/formatter.h describes, written for being read: the whole message, put together character by character,
// and cut at the end.
std::string SlowMessage(const std::string& format, const NextArgument& next, std::size_t area);

} // namespace zelto::fuzz
