#pragma once

#include <stdint.h>

// Prints what the code of a sign-in means, and after a failure what to do about it. Returns the exit code for it.
int PrintResult(uint32_t result);
