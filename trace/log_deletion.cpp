#include "trace/log_deletion.h"

#include "trace/log_files.h"
#include "trace/rotation.h"
#include "trace/trace_state.h"

namespace zelto {
namespace {

void DeleteNamed(const FileName& name) noexcept {
    if (name.IsSet()) {
        DeleteFileA(name.text);
    }
}

void BuildNames(std::uint64_t sizeLimitMiB) noexcept {
    TraceBuildNames(traceState.folder.View(), traceState.baseName.View(), sizeLimitMiB);
}

} // namespace

void DeleteAllLogFiles() noexcept {
    CloseStreams();
    BuildNames(0);
    DeleteNamed(traceState.names.main);
    BuildNames(1);
    DeleteNamed(traceState.names.rotationA);
    DeleteNamed(traceState.names.rotationB);
    DeleteNamed(traceState.names.errorCopy);
}

} // namespace zelto
