#include "trace/log_stream.h"

#include <dbghelp.h>
#include <io.h>
#include <share.h>

namespace zelto {
namespace {

void ClaimBuffer(LogStream& stream) noexcept {
    LogStream* user = traceState.bufferUser;
    if (user != nullptr && user != &stream) {
        FlushStream(*user);
    }
    traceState.bufferUser = &stream;
}

// The host starts processes that inherit handles; none of them is to keep the log from being rotated or
// deleted.
void KeepFromChildren(std::FILE* file) noexcept {
    const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file)));
    SetHandleInformation(handle, HANDLE_FLAG_INHERIT, 0);
}

// Opens `name` as the system's own functions read it. To the narrow functions of the C runtime its bytes are UTF-8 once
// the host, whose runtime it is too, has chosen such a locale.
std::FILE* OpenNamed(const FileName& name) noexcept {
    wchar_t wide[kMaximumName + 1] = {};
    const UINT codePage = AreFileApisANSI() ? CP_ACP : CP_OEMCP;
    if (MultiByteToWideChar(codePage, 0, name.text, -1, wide, kMaximumName + 1) == 0) {
        return nullptr;
    }
    return _wfsopen(wide, L"a+b", _SH_DENYWR);
}

} // namespace

void OpenStream(LogStream& stream, const FileName& name) noexcept {
    ClaimBuffer(stream);
    MakeSureDirectoryPathExists(name.text);
    stream.size = 0;
    stream.file = OpenNamed(name);
    if (stream.file == nullptr) {
        return;
    }
    KeepFromChildren(stream.file);
    std::setvbuf(stream.file, traceState.streamBuffer, _IOFBF, sizeof(traceState.streamBuffer));
    MeasureStream(stream);
}

void CloseStream(LogStream& stream) noexcept {
    if (stream.file == nullptr) {
        return;
    }
    std::fclose(stream.file);
    stream.file = nullptr;
    if (traceState.bufferUser == &stream) {
        traceState.bufferUser = nullptr;
    }
}

void WriteToStream(LogStream& stream, std::string_view text) noexcept {
    ClaimBuffer(stream);
    stream.size += std::fwrite(text.data(), 1, text.size(), stream.file);
}

void FlushStream(LogStream& stream) noexcept {
    if (stream.file != nullptr) { // fflush takes null for every stream of the process
        std::fflush(stream.file);
    }
}

void MeasureStream(LogStream& stream) noexcept {
    ClaimBuffer(stream);
    _fseeki64(stream.file, 0, SEEK_END);
    const std::int64_t end = _ftelli64(stream.file);
    stream.size = end < 0 ? 0 : static_cast<std::uint64_t>(end);
}

void PrepareStreams() noexcept {
    if (std::FILE* file = _wfsopen(L"NUL", L"rb", _SH_DENYNO)) {
        std::fclose(file);
    }
}

} // namespace zelto
