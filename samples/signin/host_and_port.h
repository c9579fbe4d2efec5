#pragma once

#include <stdint.h>
#include <wchar.h>

enum { kMaxHost = 256 };

// Splits "[scheme://]host[:port]" for a function that takes the two apart; a port that is not named is 0. Returns 0
// after saying what is wrong on stderr.
int ReadHostAndPort(const wchar_t* gateway, wchar_t host[kMaxHost], uint32_t* port);
