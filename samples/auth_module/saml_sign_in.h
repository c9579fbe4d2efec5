#pragma once

#include <string>

namespace authmodule {

// What a sign-in at the identity provider led to: a response, or a sentence for the user that says why there
// is none.
struct SamlSignIn {
    std::string response; // base64 text, as the identity provider gave it
    std::string serverIp; // address of the server that gave it; empty when it is not known
    std::wstring error;   // empty after a success
};

// Posts the credentials to the identity provider at `url`, which must be https. Blocks for as long as the
// network takes, at most ten seconds for each of resolving, connecting, sending and receiving. No cookie
// outlives the call.
SamlSignIn SignInAt(const std::wstring& url, bool ignoreCertificate, const std::wstring& userName,
                    const std::wstring& password);

} // namespace authmodule
