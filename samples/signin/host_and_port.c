#include "host_and_port.h"

#include "console.h"

#include <string.h>

enum { kMaxPort = 65535 };

static int ReadPort(const wchar_t* text, uint32_t* port) {
    uint32_t value = 0;
    for (const wchar_t* at = text; *at != L'\0'; ++at) {
        if (*at < L'0' || *at > L'9') {
            return 0;
        }
        value = value * 10 + (uint32_t)(*at - L'0');
        if (value > kMaxPort) {
            return 0;
        }
    }
    *port = value;
    return value > 0;
}

int ReadHostAndPort(const wchar_t* gateway, wchar_t host[kMaxHost], uint32_t* port) {
    const wchar_t* const scheme = wcsstr(gateway, L"://");
    const wchar_t* const start = scheme != NULL ? scheme + 3 : gateway;
    const wchar_t* const colon = wcschr(start, L':');
    const size_t length = colon != NULL ? (size_t)(colon - start) : wcslen(start);
    *port = 0;
    if (length == 0 || length >= kMaxHost || wcschr(start, L'/') != NULL ||
        (colon != NULL && !ReadPort(colon + 1, port))) {
        PrintError(0, L"%ls: give [https://]host[:port]", gateway);
        return 0;
    }
    memcpy(host, start, length * sizeof *host);
    host[length] = L'\0';
    return 1;
}
