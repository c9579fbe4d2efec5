#include "net/http_verb.h"

namespace zelto {
namespace {

struct VerbEntry {
    HttpVerb verb;
    const wchar_t* text;
};

constexpr VerbEntry kVerbs[] = {
    {HttpVerb::Get, L"GET"},
    {HttpVerb::Post, L"POST"},
    {HttpVerb::Put, L"PUT"},
};

} // namespace

const wchar_t* VerbText(HttpVerb verb) noexcept {
    for (const VerbEntry& entry : kVerbs) {
        if (entry.verb == verb) {
            return entry.text;
        }
    }
    return L"";
}

} // namespace zelto
