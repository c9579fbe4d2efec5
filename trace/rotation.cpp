#include "trace/rotation.h"

#include "trace/clock.h"
#include "trace/file_choice.h"
#include "trace/log_stream.h"
#include "trace/trace.h"

namespace zelto {
namespace {

FileFacts ReadFileFacts(const FileName& name) noexcept {
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!GetFileAttributesExA(name.text, GetFileExInfoStandard, &data)) {
        return {};
    }
    const FILETIME& written = data.ftLastWriteTime;
    const std::uint64_t modified = std::uint64_t{written.dwHighDateTime} << 32 | written.dwLowDateTime;
    return {static_cast<std::int64_t>(modified), std::uint64_t{data.nFileSizeHigh} << 32 | data.nFileSizeLow};
}

const FileName& ChooseBetween(const FileName& first, const FileName& second,
                              std::uint64_t limitMiB) noexcept {
    CloseStream(traceState.mainLog); // for the pair of error copies as well
    switch (ChooseFile(ReadFileFacts(first), ReadFileFacts(second), limitMiB)) {
    case FileChoice::TakeSecond:
        return second;
    case FileChoice::DeleteFirstTakeFirst:
        DeleteFileA(first.text);
        return first;
    case FileChoice::DeleteSecondTakeSecond:
        DeleteFileA(second.text);
        return second;
    case FileChoice::TakeFirst:
        break;
    }
    return first;
}

// The one line of a log that the CRT prints; its last argument is where the ring's address is found in a
// dump.
void WriteRotationHeader(std::FILE* file) noexcept {
    LocalMoment moment;
    ReadLocalMoment(moment);
    const SYSTEMTIME& now = moment.local;
    std::fprintf(
        file,
        "(Time Zone: %s) (%s, %ds) log rotated at %04d-%02d-%02d %02d:%02d:%02d.%03d type: 0x%x size: %d "
        "memory: 0x%p\r\n",
        moment.zoneName, kBuildStamp, moment.uptimeSeconds, now.wYear, now.wMonth, now.wDay, now.wHour,
        now.wMinute, now.wSecond, now.wMilliseconds, static_cast<unsigned>(TraceFlags.load()),
        static_cast<int>(traceState.sizeLimitMiB), static_cast<void*>(&traceState.ring));
}

void Rotate(LogStream& stream, FileName& current, const FileName& a, const FileName& b) noexcept {
    CloseStream(stream);
    stream.size = 0;
    current = current == a ? b : a;
    DeleteFileA(current.text);
    if ((TraceFlags.load() & kTraceFileOutput) != 0) {
        OpenStream(stream, current);
    }
    if (stream.file != nullptr) {
        WriteRotationHeader(stream.file);
        MeasureStream(stream);
    }
}

} // namespace

bool TraceBuildNames(std::string_view folder, std::string_view fileName,
                     std::uint64_t sizeLimitMiB) noexcept {
    const std::uint32_t error = CheckNames(folder, fileName);
    if (error != kNamesOk) {
        SetLastError(error);
        return false;
    }
    LogFileNames& names = traceState.names;
    const PidPart pid = MakePidPart(TraceFlags.load(), GetCurrentProcessId());
    if (sizeLimitMiB == 0) {
        BuildPlainNames(names, folder, fileName, pid);
        return true;
    }
    BuildRotationNames(names, folder, fileName, pid);
    names.main = ChooseBetween(names.rotationA, names.rotationB, sizeLimitMiB);
    names.errorCopy = ChooseBetween(names.errorRotationA, names.errorRotationB, sizeLimitMiB);
    return true;
}

void RotateMainLog() noexcept {
    LogFileNames& names = traceState.names;
    Rotate(traceState.mainLog, names.main, names.rotationA, names.rotationB);
}

void RotateErrorCopy() noexcept {
    LogFileNames& names = traceState.names;
    Rotate(traceState.errorCopy, names.errorCopy, names.errorRotationA, names.errorRotationB);
}

} // namespace zelto
