#pragma once

#include <stdint.h>
#include <wchar.h>

typedef struct {
    uint32_t code;
    const wchar_t* name;
    const wchar_t* meaning;
    const wchar_t* advice; // what to do about it
} ResultText;

// Never null: for a code that the library's header does not know there is a text that says so.
const ResultText* DescribeResult(uint32_t code);
