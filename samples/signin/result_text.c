#include "result_text.h"

#include <zelto_auth.h>

#include <stddef.h>

static const ResultText kResults[] = {
    {ZELTO_AUTH_S_OK, L"ZELTO_AUTH_S_OK", L"Signed in.", L"Nothing: use the id while it is fresh."},
    {ZELTO_AUTH_GATEWAY_FAILED, L"ZELTO_AUTH_GATEWAY_FAILED",
     L"The gateway did not answer, or named no port for the browser's redirect; or the system gave no port.",
     L"Check the address, the network, and that the gateway offers single sign-on."},
    {ZELTO_AUTH_E_FAILED, L"ZELTO_AUTH_E_FAILED", L"No id came back from the browser.",
     L"Try again; if it stays so, read the trace log for the step that failed."},
    {ZELTO_AUTH_E_LAUNCH_FAILED, L"ZELTO_AUTH_E_LAUNCH_FAILED", L"The auth module could not be started.",
     L"Check that it lies beside ZeltoAuth.dll, and that a user is signed in to Windows."},
    {ZELTO_AUTH_E_INVALID_PARAMETER, L"ZELTO_AUTH_E_INVALID_PARAMETER",
     L"A required argument is missing, or a buffer is too small.", L"Correct the calling program."},
    {ZELTO_AUTH_E_TIMEOUT, L"ZELTO_AUTH_E_TIMEOUT",
     L"The browser did not come back in time, or the gateway named no page for the sign-in.",
     L"Try again and complete the sign-in sooner. If no browser opened, set a default browser."},
    {ZELTO_AUTH_E_SHARED_MEMORY, L"ZELTO_AUTH_E_SHARED_MEMORY",
     L"The system has no memory for the auth module's answer.", L"End other programs and try again."},
    {ZELTO_AUTH_E_BUSY, L"ZELTO_AUTH_E_BUSY", L"Another sign-in of this kind is running in this session.",
     L"Complete that one or cancel it, then try again."},
    {ZELTO_AUTH_E_CANCELLED, L"ZELTO_AUTH_E_CANCELLED", L"The sign-in was cancelled.",
     L"Nothing, or start it again."},
    {ZELTO_AUTH_E_PORT_UNUSABLE, L"ZELTO_AUTH_E_PORT_UNUSABLE",
     L"The local port that the gateway names is taken by another program.",
     L"End that program, or have the gateway's administrator choose another port."},
};

static const ResultText kUnknown = {0, L"unknown", L"This program does not know that result.",
                                    L"Read the trace log; a newer library may have newer results."};

const ResultText* DescribeResult(uint32_t code) {
    for (size_t i = 0; i < sizeof kResults / sizeof *kResults; ++i) {
        if (kResults[i].code == code) {
            return &kResults[i];
        }
    }
    return &kUnknown;
}
