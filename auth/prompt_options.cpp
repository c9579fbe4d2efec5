#include "auth/prompt_options.h"

#include "auth/truncated_text.h"

namespace zelto {
namespace {

void AppendDescriptionAndTimeout(TruncatedText& options, std::wstring_view description,
                                 std::uint32_t timeoutMs) {
    options.Append(L" --description=\"").Append(description).Append(L"\" --timeout=");
    options.AppendNumber(timeoutMs / 1000);
}

} // namespace

std::wstring BasicOptions(const wchar_t* userName, std::wstring_view description, std::uint32_t timeoutMs,
                          bool requireCertificate) {
    TruncatedText options(kOptionsSize);
    options.Append(L"--object=basic");
    if (userName != nullptr) {
        options.Append(L" --require-username=").Append(userName);
    }
    AppendDescriptionAndTimeout(options, description, timeoutMs);
    options.Append(requireCertificate ? L" --require-certificate=1" : L"");
    return options.Text();
}

std::wstring TwoFactorOptions(std::wstring_view description, std::uint32_t timeoutMs) {
    TruncatedText options(kOptionsSize);
    options.Append(L"--object=2fa");
    AppendDescriptionAndTimeout(options, description, timeoutMs);
    return options.Text();
}

} // namespace zelto
