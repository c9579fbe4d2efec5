#pragma once

#include "trace/file_names.h"
#include "trace/time_block.h"

#include <cstdint>
#include <string_view>

namespace zelto {

// "folder\client.exe [1234.5678] 2026-03-19 04.11.33.dmp" for a thread (5678) of the process (1234) that runs
// `host`, the executable's full path; cut to 260 characters. Empty when `host` holds no backslash.
FileName CrashDumpName(std::string_view host, std::uint32_t processId, std::uint32_t threadId,
                       const RecordTime& time) noexcept;

} // namespace zelto
