#include "auth/bounded_copy.h"
#include "auth/named_guard.h"
#include "auth/result_codes.h"
#include "auth/wipe_guard.h"
#include "extbrowser/callback_thread.h"
#include "extbrowser/ipsec_login.h"
#include "extbrowser/ipsec_redirect.h"
#include "extbrowser/ipsec_start_url_query.h"
#include "extbrowser/open_browser.h"
#include "extbrowser/utf8_to_wide.h"
#include "trace/trace.h"
#include "zelto_auth.h"

#include <chrono>
#include <new>
#include <windows.h>

namespace zelto {
namespace {

constexpr char kTag[] = "GetIpsecSamlDataExternalBrowser";
constexpr wchar_t kGuardName[] = L"GetIpsecSamlDataExternalBrowser";

// What the caller passed in, checked.
struct Arguments {
    const wchar_t* gatewayHost;
    std::uint32_t gatewayPort;
    const wchar_t* userId;
    std::uint32_t timeoutMs;
    wchar_t* tokenBuffer;
    std::uint32_t tokenBufferSize;
    wchar_t* userNameBuffer;
    std::uint32_t userNameBufferSize;
    HANDLE exitEvent;
};

// The working values of one sign-in. What the listener's thread touches of them it owns or shares: it is
// never joined and may still be ending when they are gone.
struct SignIn {
    std::uint32_t result = AUTH_E_FAILED;
    std::promise<HttpUtilsError> outcomePromise;
    std::future<HttpUtilsError> outcome = outcomePromise.get_future();
    std::promise<std::uint32_t> portPromise;
    std::future<std::uint32_t> port = portPromise.get_future();
    std::shared_ptr<CallbackRequest> request = std::make_shared<CallbackRequest>();
    std::wstring tokenId;
    const WipeGuard<wchar_t> tokenIdWiped{tokenId};
    std::wstring userName;
    const WipeGuard<wchar_t> userNameWiped{userName};
};

void StartListener(SignIn& signIn, const Arguments& arguments) {
    CallbackTask task;
    task.result = std::move(signIn.outcomePromise);
    task.portPromise = std::move(signIn.portPromise);
    task.timeoutMs = arguments.timeoutMs;
    task.request = signIn.request;
    task.exitEvent = arguments.exitEvent;
    StartCallbackThread(std::move(task)).detach();
}

// Waits until the listener has bound a port. False when it failed before that.
bool WaitForPort(SignIn& signIn, std::uint32_t& port) {
    try {
        port = signIn.port.get();
    } catch (const std::future_error&) {
        return false;
    }
    TRACE_DEBUG("%s() listen on port %lu for external browser request.", kTag, port);
    return true;
}

bool HasOutcome(const std::future<HttpUtilsError>& outcome) {
    return outcome.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

// The gateway named no page. A listener that has already ended is asked for its outcome all the same: it may
// even have the browser's request.
HttpUtilsError GiveUp(SignIn& signIn, HANDLE exitEvent) {
    TRACE_ERROR("%s() Failed to get ipsec saml external browser start url.", kTag);
    if (HasOutcome(signIn.outcome)) {
        TRACE_WARNING("%s() User cancelled the connection.", kTag);
        return WaitForCallback(signIn.outcome);
    }
    SetEvent(exitEvent);
    signIn.result = AUTH_E_TIMEOUT;
    return HttpUtilsError::Failed;
}

// Starts the listener, asks the gateway for the page at which the sign-in starts, and sends the browser
// there.
HttpUtilsError WaitForBrowser(SignIn& signIn, const Arguments& arguments) {
    const AbandonGuard abandoned(*signIn.request);
    StartListener(signIn, arguments);
    std::uint32_t port = 0;
    if (!WaitForPort(signIn, port)) {
        return WaitForCallback(signIn.outcome);
    }
    std::wstring startUrl;
    const WipeGuard startUrlWiped(startUrl);
    if (!QueryIpsecExtBrowserSamlStartUrl(startUrl, arguments.gatewayHost, arguments.gatewayPort,
                                          BuildIpsecLoginBody(arguments.userId, port))) {
        return GiveUp(signIn, arguments.exitEvent);
    }
    OpenBrowser(startUrl);
    return WaitForCallback(signIn.outcome);
}

// Turns away a second caller. A sign-in that does not come about counts as one whose listener failed.
HttpUtilsError WaitGuarded(SignIn& signIn, const Arguments& arguments, const NamedGuard& guard) {
    if (!guard.mutex) {
        TRACE_ERROR("%s() CreateMutex() failed.", kTag);
        return HttpUtilsError::Failed;
    }
    if (guard.alreadyExisted) {
        TRACE_ERROR("External browser repeat auth");
        signIn.result = AUTH_E_BUSY;
        return HttpUtilsError::Failed;
    }
    return WaitForBrowser(signIn, arguments);
}

// Without memory Utf8ToWide gives the empty text: a value that is lost must not pass for one that is missing.
void TakeValue(std::wstring& wide, const std::string& value) {
    MoveSecret(wide, Utf8ToWide(value));
    if (wide.empty() && !value.empty() && value.front() != '\0') {
        throw std::bad_alloc();
    }
}

void TakeValues(SignIn& signIn) {
    std::string request = RequestText(*signIn.request);
    const WipeGuard requestWiped(request);
    std::string tokenId = ReadTokenId(request);
    const WipeGuard tokenIdWiped(tokenId);
    std::string userName = ReadUserName(request);
    const WipeGuard userNameWiped(userName);
    TakeValue(signIn.tokenId, tokenId);
    TakeValue(signIn.userName, userName);
    signIn.result = AUTH_S_OK;
}

void ActOnOutcome(HttpUtilsError outcome, SignIn& signIn) {
    switch (outcome) {
    case HttpUtilsError::Success:
        TakeValues(signIn);
        break;
    case HttpUtilsError::Cancelled:
        signIn.result = AUTH_E_CANCELLED;
        break;
    case HttpUtilsError::TimedOut:
        signIn.result = AUTH_E_TIMEOUT;
        break;
    default:
        TRACE_ERROR("Could not determine error code %lu.", static_cast<std::uint32_t>(outcome));
        break;
    }
}

void RunGuarded(SignIn& signIn, const Arguments& arguments) {
    const NamedGuard guard = OpenNamedGuard(kGuardName);
    ActOnOutcome(WaitGuarded(signIn, arguments, guard), signIn);
}

// Both values or neither.
std::uint32_t Deliver(const SignIn& signIn, const Arguments& arguments) {
    if (!FitsBuffer(arguments.tokenBufferSize, signIn.tokenId) ||
        !FitsBuffer(arguments.userNameBufferSize, signIn.userName)) {
        TRACE_ERROR("%s() buffer too small.", kTag);
        return AUTH_E_INVALID_PARAMETER;
    }
    CopyTruncating(arguments.tokenBuffer, arguments.tokenBufferSize, signIn.tokenId);
    CopyTruncating(arguments.userNameBuffer, arguments.userNameBufferSize, signIn.userName);
    return AUTH_S_OK;
}

std::uint32_t Run(const Arguments& arguments) {
    TRACE_DEBUG("%s() starts.", kTag);
    SignIn signIn;
    RunGuarded(signIn, arguments);
    if (signIn.result != AUTH_S_OK) {
        TRACE_ERROR("%s() Could not get ipsec saml data by external browser.", kTag);
        return signIn.result;
    }
    return Deliver(signIn, arguments);
}

} // namespace
} // namespace zelto

// std::system_error of a thread that cannot be started leaves the export deliberately. Lack of memory does
// not: hosts written in C could not survive it.
uint32_t GetIpsecSamlDataExternalBrowser(const wchar_t* gatewayHost, uint32_t gatewayPort,
                                         const wchar_t* userId, uint32_t timeoutMs, wchar_t* tokenBuffer,
                                         uint32_t tokenBufferSize, wchar_t* userNameBuffer,
                                         uint32_t userNameBufferSize, void* exitEvent) {
    if (gatewayHost == nullptr || userId == nullptr || tokenBuffer == nullptr || userNameBuffer == nullptr ||
        exitEvent == nullptr) {
        return zelto::AUTH_E_INVALID_PARAMETER;
    }
    try {
        return zelto::Run({gatewayHost, gatewayPort, userId, timeoutMs, tokenBuffer, tokenBufferSize,
                           userNameBuffer, userNameBufferSize, exitEvent});
    } catch (const std::bad_alloc&) {
        TRACE_ERROR("%s() out of memory.", zelto::kTag);
        return zelto::AUTH_E_FAILED;
    }
}
