/*
 * zelto_auth.h - the authentication library of the client.
 *
 * The client's processes load ZeltoAuth.dll, in a user's session or as a service in session 0, to sign a user in to a
 * gateway. This header needs no other than the C standard's; it serves C11 and C++.
 *
 * Conventions
 *
 *   Results   32-bit unsigned. 0 is success; the library's own failures are the ZELTO_AUTH_E_ codes below. Other values
 *             are documented with the function that returns them.
 *   Strings   "wide" ones are zero-terminated UTF-16 (wchar_t of 16 bits), "narrow" ones zero-terminated 8-bit text.
 *             They belong to the caller and need to live until the function returns.
 *   Buffers   belong to the caller. Sizes count characters, the terminating zero included. A function writes at most
 *             that many, always terminates what it writes, and leaves a buffer of size 0 alone.
 *   Handles   (void *, a Windows HANDLE) belong to the caller: the library neither closes nor resets them.
 *   Threads   every function may be called on any thread. A sign-in blocks its caller until it has ended. None may be
 *             called from a DllMain: they start threads and processes and load libraries, which waits for ever there.
 *   Log       each process has its own trace log: in a user's session the file
 *             "%localappdata%\ZeltoClient\logs\trace\<host>.exe_ZeltoAuth.log", in session 0 the file
 *             "logs\trace\<host>.exe_ZeltoAuth.log" beside the executable; errors also go to a copy whose name ends in
 *             "_error.log". A function keeps no secret in it beyond what is said with it.
 *   Unloading FreeLibrary may be called when no function of the library is running. A thread of the library that still
 *             has to end keeps the module loaded until it has.
 *   C++       the functions throw nothing, with one exception that each of them names: when the system can create no
 *             thread, std::system_error (resource_unavailable_try_again) leaves the function. Only a C++ host that is
 *             built with the same compiler and C++ runtime as the library can catch it; with the platform's own compiler
 *             it must also be compiled for functions of C that throw (/EHs). To any other host it is a foreign exception,
 *             which ends the process.
 */
#ifndef ZELTO_AUTH_H
#define ZELTO_AUTH_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Success. */
#define ZELTO_AUTH_S_OK 0x00000000u
/* General failure of a sign-in in the browser or of the fetch of a token; lack of memory in a sign-in through the auth
   module. The trace log says what failed. */
#define ZELTO_AUTH_E_FAILED 0xA7000000u
/* The auth module could not be started. Is it beside ZeltoAuth.dll, and is a user signed in to Windows? */
#define ZELTO_AUTH_E_LAUNCH_FAILED 0xA7000001u
/* A required argument is missing or inconsistent: a defect of the caller. From GetIpsecSamlDataExternalBrowser also: a
   buffer is too small. */
#define ZELTO_AUTH_E_INVALID_PARAMETER 0xA7000002u
/* The browser did not come back in time. Offer the user another try. From GetIpsecSamlDataExternalBrowser also: the
   gateway named no page at which the sign-in starts. */
#define ZELTO_AUTH_E_TIMEOUT 0xA7000003u
/* The system has no memory block for the auth module's answer. */
#define ZELTO_AUTH_E_SHARED_MEMORY 0xA7000004u
/* A sign-in of the same kind is running in this session, or an auth module that this loaded library has started. Wait
   for it, or end it first. */
#define ZELTO_AUTH_E_BUSY 0xA7000005u
/* The caller cancelled. */
#define ZELTO_AUTH_E_CANCELLED 0xA7000007u
/* The local port that the gateway sends the browser to is taken on 127.0.0.1 by another program. */
#define ZELTO_AUTH_E_PORT_UNUSABLE 0xA7000009u
/* Only GetSslSamlDataExternalBrowser: the gateway did not answer, or named no port for the browser's redirect. */
#define ZELTO_AUTH_GATEWAY_FAILED 1u
/* Only SamlAuthGetResponseUsingExternalBrowser: the system gave no local port for the browser's redirect. */
#define ZELTO_AUTH_NO_LOCAL_PORT ZELTO_AUTH_GATEWAY_FAILED

/*
 * Ends the auth module that this loaded library runs, if it runs one: the sign-in that waits for it returns
 * ZELTO_AUTH_E_CANCELLED. May be called on any thread at any time; it never waits. When no auth module is running the
 * call has no effect, also not on the next sign-in.
 *
 * Returns non-zero on success, 0 when the signal could not be given (GetLastError tells why).
 */
int32_t StopRunningZeltoAuth(void);

/*
 * Sign-in through the auth module
 *
 * The six functions below start the auth module, a program of its own that lies beside ZeltoAuth.dll, show its window to
 * the user and return what the user entered or what the gateway gave. It runs in the caller's session, or, when the
 * caller is a service or in a session that is not in use, in the active user session.
 *
 *   One at a time   per loaded library. A second call meanwhile, on whichever thread and of whichever of these
 *                   functions, gets ZELTO_AUTH_E_BUSY at once. A copy of the library that is loaded from another path
 *                   counts for itself.
 *   Time            timeoutMs is in milliseconds and is passed on to the module in whole seconds, rounded down. The
 *                   module ends by itself when it has passed; the library waits for it without a limit.
 *   Cancelling      StopRunningZeltoAuth, on any other thread. A call of it before the module is being started has no
 *                   effect. While SamlAuthGetAzureToken looks for the token program in the same process, the start is
 *                   held up and not cancelled: a call meanwhile ends the module once it has been started.
 *   Results         the module's own exit code, whatever it is: 0 when the user has signed in, others as the module
 *                   defines them (docs/auth-module.md), ZELTO_AUTH_E_ codes as listed with each function.
 *   Current folder  is set to the library's folder, for the whole process, and not set back.
 *   Handles         the module inherits every inheritable handle of the calling process.
 *   Secrets         answers, passwords and tokens are wiped from the library's memory before a function returns. The
 *                   copies in the caller's buffers are the caller's to wipe.
 *   Texts           go to the module's command line between double quotes and unescaped, so they should hold no double
 *                   quote. The command line is cut to 4,095 characters.
 */

/*
 * Signs a user in by SAML in the auth module's own browser window: Electron (Zeltoclient.exe), the system's web browser
 * control, or WebView2 (both ZeltoAuth.exe).
 *
 *   url                     wide, required: the address that the sign-in starts at.
 *   description             wide: shown with the window. Null is the empty text, here and in the next two.
 *   samlObject              wide: what is signed in to, as the module names it ("saml:" is put before it).
 *   objectName              wide: the name of the connection.
 *   ignoreCertificate       passed on as a decimal number; other than 0 the module accepts any server certificate.
 *   timeoutMs               milliseconds. Below 1000 the module is told 0.
 *   deleteCookies           other than 0: the module forgets earlier sign-ins first.
 *   response                narrow, required: receives the SAML response, cut to responseSize. Left as it was unless the
 *                           result is 0; the empty string when the module succeeded but its answer could not be read.
 *   responseSize            its size in bytes, terminator included; with 0 nothing is written.
 *   serverIp                narrow, may be null: receives the server address, if the module names one, up to its first
 *                           colon, cut to serverIpSize. Left as it was otherwise.
 *   serverIpSize            its size in bytes, terminator included.
 *   autoSelectCertificate   other than 0: a client certificate is chosen without asking the user.
 *
 *   ZELTO_AUTH_S_OK                  signed in.
 *   ZELTO_AUTH_E_FAILED              not enough memory, or the module's exit code could not be read.
 *   ZELTO_AUTH_E_LAUNCH_FAILED       the module could not be started, or no user session is active.
 *   ZELTO_AUTH_E_INVALID_PARAMETER   url or response is null.
 *   ZELTO_AUTH_E_SHARED_MEMORY       the memory block for the answer could not be made.
 *   ZELTO_AUTH_E_BUSY                a call of the same function is running in this session, in this or another process,
 *                                    or an auth module of this loaded library is running.
 *   ZELTO_AUTH_E_CANCELLED           StopRunningZeltoAuth was called, or the wait for the module failed; it was ended.
 *   any other value                  the module's exit code.
 *
 * The trace log holds the options, every line of the answer behind the first, and the server address; not the response.
 */
uint32_t SamlAuthGetResponseUsingElectron(const wchar_t* url, const wchar_t* description,
                                          const wchar_t* samlObject, const wchar_t* objectName,
                                          uint32_t ignoreCertificate, uint32_t timeoutMs,
                                          uint32_t deleteCookies, char* response, uint32_t responseSize,
                                          char* serverIp, uint32_t serverIpSize,
                                          int32_t autoSelectCertificate);
uint32_t SamlAuthGetResponseUsingWebBrowser(const wchar_t* url, const wchar_t* description,
                                            const wchar_t* samlObject, const wchar_t* objectName,
                                            uint32_t ignoreCertificate, uint32_t timeoutMs,
                                            uint32_t deleteCookies, char* response, uint32_t responseSize,
                                            char* serverIp, uint32_t serverIpSize,
                                            int32_t autoSelectCertificate);
uint32_t SamlAuthGetResponseUsingWebView2(const wchar_t* url, const wchar_t* description,
                                          const wchar_t* samlObject, const wchar_t* objectName,
                                          uint32_t ignoreCertificate, uint32_t timeoutMs,
                                          uint32_t deleteCookies, char* response, uint32_t responseSize,
                                          char* serverIp, uint32_t serverIpSize,
                                          int32_t autoSelectCertificate);

/*
 * The same for a provider of the caller's choice, and without the guard against a second call in this session: it is
 * one module per loaded library here.
 *
 *   providerKind            0 the plain auth module, 1 Electron, 2 WebView2, 3 web browser control. Any other gives
 *                           ZELTO_AUTH_E_INVALID_PARAMETER.
 *   all others              as above, results too.
 */
uint32_t SamlGetResponseUsingExternalAuthProvider(uint32_t providerKind, const wchar_t* url,
                                                  const wchar_t* description, const wchar_t* samlObject,
                                                  const wchar_t* objectName, uint32_t ignoreCertificate,
                                                  uint32_t timeoutMs, uint32_t deleteCookies, char* response,
                                                  uint32_t responseSize, char* serverIp,
                                                  uint32_t serverIpSize, int32_t autoSelectCertificate);

/*
 * Asks the user for a user name and a password, for a certificate, or for all three. All buffers are narrow, their
 * contents are in the module's encoding, and their sizes are in bytes, terminator included; longer answers are cut.
 *
 *   userName, userNameSize          in and out: the name to offer, in the process's code page, and the one entered. Null
 *                                   and 0 ask for a certificate only; password must then be null and passwordSize 0.
 *   password, passwordSize          required with userName: receives the password.
 *   certificate, certificateSize    null and 0, or a buffer that receives the user's choice of a certificate.
 *   description                     wide, required: shown to the user.
 *   timeoutMs                       milliseconds, at least 1000.
 *
 * The options (name, description, time-out) share 259 characters; what is beyond them is cut off, so a long name or
 * description costs what stands behind it. The buffers are written only when the result is 0 and the module's answer
 * has the three lines that it should have; the result is 0 also when it has not.
 *
 *   ZELTO_AUTH_S_OK                  the user has answered.
 *   ZELTO_AUTH_E_INVALID_PARAMETER   timeoutMs is below 1000, description is null, or the buffers are none of the three
 *                                    combinations above. Nothing was started.
 *   all others                       as above, except that BUSY is for this loaded library only.
 *
 * The trace log holds, at its debug level, the module's command line with the offered name and the description; never
 * the name, the password or the certificate of the answer.
 */
uint32_t BasicAuthGetResponse(char* userName, uint32_t userNameSize, char* password, uint32_t passwordSize,
                              char* certificate, uint32_t certificateSize, const wchar_t* description,
                              uint32_t timeoutMs);

/*
 * Receives the outcome of an asynchronous two-factor prompt, on a thread of the library. What it returns is ignored; no
 * exception may leave it. It may unload the library (once the call that began the prompt has returned, which it may come
 * before), but not wait for another two-factor prompt.
 *
 *   context   as it was given to TwoFactorAuthGetResponse.
 *   result    as TwoFactorAuthGetResponse returns it without a callback.
 *   answer    narrow, never null: the token; empty unless the module answered. Valid during the call only, and wiped
 *             after it.
 */
typedef uint32_t (*TwoFactorCallback)(void* context, uint32_t result, const char* answer);

/*
 * Asks the user for a second-factor token: on the calling thread, or, with a callback, on a thread of the library.
 *
 *   description   narrow, in the process's code page: shown to the user. Null is the empty text. With the time-out it
 *                 shares 259 characters, as above.
 *   answer        narrow, may be null: receives the token, cut to answerSize. Written only without a callback and when
 *                 the result is 0.
 *   answerSize    its size in bytes, terminator included.
 *   timeoutMs     milliseconds. Below 1000 the module is told 0.
 *   callback      null: the call returns when the user has answered. Otherwise the call returns at once, and the
 *                 callback is called once when the user has. Should the system have no thread for it, the result is 0
 *                 and the callback never comes.
 *   context       handed to the callback unchanged.
 *
 *   Without a callback: the results of BasicAuthGetResponse, except that no argument is invalid.
 *   With a callback:
 *   ZELTO_AUTH_S_OK                  the prompt is on its way. The library stays loaded until it has ended.
 *   ZELTO_AUTH_E_BUSY                an earlier prompt with a callback has not ended, its callback included.
 *   ZELTO_AUTH_E_FAILED              not enough memory.
 *
 * The trace log holds, at its debug level, the module's command line with the description; never the token.
 */
uint32_t TwoFactorAuthGetResponse(const char* description, char* answer, uint64_t answerSize,
                                  uint32_t timeoutMs, TwoFactorCallback callback, void* context);

/*
 * Signs a user in for an SSL-VPN tunnel, in the user's own default browser, and returns the authentication id that the
 * gateway gave the browser. The gateway is asked over HTTPS for the local port and the time-out of the sign-in
 * ("/remote/info"; its certificate is not checked by this request); the default browser is opened at the gateway's SAML
 * start page; a listener on 127.0.0.1 takes the browser's last redirect and answers it with a page that says so.
 *
 *   gateway                 wide, required: [scheme://]host[:port][/realm], for example L"https://vpn.example.com:10443".
 *                           Whatever the scheme says, HTTPS is spoken.
 *   maximumTimeoutSeconds   the longest time the sign-in in the browser may take, in seconds. The gateway's own value
 *                           counts when it is smaller; a gateway that names none gives 0, which ends the sign-in at once.
 *   outputBuffer            narrow, required: receives the id. Written on success only, except that an id that does not
 *                           fit leaves the empty string.
 *   outputBufferSize        its size in characters, terminator included.
 *   exitEvent               handle of a Windows event, required: signal it, from any thread, to cancel. Needs
 *                           SYNCHRONIZE access.
 *
 *   ZELTO_AUTH_S_OK                  the id is in outputBuffer.
 *   ZELTO_AUTH_GATEWAY_FAILED        "/remote/info" could not be fetched, or held no usable port. Check the address and
 *                                    that the gateway offers single sign-on.
 *   ZELTO_AUTH_E_FAILED              no id came back, it did not fit outputBuffer, or the listener failed.
 *   ZELTO_AUTH_E_INVALID_PARAMETER   gateway, outputBuffer or exitEvent is null.
 *   ZELTO_AUTH_E_TIMEOUT             the browser did not come back in time.
 *   ZELTO_AUTH_E_BUSY                another sign-in of this kind is running in this session, in this or another process.
 *   ZELTO_AUTH_E_CANCELLED           exitEvent was signalled.
 *   ZELTO_AUTH_E_PORT_UNUSABLE       the port that the gateway names cannot be bound on 127.0.0.1.
 *
 * Blocks for up to about 40 seconds on a gateway that does not answer, and then for the time-out above. Throws
 * std::system_error (resource_unavailable_try_again) when no thread can be created.
 */
uint32_t GetSslSamlDataExternalBrowser(const wchar_t* gateway, uint32_t maximumTimeoutSeconds,
                                       char* outputBuffer, uint32_t outputBufferSize, void* exitEvent);

/*
 * Deletes all cookies of the calling user from the system's URL cache (WinINet): those of every site, whichever
 * program set them. Entries of other kinds stay.
 *
 *   0   every cookie that was found is deleted, also when there was none.
 *   1   at least one could not be deleted, the others are; or there was not enough memory to list them, and none is.
 *       Call again later.
 *
 * Takes as long as the cache is large, and ends only when the cache says that it has no more entries: one that answers
 * with any other error for ever keeps the call for ever. Writes nothing to the log.
 */
uint32_t ClearCookies(void);

/*
 * Removes what sign-ins in the embedded browser leave behind: the cookies, as ClearCookies does, and the embedded
 * browser's folder with everything in it. That is "%localappdata%\ZeltoClient\SamlAuth\" in a user's session and
 * "SamlAuth\" beside the executable in session 0. A path of 260 characters or more is left alone, and so is one that is
 * not a full path, as when "%localappdata%" is not set.
 *
 * Always returns 0, also when something could not be deleted: it is then left as it is. Files that a browser still
 * holds open are tried again for 15 seconds.
 *
 * Blocks its caller for about 15 seconds on top of what ClearCookies takes, whatever there is to delete; without them
 * only when the path is left alone. Writes nothing to the log.
 */
uint32_t SamlAuthClearCookies(void);

/*
 * Signs a user in for an IPsec tunnel, in the user's own default browser, and returns the token id and the user name that
 * the gateway gave the browser. A listener on 127.0.0.1 takes a free port; the gateway is told that port and the user's id
 * over HTTPS ("/saml_login?"; its certificate is not checked by this request) and answers with the page at which the
 * sign-in starts; the default browser is opened there; the listener takes the browser's last redirect and answers it with
 * a page that says so.
 *
 *   gatewayHost             wide, required: name or address of the gateway, without scheme and port.
 *   gatewayPort             its TCP port; the low 16 bits count, and 0 stands for 443.
 *   userId                  wide, required: sent as it is, in UTF-8 and without any encoding.
 *   timeoutMs               the longest time the sign-in may take, in milliseconds, from the start of the listener on;
 *                           the time that the gateway takes to answer counts. Only whole seconds count (1500 is one
 *                           second); less than 1000 ends the sign-in at once.
 *   tokenBuffer             wide, required: receives the token id as it stands in the redirect, not URL-decoded.
 *   tokenBufferSize         its size in wide characters, terminator included.
 *   userNameBuffer          wide, required: receives the user name, URL-decoded. A redirect that lacks one of the two
 *                           values gives the empty string for it, and is a success all the same.
 *   userNameBufferSize      its size in wide characters, terminator included.
 *   exitEvent               handle of a Windows event, required: signal it, from any thread, to cancel. Needs SYNCHRONIZE
 *                           and EVENT_MODIFY_STATE access: when the gateway names no page, the library signals it itself,
 *                           and never resets it. Reset a manual-reset event before the next sign-in. It may be closed as
 *                           soon as the function has returned.
 *
 * The buffers are written on success only, and then both.
 *
 * The shell opens the start page as the gateway names it, also when that is no page but, for example, a program on a
 * share; and the gateway's certificate is not checked. So whoever can answer in the gateway's place can start programs
 * as the caller. Sign in only over networks where nobody can.
 *
 *   ZELTO_AUTH_S_OK                  both values are in their buffers.
 *   ZELTO_AUTH_E_FAILED              the listener failed, the browser connected and sent nothing, the guard against a
 *                                    second sign-in could not be made, or there was not enough memory.
 *   ZELTO_AUTH_E_INVALID_PARAMETER   gatewayHost, userId, a buffer or exitEvent is null; or one of the two values does not
 *                                    fit its buffer. Values have less than 1,024 characters.
 *   ZELTO_AUTH_E_TIMEOUT             the browser did not come back in time; or the gateway did not answer, or named no
 *                                    page, and exitEvent has been signalled for that.
 *   ZELTO_AUTH_E_BUSY                another sign-in of this kind is running in this session, in this or another process.
 *   ZELTO_AUTH_E_CANCELLED           exitEvent was signalled.
 *
 * Blocks for up to about 40 seconds on a gateway that does not answer, and then for what is left of the time-out above.
 * The listener's thread may still be ending when the function returns; it touches nothing that belongs to the caller.
 * The trace log holds the gateway's answer and the address of the start page, but neither of the two values. Throws
 * std::system_error (resource_unavailable_try_again) when no thread can be created.
 */
uint32_t GetIpsecSamlDataExternalBrowser(const wchar_t* gatewayHost, uint32_t gatewayPort,
                                         const wchar_t* userId, uint32_t timeoutMs, wchar_t* tokenBuffer,
                                         uint32_t tokenBufferSize, wchar_t* userNameBuffer,
                                         uint32_t userNameBufferSize, void* exitEvent);

/*
 * Signs a user in by SAML in the default browser of the user at the console, for a caller that may run as a service in
 * another Windows session, and returns the authentication id that the gateway gave the browser. A listener on 127.0.0.1
 * takes a port that the system chooses; the session utility library starts a command interpreter in the active user
 * session, which opens the gateway's page in that user's default browser; the listener takes the browser's redirect and
 * answers it with a page that says so.
 *
 *   gatewayUrl              wide, required: [scheme://]host[:port]/page?query, the gateway's SAML start page, for example
 *                           L"https://vpn.example.com/remote/saml/start?realm=sales". It must have a query already: the
 *                           two parameters that the library adds are appended with "&". Whatever the scheme says, HTTPS
 *                           is opened. The first ":" behind the scheme begins the port, wherever it stands. The rest
 *                           reaches a command interpreter as it is, between double quotes: a double quote in it ends
 *                           them, so that what follows is run as commands of the user, and a name between two percent
 *                           signs may be replaced by a variable's value. Pass none that comes from a stranger.
 *   ignored                 has no meaning.
 *   responseBuffer          narrow, required: receives the id. Left as it was when the browser brought none; initialise
 *                           it, because that is a success all the same.
 *   responseBufferSize      its size in characters, terminator included. A longer id is cut; with 0 nothing is written.
 *
 *   ZELTO_AUTH_S_OK                  the browser came, with or without an id; or the listener failed.
 *   ZELTO_AUTH_NO_LOCAL_PORT         the system gave no local port.
 *   ZELTO_AUTH_E_FAILED              out of memory.
 *   ZELTO_AUTH_E_INVALID_PARAMETER   gatewayUrl or responseBuffer is null.
 *   ZELTO_AUTH_E_BUSY                another sign-in of this kind is running in this session, in this or another process.
 *
 * ENDS THE PROCESS, by std::terminate, when no user session is active or the command cannot be started in it: the
 * listener that then runs could never be ended. The error copy of the trace log says which it was; the log itself may
 * lack what it had not yet written. Call it from a process that may end.
 *
 * Blocks until a browser has connected to the port, without a time-out and without a way to cancel. The first connection
 * that ends counts, whoever made it. Connections of browsers stay open until the process ends; or until nobody in it
 * holds Winsock any more (WSACleanup), which may reset them before the browser has its page: a host that does not use
 * Winsock itself should call WSAStartup once. The trace log holds the id; the response that it shows is what stands in
 * responseBuffer at the end, and empty with a responseBufferSize of 0. Throws std::system_error
 * (resource_unavailable_try_again) when no thread can be created.
 */
uint32_t SamlAuthGetResponseUsingExternalBrowser(const wchar_t* gatewayUrl, uint64_t ignored,
                                                 char* responseBuffer, uint32_t responseBufferSize);

/*
 * Fetches an Azure access token: runs the client's token program, "AzureToken2.exe", as a child of the calling process
 * and returns what it writes behind the first "|". The program is found through the client's registration with Windows
 * Installer, in whatever folder the client is installed.
 *
 *   clientId             wide, required: the application's (client) id.
 *   tenantName           wide, required: the tenant.
 *   reserved             not used; pass 0.
 *   responseBuffer       narrow, required: receives the token. Written on success only.
 *   responseBufferSize   its size in characters, terminator included. A token that does not fit leaves the empty string;
 *                        the result is ZELTO_AUTH_S_OK all the same. Tokens have some thousand characters.
 *
 *   ZELTO_AUTH_S_OK                  the token is in responseBuffer. It may be empty.
 *   ZELTO_AUTH_E_FAILED              the token program is not installed, could not be started, or wrote no "|"; or there
 *                                    was not enough memory.
 *   ZELTO_AUTH_E_INVALID_PARAMETER   clientId, tenantName or responseBuffer is null.
 *
 * The two texts become part of the program's command line as they are, without quotation marks: pass none that comes
 * from a stranger. The program's path has none either: with a blank in it ("C:\Program Files\..."), the system first
 * tries what stands before the blank ("C:\Program.exe"). Install the client where only administrators may write, also
 * above its folder. The log holds that command line, never the token.
 *
 * Blocks until the token program has ended and its output has been closed, however long that takes: a program that it
 * has started, and that has its output, keeps the call. The program inherits every inheritable handle of the calling
 * process; while it is looked for and started, other functions of the library wait with their starts of programs.
 */
uint32_t SamlAuthGetAzureToken(const wchar_t* clientId, const wchar_t* tenantName, uint64_t reserved,
                               char* responseBuffer, uint32_t responseBufferSize);

#ifdef __cplusplus
}
#endif

#endif
