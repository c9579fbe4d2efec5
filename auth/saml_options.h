#pragma once

#include <cstdint>
#include <string>

namespace zelto {

// What a SAML sign-in asks of the auth module. A null text counts as an empty one.
struct SamlRequest {
    const wchar_t* url;
    const wchar_t* description;
    const wchar_t* samlObject;
    const wchar_t* objectName;
    std::uint32_t ignoreCertificate;
    std::uint32_t timeoutMs; // passed on in whole seconds
    bool deleteCookies;
    bool autoSelectCertificate;
};

// The options of the auth module's command line. The texts are placed between double quotes as they are: what
// a quote inside them means is the module's matter. Throws std::bad_alloc.
std::wstring SamlOptions(const SamlRequest& request);

} // namespace zelto
