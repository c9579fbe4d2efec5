#include "auth/saml_options.h"

#include "auth/truncated_text.h"

namespace zelto {
namespace {

std::wstring Quoted(const wchar_t* text) {
    std::wstring quoted = text == nullptr ? L"" : text;
    return quoted += L'"';
}

} // namespace

std::wstring SamlOptions(const SamlRequest& request) {
    std::wstring options = L" --object=\"saml:" + Quoted(request.samlObject);
    options += L" --object-name=\"" + Quoted(request.objectName);
    options += L" --url=\"" + Quoted(request.url);
    options += L" --description=\"" + Quoted(request.description);
    options += L" --ignore-certificate=" + DecimalText(request.ignoreCertificate);
    options += L" --timeout=" + DecimalText(request.timeoutMs / 1000);
    options += request.autoSelectCertificate ? L" --auto-select-cert" : L"";
    options += request.deleteCookies ? L" --delete-cookies" : L"";
    return options;
}

} // namespace zelto
