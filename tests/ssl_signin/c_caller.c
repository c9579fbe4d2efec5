/* A host in plain C that knows the library by its public header and its import library alone. */

#include "zelto_auth.h"

#include <stdio.h>

static int check(const char* what, int holds) {
    if (!holds) {
        fprintf(stderr, "failed: %s\n", what);
    }
    return holds ? 0 : 1;
}

int main(void) {
    char id[64] = "untouched";
    int failures = 0;
    int anyAddress = 0;

    failures += check("a null gateway is refused",
                      GetSslSamlDataExternalBrowser(NULL, 1, id, sizeof(id), &anyAddress) ==
                          ZELTO_AUTH_E_INVALID_PARAMETER);
    failures += check("a null buffer is refused",
                      GetSslSamlDataExternalBrowser(L"gateway", 1, NULL, 0, &anyAddress) ==
                          ZELTO_AUTH_E_INVALID_PARAMETER);
    failures +=
        check("a null event is refused", GetSslSamlDataExternalBrowser(L"gateway", 1, id, sizeof(id), NULL) ==
                                             ZELTO_AUTH_E_INVALID_PARAMETER);
    failures += check("the buffer is left alone", id[0] == 'u');

    /* Port 1 of this machine: nobody listens there. */
    failures += check("a gateway that is not there is told",
                      GetSslSamlDataExternalBrowser(L"https://127.0.0.1:1", 1, id, sizeof(id), &anyAddress) ==
                          ZELTO_AUTH_GATEWAY_FAILED);
    failures += check("stopping is possible at any time", StopRunningZeltoAuth() != 0);
    if (failures == 0) {
        puts("all checks hold");
    }
    return failures;
}
