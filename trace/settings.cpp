#include "trace/settings.h"

#include "trace/clock.h"
#include "trace/crash_handler.h"
#include "trace/log_deletion.h"
#include "trace/log_files.h"
#include "trace/rotation.h"
#include "trace/trace.h"
#include "trace/trace_state.h"

#include <cstdlib>

namespace zelto {
namespace {

constexpr std::int32_t kSettingsLine = 689;

// An open key below HKEY_LOCAL_MACHINE, or null.
class MachineKey {
public:
    explicit MachineKey(const char* path) noexcept {
        if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, 0, KEY_QUERY_VALUE, &key_) != ERROR_SUCCESS) {
            key_ = nullptr;
        }
    }
    MachineKey(const MachineKey&) = delete;
    MachineKey& operator=(const MachineKey&) = delete;
    ~MachineKey() {
        if (key_ != nullptr) {
            RegCloseKey(key_);
        }
    }

    // The value, or `otherwise` when key or value is missing or the value is no REG_DWORD.
    std::uint64_t ReadDword(const char* name, std::uint64_t otherwise) const noexcept {
        DWORD type = 0;
        DWORD value = 0;
        DWORD size = sizeof(value);
        if (key_ == nullptr ||
            RegQueryValueExA(key_, name, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size) !=
                ERROR_SUCCESS ||
            type != REG_DWORD || size != sizeof(value)) {
            return otherwise;
        }
        return value;
    }

private:
    HKEY key_ = nullptr;
};

void ChangeFlags(std::uint64_t flags) noexcept {
    TraceFlags.store(flags);
    if ((flags & kTraceFileOutput) == 0) {
        DeleteAllLogFiles();
    }
    MatchRingTo(flags);
    MatchCrashHandlerTo(flags);
}

void ChangeSizeLimit(std::uint64_t sizeLimitMiB) noexcept {
    traceState.sizeLimitMiB = sizeLimitMiB;
    TraceBuildNames(traceState.folder.View(), traceState.baseName.View(), sizeLimitMiB);
}

// Info records are on for this one, whatever the new flags say.
void LogSettings() noexcept {
    LocalMoment moment;
    ReadLocalMoment(moment);
    const SYSTEMTIME& now = moment.local;
    const std::uint64_t flags = TraceFlags.load();
    TraceFlags.store(flags | kTraceInfo);
    TraceLog(nullptr, 0, kSettingsLine, kLevelInfo,
             "(%s, %ds) setting changed at %04d-%02d-%02d %02d:%02d:%02d.%03d type: %x size: %d memory: %p",
             kBuildStamp, moment.uptimeSeconds, now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute,
             now.wSecond, now.wMilliseconds, static_cast<std::uint32_t>(flags | kTraceInfo),
             static_cast<std::int32_t>(traceState.sizeLimitMiB), static_cast<void*>(traceState.ring));
    TraceFlags.store(flags);
}

} // namespace

TraceSettings ReadTraceSettings(const char* keyPath) noexcept {
    const MachineKey key(keyPath);
    const TraceSettings missing;
    return {key.ReadDword("flag", missing.flags), key.ReadDword("size", missing.sizeLimitMiB)};
}

std::uint64_t ReadFlagsOr(const char* keyPath, std::uint64_t current) noexcept {
    return MachineKey(keyPath).ReadDword("flag", current);
}

void ApplyTraceSettings(const TraceSettings& settings) noexcept {
    const bool flagsChanged = settings.flags != TraceFlags.load();
    const bool sizeChanged = settings.sizeLimitMiB != traceState.sizeLimitMiB;
    if (!flagsChanged && !sizeChanged) {
        return;
    }
    TraceFlush();
    CloseStreams();
    if (flagsChanged) {
        ChangeFlags(settings.flags);
    }
    if (sizeChanged) {
        ChangeSizeLimit(settings.sizeLimitMiB);
    }
    LogSettings();
}

void MatchRingTo(std::uint64_t flags) noexcept {
    MemoryRing*& ring = traceState.ring;
    if ((flags & kTraceMemoryRing) == 0) {
        std::free(ring);
        ring = nullptr;
        return;
    }
    if (ring == nullptr) {
        ring = static_cast<MemoryRing*>(std::malloc(sizeof(MemoryRing)));
        if (ring != nullptr) {
            ClearRing(*ring);
        }
    }
}

} // namespace zelto
