#pragma once

#include "bench/peers.h"
#include "trace/trace.h"

#include <spdlog/spdlog.h>

namespace zelto::bench {

inline constexpr char kTag[] = "GetHttpResponse";
inline constexpr char kResponse[] =
    "{\"method\":\"saml\",\"auth_id\":\"6f1c8a2e907\",\"port\":8020,\"ok\":1}"; // 60
static_assert(sizeof(kResponse) == 61);
inline constexpr wchar_t kWide[] = L"C:\\Users\\J\u00fcrgen\\AppData\\Local\\ZeltoClient\\auth module";

// One call each, as a caller writes it. `number` changes from call to call.
inline void TraceConstant(int) {
    TRACE_INFO("trace stopped");
}
inline void TraceTypical(int) {
    TRACE_INFO("%s() response=%s", kTag, kResponse);
}
inline void TraceNumbers(int number) {
    TRACE_INFO("port=%d status=%d length=%u flags=%x id=%llu", 8020, 200, 1u + static_cast<unsigned>(number),
               0x3FEu, 123456789012ull);
}
inline void TraceWide(int) {
    TRACE_INFO("folder %S", kWide);
}
inline void TraceErrorRecord(int) {
    TRACE_ERROR("%s() response=%s", kTag, kResponse);
}

// A peer has no wide strings here: its callers convert them.
inline std::string_view WideAsUtf8(char (&memory)[256]) {
    const int length = WideCharToMultiByte(CP_UTF8, 0, kWide, -1, memory, sizeof(memory), nullptr, nullptr);
    return {memory, static_cast<std::size_t>(length - 1)};
}

inline void PeerConstant(spdlog::logger& logger, int) {
    SPDLOG_LOGGER_INFO(&logger, "trace stopped");
}
inline void PeerTypical(spdlog::logger& logger, int) {
    SPDLOG_LOGGER_INFO(&logger, "{}() response={}", &kTag[0], &kResponse[0]);
}
inline void PeerNumbers(spdlog::logger& logger, int number) {
    SPDLOG_LOGGER_INFO(&logger, "port={} status={} length={} flags={:#x} id={}", 8020, 200,
                       1u + static_cast<unsigned>(number), 0x3FEu, 123456789012ull);
}
inline void PeerWide(spdlog::logger& logger, int) {
    char memory[256];
    SPDLOG_LOGGER_INFO(&logger, "folder {}", WideAsUtf8(memory));
}
inline void PeerErrorRecord(spdlog::logger& logger, int) {
    SPDLOG_LOGGER_ERROR(&logger, "{}() response={}", &kTag[0], &kResponse[0]);
}

} // namespace zelto::bench
