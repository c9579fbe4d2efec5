#pragma once

#include <string>
#include <vector>

namespace authmodule {

struct Certificate {
    std::wstring name;      // for people: whom it is for, until when it is valid, who issued it
    std::string thumbprint; // 40 hexadecimal digits, upper case
};

// Those of the user's personal store that are valid now.
std::vector<Certificate> PersonalCertificates();

} // namespace authmodule
