#pragma once

#include <stdint.h>
#include <wchar.h>

// What the command line asks for. The texts are those of the command line and live as long.
typedef struct {
    const wchar_t* gateway;  // null when none was given
    const wchar_t* clientId; // of a token; null when none was given
    const wchar_t* tenant;   // of a token; null when none was given
    const wchar_t* userId;   // of an IPsec sign-in
    const wchar_t* library;  // null: the one beside this program
    uint32_t timeoutSeconds;
    int help;
} Options;

// What a command is to be given besides options.
typedef enum { kTakesGateway, kTakesNothing, kTakesClientAndTenant } CommandWords;

// Reads the arguments behind the command's name. Returns 0 after saying what is wrong on stderr.
int ReadOptions(int count, wchar_t** arguments, CommandWords words, Options* options);
