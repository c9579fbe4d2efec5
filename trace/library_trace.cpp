#include "trace/library_trace.h"

#include "trace/life_cycle.h"
#include "trace/log_files.h"
#include "trace/log_folder.h"

#include <windows.h>
#include <winsock2.h>

namespace zelto {
namespace {

constexpr char kLogSuffix[] = "_ZeltoAuth.log";

FileName LogBaseName() noexcept {
    const FileName host = HostExecutablePath();
    const std::string_view path = host.View();
    FileName name;
    name.Set(path.substr(path.rfind('\\') + 1), kLogSuffix);
    return name;
}

bool RunsInSessionZero() noexcept {
    DWORD session = 0;
    return ProcessIdToSessionId(GetCurrentProcessId(), &session) && session == 0;
}

} // namespace

void TraceOnProcessAttach() {
    TraceStart(RunsInSessionZero() ? "" : "%localappdata%", LogBaseName().text);
}

void TraceOnProcessDetach(bool processEnding) {
    if (processEnding) {
        TraceStopAtProcessEnd();
        return;
    }
    TraceStop();
    CloseStreams(); // the C runtime outlives this module, and an open log denies the next load its file
}

} // namespace zelto
