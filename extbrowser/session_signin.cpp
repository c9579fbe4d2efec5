#include "auth/bounded_copy.h"
#include "auth/inheritance_hold.h"
#include "auth/named_guard.h"
#include "auth/result_codes.h"
#include "auth/start_thread.h"
#include "auth/wipe_guard.h"
#include "extbrowser/gateway_address.h"
#include "extbrowser/local_port.h"
#include "extbrowser/session_browser.h"
#include "net/listener_thread.h"
#include "session/session_library.h"
#include "trace/trace.h"
#include "zelto_auth.h"

#include <memory>
#include <new>
#include <windows.h>

namespace zelto {
namespace {

constexpr char kGuardName[] = "SamlAuthGetResponseUsingExternalBrowser";

// What the caller passed in, checked.
struct Arguments {
    const wchar_t* gatewayUrl;
    char* responseBuffer;
    std::uint32_t responseBufferSize;
};

// The working values of one sign-in. The listener's thread has pointers to three of them, and is joined
// before they go.
struct SignIn {
    std::wstring szPureUrl;
    std::wstring szRealm;
    std::uint32_t dwRemotePort = 0;
    std::uint32_t redirectPort = 0;
    std::uint32_t timeoutSeconds = 0;
    std::wstring browserUrl;
    std::wstring command;
    std::string authId;
    const WipeGuard<char> authIdWiped{authId};
};

Thread StartListener(SignIn& signIn) {
    auto args = std::make_unique<ListenerThreadArgs>(
        ListenerThreadArgs{&signIn.redirectPort, &signIn.timeoutSeconds, &signIn.authId});
    Thread listener = StartThreadProcedure(&ExtBrowserListenerThread, args.get());
    [[maybe_unused]] const auto* given = args.release(); // the thread's own now, and perhaps freed already
    return listener;
}

int StartCommand(DWORD session, std::wstring& command) noexcept {
    const InheritanceHold hold;
    return CreateProcessInSessionEx(session, nullptr, command.data(), 1, 0, nullptr, nullptr, nullptr);
}

bool StartBrowser(SignIn& signIn) {
    TRACE_INFO("Browser opens URL %ws", signIn.browserUrl.c_str());
    const DWORD session = SelectCurrentActiveTSSession();
    if (session == ZELTO_NO_SESSION) {
        TRACE_ERROR("Failed to get user session ID.");
        return false;
    }
    const int error = StartCommand(session, signIn.command);
    if (error != 0) {
        TRACE_ERROR("Failed to run process in user session. Error code: %d", error);
        return false;
    }
    return true;
}

// Starts the listener and the browser and waits, without end, until the listener's thread has ended.
bool WaitForBrowser(SignIn& signIn, NamedGuard& guard) {
    // Built before there is a listener: from its start to the join nothing here may throw.
    signIn.browserUrl =
        BuildSessionBrowserUrl(signIn.szPureUrl, signIn.dwRemotePort, signIn.szRealm, signIn.redirectPort);
    signIn.command = BuildSessionBrowserCommand(signIn.browserUrl);
    Thread listener = StartListener(signIn);
    if (!StartBrowser(signIn)) {
        // Deliberate: nobody could ever end that listener, so it is neither joined nor detached, and the end
        // of its owner here is the end of the process.
        guard.mutex.reset();
        return false;
    }
    listener.join();
    return true;
}

// The address at which an embedded browser would find the cookie; only logged.
void LogCookieAddress(const wchar_t* gatewayUrl, const std::string& authId) {
    const std::wstring_view gateway = gatewayUrl;
    const std::wstring_view parameter = L"&auth_id=";
    std::wstring address;
    const WipeGuard wiped(address);
    address.reserve(gateway.size() + parameter.size() + authId.size());
    address += gateway;
    address += parameter;
    for (const char byte : authId) {
        address += static_cast<wchar_t>(static_cast<unsigned char>(byte)); // no decoding
    }
    TRACE_INFO("Internal Browser should grab cookie from %ws", address.c_str());
}

// A buffer into which nothing has been written may be without a terminator, and only that one is copied: once
// the id is delivered, lack of memory must not make a failure of it.
void LogResponseBuffer(const Arguments& arguments) {
    TRACE_INFO("SamlGetResponseUsingExternalAuthProvider result: %ld", 0);
    const std::string_view all(arguments.responseBuffer, arguments.responseBufferSize);
    const bool terminated = all.find('\0') != std::string_view::npos;
    std::string copy(terminated ? std::string_view() : all);
    const WipeGuard wiped(copy);
    TRACE_INFO("ResponseBuffer: %s", terminated ? arguments.responseBuffer : copy.c_str());
}

std::uint32_t RunGuarded(SignIn& signIn, const Arguments& arguments, NamedGuard& guard) {
    ParseRemoteGateway(arguments.gatewayUrl, signIn.szPureUrl, signIn.szRealm, signIn.dwRemotePort);
    signIn.redirectPort = AllocateDynamicPort();
    if (signIn.redirectPort == 0) {
        TRACE_ERROR("AllocateDynamicPort Failed");
        return kNoLocalPort;
    }
    TRACE_INFO("ParseRemoteGateway: szPureUrl:%ws szRealm:%ws dwRemotePort:%d redirectPort:%d",
               signIn.szPureUrl.c_str(), signIn.szRealm.c_str(), signIn.dwRemotePort, signIn.redirectPort);
    if (!WaitForBrowser(signIn, guard)) {
        return AUTH_E_FAILED;
    }
    if (!signIn.authId.empty()) {
        LogCookieAddress(arguments.gatewayUrl, signIn.authId);
        CopyTruncating(arguments.responseBuffer, arguments.responseBufferSize, signIn.authId);
    }
    LogResponseBuffer(arguments);
    return AUTH_S_OK;
}

std::uint32_t Run(const Arguments& arguments) {
    SignIn signIn;
    // Without a guard the sign-in goes on all the same.
    NamedGuard guard = OpenNamedGuard(kGuardName);
    if (guard.alreadyExisted) {
        TRACE_ERROR("Repeat auth");
        return AUTH_E_BUSY;
    }
    return RunGuarded(signIn, arguments, guard);
}

} // namespace
} // namespace zelto

// std::system_error of a thread that cannot be started leaves the export deliberately. Lack of memory does
// not: hosts written in C could not survive it.
uint32_t SamlAuthGetResponseUsingExternalBrowser(const wchar_t* gatewayUrl, uint64_t ignored,
                                                 char* responseBuffer, uint32_t responseBufferSize) {
    static_cast<void>(ignored);
    TRACE_INFO("dll-SamlAuthGetResponseUsingExternalBrowser called");
    if (gatewayUrl == nullptr || responseBuffer == nullptr) {
        TRACE_ERROR("Invalid parameter");
        return zelto::AUTH_E_INVALID_PARAMETER;
    }
    try {
        return zelto::Run({gatewayUrl, responseBuffer, responseBufferSize});
    } catch (const std::bad_alloc&) {
        TRACE_ERROR("%s() out of memory.", zelto::kGuardName);
        return zelto::AUTH_E_FAILED;
    }
}
