#include "auth/bounded_copy.h"
#include "auth/launcher.h"
#include "auth/narrow_to_wide.h"
#include "auth/prompt_options.h"
#include "auth/result_codes.h"
#include "auth/split_by_any_of.h"
#include "zelto_auth.h"

#include <cstring>
#include <new>

namespace zelto {
namespace {

constexpr std::uint32_t kShortestTimeoutMs = 1000;
constexpr std::size_t kAnswerFields = 3; // user name, password, certificate choice

// The caller's buffers; the user name's is also read.
struct Buffers {
    char* userName;
    std::uint32_t userNameSize;
    char* password;
    std::uint32_t passwordSize;
    char* certificate;
    std::uint32_t certificateSize;
};

// User name and password are asked for together or not at all, and at least something is asked for.
bool AreConsistent(const Buffers& buffers) noexcept {
    const bool certificate = buffers.certificate != nullptr && buffers.certificateSize != 0;
    const bool noCertificate = buffers.certificate == nullptr && buffers.certificateSize == 0;
    if (buffers.userName != nullptr) {
        return buffers.userNameSize != 0 && buffers.password != nullptr && buffers.passwordSize != 0 &&
               (certificate || noCertificate);
    }
    return buffers.userNameSize == 0 && buffers.password == nullptr && buffers.passwordSize == 0 &&
           certificate;
}

std::wstring Options(const Buffers& buffers, const wchar_t* description, std::uint32_t timeoutMs) {
    const bool certificate = buffers.certificate != nullptr;
    if (buffers.userName == nullptr) {
        return BasicOptions(nullptr, description, timeoutMs, certificate);
    }
    // A buffer that is not terminated is read up to its end.
    const std::string_view offered(buffers.userName, strnlen(buffers.userName, buffers.userNameSize));
    const std::wstring userName = NarrowToWide(offered, kOptionsSize);
    return BasicOptions(userName.c_str(), description, timeoutMs, certificate);
}

// An answer of any other form changes nothing, on purpose. The fields wipe themselves.
void Deliver(const SecretText& answer, const Buffers& buffers) {
    const std::vector<SecretText> fields = SplitByAnyOf(answer.View(), "\n");
    if (fields.size() != kAnswerFields) {
        return;
    }
    CopyTruncating(buffers.userName, buffers.userNameSize, fields[0].View());
    CopyTruncating(buffers.password, buffers.passwordSize, fields[1].View());
    CopyTruncating(buffers.certificate, buffers.certificateSize, fields[2].View());
}

std::uint32_t AskModule(const Buffers& buffers, const wchar_t* description, std::uint32_t timeoutMs) {
    SecretText answer;
    const std::uint32_t result =
        RunZeltoAuthInSession(Options(buffers, description, timeoutMs), answer, kProviderZeltoAuth);
    if (result == AUTH_S_OK) {
        Deliver(answer, buffers);
    }
    return result;
}

} // namespace
} // namespace zelto

uint32_t BasicAuthGetResponse(char* userName, uint32_t userNameSize, char* password, uint32_t passwordSize,
                              char* certificate, uint32_t certificateSize, const wchar_t* description,
                              uint32_t timeoutMs) {
    const zelto::Buffers buffers = {userName,     userNameSize, password,
                                    passwordSize, certificate,  certificateSize};
    if (timeoutMs < zelto::kShortestTimeoutMs || description == nullptr || !zelto::AreConsistent(buffers)) {
        return zelto::AUTH_E_INVALID_PARAMETER;
    }
    try {
        return zelto::AskModule(buffers, description, timeoutMs);
    } catch (const std::bad_alloc&) {
        return zelto::AUTH_E_FAILED;
    }
}
