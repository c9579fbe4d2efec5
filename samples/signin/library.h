#pragma once

#include <zelto_auth.h>

// The library's functions that this program calls.
typedef uint32_t (*SslSignIn)(const wchar_t* gateway, uint32_t maximumTimeoutSeconds, char* outputBuffer,
                              uint32_t outputBufferSize, void* exitEvent);
typedef uint32_t (*IpsecSignIn)(const wchar_t* gatewayHost, uint32_t gatewayPort, const wchar_t* userId,
                                uint32_t timeoutMs, wchar_t* tokenBuffer, uint32_t tokenBufferSize,
                                wchar_t* userNameBuffer, uint32_t userNameBufferSize, void* exitEvent);
typedef uint32_t (*SessionSignIn)(const wchar_t* gatewayUrl, uint64_t ignored, char* responseBuffer,
                                  uint32_t responseBufferSize);
typedef uint32_t (*ClearFunction)(void);
typedef uint32_t (*GetAzureToken)(const wchar_t* clientId, const wchar_t* tenantName, uint64_t reserved,
                                  char* responseBuffer, uint32_t responseBufferSize);
typedef uint32_t (*SamlSignIn)(const wchar_t* url, const wchar_t* description, const wchar_t* samlObject,
                               const wchar_t* objectName, uint32_t ignoreCertificate, uint32_t timeoutMs,
                               uint32_t deleteCookies, char* response, uint32_t responseSize, char* serverIp,
                               uint32_t serverIpSize, int32_t autoSelectCertificate);
typedef uint32_t (*BasicSignIn)(char* userName, uint32_t userNameSize, char* password, uint32_t passwordSize,
                                char* certificate, uint32_t certificateSize, const wchar_t* description,
                                uint32_t timeoutMs);
typedef uint32_t (*TwoFactorSignIn)(const char* description, char* answer, uint64_t answerSize,
                                    uint32_t timeoutMs, TwoFactorCallback callback, void* context);
typedef int32_t (*StopRunning)(void);

typedef struct {
    void* module; // HMODULE
    SslSignIn sslSignIn;
    IpsecSignIn ipsecSignIn;
    SessionSignIn sessionSignIn;
    ClearFunction clearCookies;
    ClearFunction clearBrowserData;
    GetAzureToken getAzureToken;
    SamlSignIn samlElectron;
    SamlSignIn samlWebBrowser;
    SamlSignIn samlWebView2;
    BasicSignIn basicSignIn;
    TwoFactorSignIn twoFactorSignIn;
    StopRunning stopRunning;
} Library;

// Loads the DLL at path, or, when path is null, ZeltoAuth.dll beside this program, and looks the functions
// up. Returns 0 after saying what is wrong on stderr.
int LoadLibraryAndFunctions(const wchar_t* path, Library* library);

void UnloadLibrary(Library* library);
