#include "auth/bounded_copy.h"
#include "auth/launcher.h"
#include "auth/result_codes.h"
#include "auth/saml_options.h"
#include "auth/split_by_any_of.h"
#include "trace/trace.h"
#include "zelto_auth.h"

#include <cstddef>
#include <new>

namespace zelto {
namespace {

constexpr char kTag[] = "SamlGetResponseUsingExternalAuthProvider";

// The caller's buffers.
struct Outputs {
    char* response;
    std::uint32_t responseSize;
    char* serverIp;
    std::uint32_t serverIpSize;
};

// An answer's lines, and the fields of each line behind the first. All of it is made before the first of the caller's
// buffers is written: after a failure they are as they were. Lines and fields wipe themselves.
struct AnswerLines {
    std::vector<SecretText> lines;
    std::vector<std::vector<SecretText>> fields; // those of line 1 come first
};

AnswerLines SplitAnswer(const SecretText& answer) {
    AnswerLines split{SplitByAnyOf(answer.View(), "\n"), {}};
    for (std::size_t number = 1; number < split.lines.size(); ++number) {
        split.fields.push_back(SplitByAnyOf(split.lines[number].View(), ":"));
    }
    return split;
}

// Every colon cuts, so an address that holds one is reported up to there.
void ReadKeyAndValue(const std::vector<SecretText>& fields, const Outputs& outputs) noexcept {
    if (fields.size() < 2 || fields[0].View() != "ServerIp" || outputs.serverIp == nullptr ||
        outputs.serverIpSize == 0) {
        return;
    }
    CopyTruncating(outputs.serverIp, outputs.serverIpSize, fields[1].View());
    TRACE_DEBUG("[%s] Server IP set to %s", kTag, fields[1].CString());
}

// First line: the SAML response. Behind it: keys and values.
void ReadAnswerLines(const AnswerLines& answer, const Outputs& outputs) noexcept {
    if (outputs.responseSize != 0) {
        CopyTruncating(outputs.response, outputs.responseSize, answer.lines[0].View());
        TRACE_DEBUG("[%s] Response buffer set", kTag);
    }
    for (std::size_t number = 1; number < answer.lines.size(); ++number) {
        TRACE_DEBUG("Processing line %d: %s", static_cast<std::uint32_t>(number),
                    answer.lines[number].CString());
        ReadKeyAndValue(answer.fields[number - 1], outputs);
    }
}

std::uint32_t AskModule(ProviderKind kind, const SamlRequest& request, const Outputs& outputs) {
    SecretText answer;
    const std::uint32_t result = RunZeltoAuthInSession(SamlOptions(request), answer, kind);
    if (result != AUTH_S_OK) {
        TRACE_ERROR("RunZeltoAuthInSession=%08x", result);
        return result;
    }
    TRACE_INFO("RunZeltoAuthInSession=%08x", result);
    ReadAnswerLines(SplitAnswer(answer), outputs);
    return result;
}

// The answer is wiped when this returns.
std::uint32_t AskModuleSafely(ProviderKind kind, const SamlRequest& request,
                              const Outputs& outputs) noexcept {
    try {
        return AskModule(kind, request, outputs);
    } catch (const std::bad_alloc&) {
        TRACE_ERROR("%s() out of memory.", kTag);
        return AUTH_E_FAILED;
    }
}

} // namespace
} // namespace zelto

uint32_t SamlGetResponseUsingExternalAuthProvider(uint32_t providerKind, const wchar_t* url,
                                                  const wchar_t* description, const wchar_t* samlObject,
                                                  const wchar_t* objectName, uint32_t ignoreCertificate,
                                                  uint32_t timeoutMs, uint32_t deleteCookies, char* response,
                                                  uint32_t responseSize, char* serverIp,
                                                  uint32_t serverIpSize, int32_t autoSelectCertificate) {
    if (url == nullptr || response == nullptr) {
        TRACE_ERROR("Invalid parameter");
        return zelto::AUTH_E_INVALID_PARAMETER;
    }
    const zelto::SamlRequest request = {url,
                                        description,
                                        samlObject,
                                        objectName,
                                        ignoreCertificate,
                                        timeoutMs,
                                        deleteCookies != 0,
                                        autoSelectCertificate != 0};
    const std::uint32_t result =
        zelto::AskModuleSafely(providerKind, request, {response, responseSize, serverIp, serverIpSize});
    TRACE_INFO("%s exit with HRESULT=0x%08x", zelto::kTag, result);
    return result;
}
