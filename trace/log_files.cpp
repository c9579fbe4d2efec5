#include "trace/log_files.h"

#include "trace/log_stream.h"
#include "trace/rotation.h"

#include <cstdlib>
#include <cstring>
#include <memory>

namespace zelto {
namespace {

void OpenIfNeeded(LogStream& stream, const FileName& name) noexcept {
    if (stream.file == nullptr && name.IsSet()) {
        OpenStream(stream, name);
    }
}

bool ReachedSizeLimit(const LogStream& stream) noexcept {
    const std::uint64_t limit = traceState.sizeLimitMiB;
    return limit != 0 && limit <= stream.size >> 20;
}

void AppendErrorLine(LogStream& stream, std::string_view record) noexcept {
    const std::size_t length = record.size() + 2;
    const std::unique_ptr<char, decltype(&std::free)> line(static_cast<char*>(std::malloc(length)),
                                                           &std::free);
    if (line == nullptr) {
        std::perror("Memory allocation error");
        return;
    }
    std::memcpy(line.get(), record.data(), record.size());
    std::memcpy(line.get() + record.size(), "\r\n", 2);
    WriteToStream(stream, {line.get(), length});
    FlushStream(stream);
}

} // namespace

void TraceFlush() noexcept {
    LogStream& stream = traceState.mainLog;
    OpenIfNeeded(stream, traceState.names.main);
    if (stream.file != nullptr) {
        WriteToStream(stream, {traceState.pending, static_cast<std::size_t>(traceState.pendingUsed)});
    }
    traceState.pendingUsed = 0;
    if (ReachedSizeLimit(stream)) {
        RotateMainLog();
    }
}

void WriteErrorCopy(std::string_view record) noexcept {
    LogStream& stream = traceState.errorCopy;
    if (!traceState.names.errorCopy.IsSet()) {
        return;
    }
    OpenIfNeeded(stream, traceState.names.errorCopy);
    if (stream.file != nullptr) {
        AppendErrorLine(stream, record);
    }
    if (ReachedSizeLimit(stream)) {
        RotateErrorCopy();
    }
}

void FlushStreams() noexcept {
    FlushStream(traceState.mainLog);
    FlushStream(traceState.errorCopy);
}

void CloseStreams() noexcept {
    CloseStream(traceState.mainLog);
    CloseStream(traceState.errorCopy);
}

} // namespace zelto
