#pragma once

#include <cstdint>
#include <string_view>

namespace zelto {

// All are called with the trace lock held, or before the trace has started.

// Builds the names of the log files. Without a size limit main log and error copy are files of their own.
// With one, each is chosen from its pair of rotation files (trace/file_choice.h), which may delete the one
// that starts anew; choosing closes the main log. False, with the last error set to 21 or 87, when `folder`
// does not end in a backslash or `fileName` is empty or has a backslash in it: the names stay as they were.
bool TraceBuildNames(std::string_view folder, std::string_view fileName, std::uint64_t sizeLimitMiB) noexcept;

// Closes the file and goes on with the other one of its pair, which starts empty but for a header line.
// Without flag 0x100 the other one is not opened.
void RotateMainLog() noexcept;
void RotateErrorCopy() noexcept;

} // namespace zelto
