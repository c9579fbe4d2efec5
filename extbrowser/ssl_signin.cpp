#include "auth/bounded_copy.h"
#include "auth/named_guard.h"
#include "auth/result_codes.h"
#include "auth/wipe_guard.h"
#include "extbrowser/callback_thread.h"
#include "extbrowser/extract_between.h"
#include "extbrowser/gateway_address.h"
#include "extbrowser/local_port.h"
#include "extbrowser/open_browser.h"
#include "extbrowser/remote_info.h"
#include "extbrowser/remote_info_query.h"
#include "extbrowser/ssl_start_url.h"
#include "trace/trace.h"
#include "zelto_auth.h"

#include <algorithm>
#include <new>
#include <windows.h>

namespace zelto {
namespace {

constexpr char kTag[] = "GetSslSamlDataExternalBrowser";
constexpr wchar_t kGuardName[] = L"GetSslSamlDataExternalBrowser";

// What the caller passed in, checked.
struct Arguments {
    const wchar_t* gateway;
    std::uint32_t maximumTimeoutSeconds;
    char* outputBuffer;
    std::uint32_t outputBufferSize;
    HANDLE exitEvent;
};

// The working values of one sign-in.
struct SignIn {
    std::promise<HttpUtilsError> resultPromise;
    std::future<HttpUtilsError> result = resultPromise.get_future();
    std::wstring szPureUrl;
    std::wstring szRealm;
    std::uint32_t dwRemotePort = 0;
    std::string remoteInfo; // the gateway's answer
    std::wstring startUrl;
    std::shared_ptr<CallbackRequest> request;
};

// The gateway's time-out, but never more than the caller allows; 0 when the gateway names none.
std::uint32_t TimeoutSeconds(const SignIn& signIn, std::uint32_t maximum) {
    const std::uint32_t seconds = std::min(ReadRemoteAuthTimeout(signIn.remoteInfo), maximum);
    TRACE_INFO("Timeout for external browser auth: %d", seconds);
    return seconds;
}

// Starts the listener, sends the browser to the gateway and waits until the listener's thread has ended.
HttpUtilsError WaitForBrowser(SignIn& signIn, std::uint32_t ssoPort, std::uint32_t timeoutSeconds,
                              HANDLE exitEvent) {
    signIn.request = std::make_shared<CallbackRequest>();
    CallbackTask task;
    task.result = std::move(signIn.resultPromise);
    task.port = ssoPort;
    task.timeoutMs = timeoutSeconds * 1000; // 32 bits, wraps around
    task.request = signIn.request;
    task.exitEvent = exitEvent;
    // Built before there is a listener: a lack of memory here must not leave the caller waiting for one.
    signIn.startUrl = BuildSslStartUrl(signIn.szPureUrl, signIn.dwRemotePort, signIn.szRealm);
    const JoiningThread listener(StartCallbackThread(std::move(task)));
    OpenBrowser(signIn.startUrl);
    return WaitForCallback(signIn.result);
}

std::uint32_t DeliverId(const std::string& id, char* buffer, std::uint32_t size) {
    if (!FitsBuffer(size, id)) {
        TRACE_ERROR("%s() buffer too small.", kTag);
        CopyTruncating(buffer, size, "");
        return AUTH_E_FAILED;
    }
    CopyTruncating(buffer, size, id);
    TRACE_INFO("%s() Get auth id from external browser successfully.", kTag);
    return AUTH_S_OK;
}

std::uint32_t ActOnOutcome(HttpUtilsError outcome, const SignIn& signIn, const Arguments& arguments) {
    switch (outcome) {
    case HttpUtilsError::Success: {
        std::string request = RequestText(*signIn.request);
        const WipeGuard requestWiped(request);
        std::string id = ExtractBetween(request, "?id=", " ");
        const WipeGuard idWiped(id);
        return id.empty() ? AUTH_E_FAILED : DeliverId(id, arguments.outputBuffer, arguments.outputBufferSize);
    }
    case HttpUtilsError::Cancelled:
        return AUTH_E_CANCELLED;
    case HttpUtilsError::TimedOut:
        return AUTH_E_TIMEOUT;
    default:
        TRACE_ERROR("Could not determine error code %lu.", static_cast<std::uint32_t>(outcome));
        return AUTH_E_FAILED;
    }
}

std::uint32_t RunGuarded(SignIn& signIn, const Arguments& arguments) {
    ParseRemoteGateway(arguments.gateway, signIn.szPureUrl, signIn.szRealm, signIn.dwRemotePort);
    if (GetRemoteInfo(signIn.remoteInfo, signIn.szPureUrl, signIn.dwRemotePort) != 0) {
        return kGatewayFailed;
    }
    const std::uint32_t ssoPort = ReadSsoPort(signIn.remoteInfo);
    if (ssoPort == 0) {
        return kGatewayFailed;
    }
    if (!IsPortUsable(ssoPort)) {
        return AUTH_E_PORT_UNUSABLE;
    }
    const std::uint32_t timeoutSeconds = TimeoutSeconds(signIn, arguments.maximumTimeoutSeconds);
    const HttpUtilsError outcome = WaitForBrowser(signIn, ssoPort, timeoutSeconds, arguments.exitEvent);
    return ActOnOutcome(outcome, signIn, arguments);
}

std::uint32_t Run(const Arguments& arguments) {
    // Declared before the guard, so that the mutex is closed first: whoever sees the end of this sign-in by
    // its mutex may begin the next one.
    SignIn signIn;
    const NamedGuard guard = OpenNamedGuard(kGuardName);
    if (!guard.mutex) {
        TRACE_ERROR("CreateMutex() failed.");
        return AUTH_E_FAILED;
    }
    if (guard.alreadyExisted) {
        TRACE_ERROR("External browser repeat auth");
        return AUTH_E_BUSY;
    }
    return RunGuarded(signIn, arguments);
}

} // namespace
} // namespace zelto

// std::system_error of a thread that cannot be started leaves the export deliberately. Lack of memory does
// not: hosts written in C could not survive it.
uint32_t GetSslSamlDataExternalBrowser(const wchar_t* gateway, uint32_t maximumTimeoutSeconds,
                                       char* outputBuffer, uint32_t outputBufferSize, void* exitEvent) {
    if (gateway == nullptr || outputBuffer == nullptr || exitEvent == nullptr) {
        return zelto::AUTH_E_INVALID_PARAMETER;
    }
    try {
        return zelto::Run({gateway, maximumTimeoutSeconds, outputBuffer, outputBufferSize, exitEvent});
    } catch (const std::bad_alloc&) {
        TRACE_ERROR("%s() out of memory.", zelto::kTag);
        return zelto::AUTH_E_FAILED;
    }
}
