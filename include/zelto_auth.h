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
 *   Threads   every function may be called on any thread. A sign-in blocks its caller until it has ended.
 *   Log       each process has its own trace log: in a user's session the file
 *             "%localappdata%\ZeltoClient\logs\trace\<host>.exe_ZeltoAuth.log", in session 0 the file
 *             "logs\trace\<host>.exe_ZeltoAuth.log" beside the executable; errors also go to a copy whose name ends in
 *             "_error.log". A function keeps no secret in it beyond what is said with it.
 *   Unloading FreeLibrary may be called when no function of the library is running. A thread of the library that still
 *             has to end keeps the module loaded until it has.
 *   C++       the functions throw nothing, with one exception that each of them names: when the system can create no
 *             thread, std::system_error (resource_unavailable_try_again) leaves the function. A C++ host that wants
 *             to catch it must be compiled for functions of C that throw (/EHs with the platform's own compiler).
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
/* General failure of a sign-in in the browser. The trace log says what failed. */
#define ZELTO_AUTH_E_FAILED 0xA7000000u
/* A required argument is missing or inconsistent: a defect of the caller. */
#define ZELTO_AUTH_E_INVALID_PARAMETER 0xA7000002u
/* The browser did not come back in time. Offer the user another try. */
#define ZELTO_AUTH_E_TIMEOUT 0xA7000003u
/* A sign-in of the same kind is running in this session. Wait for it, or end it first. */
#define ZELTO_AUTH_E_BUSY 0xA7000005u
/* The caller cancelled. */
#define ZELTO_AUTH_E_CANCELLED 0xA7000007u
/* The local port that the gateway sends the browser to is taken on 127.0.0.1 by another program. */
#define ZELTO_AUTH_E_PORT_UNUSABLE 0xA7000009u
/* Only GetSslSamlDataExternalBrowser: the gateway did not answer, or named no port for the browser's redirect. */
#define ZELTO_AUTH_GATEWAY_FAILED 1u

/*
 * Ends the auth module that is running in this process, if one is: the sign-in that waits for it returns
 * ZELTO_AUTH_E_CANCELLED. May be called on any thread at any time; it never waits. When no auth module is running the
 * call has no effect, also not on the next sign-in.
 *
 * Returns non-zero on success, 0 when the signal could not be given (GetLastError tells why).
 */
int32_t StopRunningZeltoAuth(void);

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
 *   1   at least one could not be deleted; the others are. Call again later.
 *
 * Takes as long as the cache is large. Writes nothing to the log.
 */
uint32_t ClearCookies(void);

/*
 * Removes what sign-ins in the embedded browser leave behind: the cookies, as ClearCookies does, and the embedded
 * browser's folder with everything in it. That is "%localappdata%\ZeltoClient\SamlAuth\" in a user's session and
 * "SamlAuth\" beside the executable in session 0. A path of 260 characters or more is left alone.
 *
 * Always returns 0, also when something could not be deleted: it is then left as it is. Files that a browser still
 * holds open are tried again for 15 seconds.
 *
 * Blocks its caller for about 15 seconds, whatever there is to delete; for less only when a file, not a folder, has
 * the folder's name. Writes nothing to the log.
 */
uint32_t SamlAuthClearCookies(void);

#ifdef __cplusplus
}
#endif

#endif
