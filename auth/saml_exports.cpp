#include "auth/named_guard.h"
#include "auth/provider_table.h"
#include "auth/result_codes.h"
#include "trace/trace.h"
#include "zelto_auth.h"

namespace zelto {
namespace {

// The frame of the three exports: at most one sign-in of each kind at a time in this session. A guard that
// cannot be made keeps nobody from signing in.
template <class SignIn>
std::uint32_t SignInGuarded(const char* name, const wchar_t* url, const char* response, SignIn signIn) {
    TRACE_INFO("dll-%s called", name);
    if (url == nullptr || response == nullptr) {
        TRACE_ERROR("Invalid parameter");
        return AUTH_E_INVALID_PARAMETER;
    }
    const NamedGuard guard = OpenNamedGuard(name);
    if (guard.alreadyExisted) {
        TRACE_ERROR("Repeat auth");
        return AUTH_E_BUSY;
    }
    return signIn();
}

} // namespace
} // namespace zelto

uint32_t SamlAuthGetResponseUsingElectron(const wchar_t* url, const wchar_t* description,
                                          const wchar_t* samlObject, const wchar_t* objectName,
                                          uint32_t ignoreCertificate, uint32_t timeoutMs,
                                          uint32_t deleteCookies, char* response, uint32_t responseSize,
                                          char* serverIp, uint32_t serverIpSize,
                                          int32_t autoSelectCertificate) {
    return zelto::SignInGuarded("SamlAuthGetResponseUsingElectron", url, response, [&] {
        return SamlGetResponseUsingExternalAuthProvider(
            zelto::kProviderElectron, url, description, samlObject, objectName, ignoreCertificate, timeoutMs,
            deleteCookies, response, responseSize, serverIp, serverIpSize, autoSelectCertificate);
    });
}

uint32_t SamlAuthGetResponseUsingWebBrowser(const wchar_t* url, const wchar_t* description,
                                            const wchar_t* samlObject, const wchar_t* objectName,
                                            uint32_t ignoreCertificate, uint32_t timeoutMs,
                                            uint32_t deleteCookies, char* response, uint32_t responseSize,
                                            char* serverIp, uint32_t serverIpSize,
                                            int32_t autoSelectCertificate) {
    return zelto::SignInGuarded("SamlAuthGetResponseUsingWebBrowser", url, response, [&] {
        return SamlGetResponseUsingExternalAuthProvider(
            zelto::kProviderWebBrowser, url, description, samlObject, objectName, ignoreCertificate,
            timeoutMs, deleteCookies, response, responseSize, serverIp, serverIpSize, autoSelectCertificate);
    });
}

uint32_t SamlAuthGetResponseUsingWebView2(const wchar_t* url, const wchar_t* description,
                                          const wchar_t* samlObject, const wchar_t* objectName,
                                          uint32_t ignoreCertificate, uint32_t timeoutMs,
                                          uint32_t deleteCookies, char* response, uint32_t responseSize,
                                          char* serverIp, uint32_t serverIpSize,
                                          int32_t autoSelectCertificate) {
    return zelto::SignInGuarded("SamlAuthGetResponseUsingWebView2", url, response, [&] {
        return SamlGetResponseUsingExternalAuthProvider(
            zelto::kProviderWebView2, url, description, samlObject, objectName, ignoreCertificate, timeoutMs,
            deleteCookies, response, responseSize, serverIp, serverIpSize, autoSelectCertificate);
    });
}
