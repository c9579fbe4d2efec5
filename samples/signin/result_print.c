#include "result_print.h"

#include "console.h"
#include "result_text.h"

#include <zelto_auth.h>

int PrintResult(uint32_t result) {
    const ResultText* const text = DescribeResult(result);
    Print(stdout, L"Result    0x%08X %ls\n          %ls\n", (unsigned)result, text->name, text->meaning);
    if (result != ZELTO_AUTH_S_OK) {
        Print(stdout, L"To do     %ls\n", text->advice);
        return kExitNotSignedIn;
    }
    return kExitSignedIn;
}
