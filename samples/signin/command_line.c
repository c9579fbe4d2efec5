#include "command_line.h"

#include "console.h"

enum { kDefaultTimeoutSeconds = 120, kMaximumTimeoutSeconds = 86400 };

// Digits only: neither a sign nor a blank, and nothing behind them.
static int ReadSeconds(const wchar_t* text, uint32_t* seconds) {
    uint32_t value = 0;
    for (const wchar_t* at = text; *at != L'\0'; ++at) {
        if (*at < L'0' || *at > L'9') {
            return 0;
        }
        value = value * 10 + (uint32_t)(*at - L'0');
        if (value > kMaximumTimeoutSeconds) {
            return 0;
        }
    }
    *seconds = value;
    return value > 0; // an empty text leaves 0
}

// The value of the option at arguments[*index], which it moves on to; null after saying that it is missing.
static const wchar_t* NextValue(int count, wchar_t** arguments, int* index) {
    if (*index + 1 >= count) {
        PrintError(0, L"%ls needs a value", arguments[*index]);
        return NULL;
    }
    return arguments[++*index];
}

static int ReadOption(int count, wchar_t** arguments, int* index, Options* options) {
    const wchar_t* const name = arguments[*index];
    if (wcscmp(name, L"--help") == 0 || wcscmp(name, L"-h") == 0) {
        options->help = 1;
        return 1;
    }
    if (wcscmp(name, L"--library") == 0) {
        options->library = NextValue(count, arguments, index);
        return options->library != NULL;
    }
    if (wcscmp(name, L"--user-id") == 0) {
        options->userId = NextValue(count, arguments, index);
        return options->userId != NULL;
    }
    if (wcscmp(name, L"--timeout") == 0) {
        const wchar_t* const value = NextValue(count, arguments, index);
        if (value == NULL) {
            return 0;
        }
        if (!ReadSeconds(value, &options->timeoutSeconds)) {
            PrintError(0, L"--timeout %ls: give whole seconds, 1 to %d", value, kMaximumTimeoutSeconds);
            return 0;
        }
        return 1;
    }
    PrintError(0, L"there is no option %ls", name);
    return 0;
}

static int TakeWord(const wchar_t* word, CommandWords words, Options* options) {
    if (words == kTakesGateway && options->gateway == NULL) {
        options->gateway = word;
    } else if (words == kTakesClientAndTenant && options->clientId == NULL) {
        options->clientId = word;
    } else if (words == kTakesClientAndTenant && options->tenant == NULL) {
        options->tenant = word;
    } else {
        PrintError(0, words == kTakesGateway ? L"one gateway is enough: %ls is too much" : L"%ls is too much",
                   word);
        return 0;
    }
    return 1;
}

static int HasItsWords(CommandWords words, const Options* options) {
    if (words == kTakesGateway && options->gateway == NULL) {
        PrintError(0, L"which gateway?");
        return 0;
    }
    if (words == kTakesClientAndTenant && options->tenant == NULL) {
        PrintError(0, L"which client id and which tenant?");
        return 0;
    }
    return 1;
}

int ReadOptions(int count, wchar_t** arguments, CommandWords words, Options* options) {
    *options = (Options){.userId = L"sample", .timeoutSeconds = kDefaultTimeoutSeconds};
    for (int index = 0; index < count; ++index) {
        const int read = arguments[index][0] == L'-' ? ReadOption(count, arguments, &index, options)
                                                     : TakeWord(arguments[index], words, options);
        if (!read) {
            return 0;
        }
    }
    return options->help || HasItsWords(words, options);
}
