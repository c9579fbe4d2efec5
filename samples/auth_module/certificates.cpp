#include "certificates.h"

#include <memory>
#include <windows.h>

#include <wincrypt.h>

namespace authmodule {
namespace {

struct StoreCloser {
    using pointer = HCERTSTORE;
    void operator()(HCERTSTORE store) const noexcept { CertCloseStore(store, 0); }
};
using Store = std::unique_ptr<void, StoreCloser>;

std::wstring NameOf(PCCERT_CONTEXT certificate, DWORD flags) {
    wchar_t name[256] = L"";
    CertGetNameStringW(certificate, CERT_NAME_SIMPLE_DISPLAY_TYPE, flags, nullptr, name, 256);
    return name;
}

std::wstring LastDayOf(PCCERT_CONTEXT certificate) {
    SYSTEMTIME time{};
    wchar_t text[80] = L"";
    FileTimeToSystemTime(&certificate->pCertInfo->NotAfter, &time);
    GetDateFormatEx(LOCALE_NAME_USER_DEFAULT, DATE_SHORTDATE, &time, nullptr, text, 80, nullptr);
    return text;
}

std::string ThumbprintOf(PCCERT_CONTEXT certificate) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    BYTE hash[20];
    DWORD size = sizeof(hash);
    std::string text;
    if (CertGetCertificateContextProperty(certificate, CERT_SHA1_HASH_PROP_ID, hash, &size)) {
        for (const BYTE byte : hash) {
            text.append({kDigits[byte >> 4], kDigits[byte & 15]});
        }
    }
    return text;
}

Certificate Describe(PCCERT_CONTEXT certificate) {
    return {NameOf(certificate, 0) + L", until " + LastDayOf(certificate) + L", issued by " +
                NameOf(certificate, CERT_NAME_ISSUER_FLAG),
            ThumbprintOf(certificate)};
}

} // namespace

std::vector<Certificate> PersonalCertificates() {
    std::vector<Certificate> certificates;
    const Store store(CertOpenSystemStoreW(0, L"MY"));
    PCCERT_CONTEXT certificate = nullptr;
    while (store && (certificate = CertEnumCertificatesInStore(store.get(), certificate)) != nullptr) {
        if (CertVerifyTimeValidity(nullptr, certificate->pCertInfo) == 0) {
            certificates.push_back(Describe(certificate));
        }
    }
    return certificates;
}

} // namespace authmodule
