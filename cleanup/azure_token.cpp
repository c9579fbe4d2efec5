#include "auth/result_codes.h"
#include "cleanup/token_command_line.h"
#include "cleanup/token_process.h"
#include "cleanup/token_program_folder.h"
#include "cleanup/token_text.h"
#include "trace/trace.h"
#include "zelto_auth.h"

#include <new>
#include <windows.h>

namespace zelto {
namespace {

constexpr char kTag[] = "SamlAuthGetAzureToken";

// What the token program wrote; nothing when it did not run.
SecretBytes FetchOutput(const wchar_t* clientId, const wchar_t* tenantName) {
    TokenPipes pipes;
    if (!CreateTokenPipes(pipes)) {
        return {};
    }
    const std::optional<std::wstring> folder = FindTokenProgramFolder();
    if (!folder) {
        return {};
    }
    std::wstring commandLine = BuildTokenCommandLine(*folder, clientId, tenantName);
    TRACE_INFO("raw command: %ws", commandLine.c_str());
    return RunTokenProgram(std::move(commandLine), pipes);
}

std::uint32_t GetToken(const wchar_t* clientId, const wchar_t* tenantName, char* buffer, std::uint32_t size) {
    const SecretBytes output = FetchOutput(clientId, tenantName);
    const std::optional<std::string_view> token =
        FindToken({reinterpret_cast<const char*>(output.data()), output.size()});
    if (!token) {
        return AUTH_E_FAILED;
    }
    CopyToken(buffer, size, *token);
    return AUTH_S_OK;
}

} // namespace
} // namespace zelto

uint32_t SamlAuthGetAzureToken(const wchar_t* clientId, const wchar_t* tenantName, uint64_t,
                               char* responseBuffer, uint32_t responseBufferSize) {
    if (responseBuffer == nullptr || clientId == nullptr || tenantName == nullptr) {
        TRACE_ERROR("responseBuffer=%p, clientId=%p, tenantName=%p", responseBuffer, clientId, tenantName);
        return zelto::AUTH_E_INVALID_PARAMETER;
    }
    try {
        return zelto::GetToken(clientId, tenantName, responseBuffer, responseBufferSize);
    } catch (const std::bad_alloc&) {
        TRACE_ERROR("%s() out of memory.", zelto::kTag);
        return zelto::AUTH_E_FAILED;
    }
}
