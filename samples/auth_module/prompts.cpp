#include "prompts.h"

#include "answer_text.h"
#include "certificates.h"
#include "dialogs/prompt_window.h"
#include "saml_sign_in.h"
#include "utf8.h"
#include "wipe.h"

#include <memory>

namespace authmodule {
namespace {

constexpr std::uint32_t kDefaultTimeoutSeconds = 300; // where the library gives none, or 0

Prompt NewPrompt(const Request& request, const wchar_t* heading, const wchar_t* okText) {
    Prompt prompt;
    prompt.heading = request.objectName.empty() ? heading : request.objectName;
    prompt.description = request.description;
    prompt.okText = okText;
    prompt.timeoutSeconds = request.timeoutSeconds == 0 ? kDefaultTimeoutSeconds : request.timeoutSeconds;
    return prompt;
}

void WipeAnswers(Prompt& prompt) {
    for (Field& field : prompt.fields) {
        Wipe(field.text);
    }
}

void AddUserNameAndPassword(Prompt& prompt, const std::wstring& userName) {
    prompt.fields.push_back({FieldKind::Text, L"User name", userName, {}, 0});
    prompt.fields.push_back({FieldKind::Password, L"Password", {}, {}, 0});
}

// The user's certificates, and behind them the choice of none.
void AddCertificateChoice(Prompt& prompt, const std::vector<Certificate>& certificates) {
    Field field{FieldKind::Choice, L"Certificate", {}, {}, 0};
    for (const Certificate& certificate : certificates) {
        field.choices.push_back(certificate.name);
    }
    field.choices.emplace_back(L"No certificate");
    prompt.fields.push_back(std::move(field));
}

Outcome AskBasic(const Request& request, std::string& answer) {
    const std::vector<Certificate> certificates =
        request.requireCertificate ? PersonalCertificates() : std::vector<Certificate>();
    Prompt prompt = NewPrompt(request, L"Sign in", L"OK");
    if (request.requireUserName) {
        AddUserNameAndPassword(prompt, request.userName);
    }
    if (request.requireCertificate) {
        AddCertificateChoice(prompt, certificates);
    }
    const Outcome outcome = ShowPrompt(prompt);
    if (outcome == Outcome::Answered) {
        std::string userName;
        std::string password;
        const WipeAtEnd wipePassword(password);
        if (request.requireUserName) {
            userName = ToUtf8(prompt.fields[0].text);
            password = ToUtf8(prompt.fields[1].text);
        }
        const std::size_t chosen = request.requireCertificate ? prompt.fields.back().chosen : 0;
        answer = BasicAnswer(userName, password,
                             chosen < certificates.size() ? certificates[chosen].thumbprint : "");
    }
    WipeAnswers(prompt);
    return outcome;
}

Outcome AskTwoFactor(const Request& request, std::string& answer) {
    Prompt prompt = NewPrompt(request, L"Enter your code", L"OK");
    prompt.fields.push_back({FieldKind::Text, L"Code", {}, {}, 0});
    const Outcome outcome = ShowPrompt(prompt);
    if (outcome == Outcome::Answered) {
        answer = ToUtf8(prompt.fields[0].text);
    }
    WipeAnswers(prompt);
    return outcome;
}

Outcome AskSaml(const Request& request, std::string& answer) {
    Prompt prompt = NewPrompt(request, L"Sign in", L"Sign in");
    AddUserNameAndPassword(prompt, {});
    // Owned by both sides: a cancelled sign-in may still be under way on its thread.
    const auto signIn = std::make_shared<SamlSignIn>();
    prompt.submit = [signIn, url = request.url, ignore = request.ignoreCertificate](const Fields& fields) {
        *signIn = SignInAt(url, ignore, fields[0].text, fields[1].text);
        return signIn->error;
    };
    const Outcome outcome = ShowPrompt(prompt);
    if (outcome == Outcome::Answered) {
        answer = SamlAnswer(signIn->response, signIn->serverIp);
        Wipe(signIn->response);
    }
    WipeAnswers(prompt);
    return outcome;
}

} // namespace

Outcome AskUser(const Request& request, std::string& answer) {
    switch (request.object) {
    case Object::Saml:
        return AskSaml(request, answer);
    case Object::TwoFactor:
        return AskTwoFactor(request, answer);
    default:
        return AskBasic(request, answer);
    }
}

} // namespace authmodule
