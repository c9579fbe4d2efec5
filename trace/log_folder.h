#pragma once

#include "trace/file_names.h"

namespace zelto {

// The folder that TraceStart's `folderBase` stands for (trace/life_cycle.h).
FileName ChooseLogFolder(const char* folderBase) noexcept;

// The full path of the host's executable, in the ANSI code page; cut when it is longer than a name can be.
FileName HostExecutablePath() noexcept;

} // namespace zelto
