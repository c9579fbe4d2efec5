#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace authmodule {

enum class Object { Saml, Basic, TwoFactor };

// What the library asks for. The texts are as it wrote them: it escapes nothing.
struct Request {
    std::wstring providerName;
    std::uint64_t receiver = 0; // value of the inherited handle of the block
    Object object = Object::Basic;
    std::wstring samlObject; // behind "saml:"
    std::wstring objectName;
    std::wstring url;
    std::wstring description;
    std::wstring userName; // offered to the user
    bool requireUserName = false;
    bool requireCertificate = false;
    bool ignoreCertificate = false;
    bool autoSelectCertificate = false;
    bool deleteCookies = false;
    std::uint32_t timeoutSeconds = 0; // 0: none was given
};

// Reads the process's command line; none when it is not one of the library's. (CommandLineToArgvW is of no
// use here: the line does not begin with a program's name, quotes inside values are not escaped, and the user
// name is not even quoted.) The library cuts long lines off, so any tail of one may be missing; what is
// missing keeps its default, and so does a number that ends where the library would have cut it.
std::optional<Request> ReadCommandLine(std::wstring_view commandLine);

} // namespace authmodule
