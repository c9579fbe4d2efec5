#include "script_run.h"

#include "encrypted_answer.h"
#include "exit_codes.h"
#include "script.h"

#include <cstdio>
#include <memory>
#include <windows.h>

namespace authmodule {
namespace {

struct FileCloser {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};

std::optional<std::string> ReadFile(const std::wstring& path) {
    const std::unique_ptr<std::FILE, FileCloser> file(_wfopen(path.c_str(), L"rb"));
    if (!file) {
        return std::nullopt;
    }
    std::string text;
    char buffer[4096];
    std::size_t read = 0;
    while ((read = std::fread(buffer, 1, sizeof(buffer), file.get())) > 0) {
        text.append(buffer, read);
    }
    return text;
}

// What a module that breaks looks like from the outside.
void CrashNow() {
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX); // nobody is there to close a box
    RaiseException(static_cast<DWORD>(EXCEPTION_ACCESS_VIOLATION), EXCEPTION_NONCONTINUABLE, 0, nullptr);
}

// Does one step; the exit code when it is the last one.
class StepRunner {
public:
    StepRunner(const Request& request, ReceiverBlock& block) : request_(request), block_(block) {}

    std::optional<int> operator()(const Delay& delay) const {
        Sleep(delay.milliseconds);
        return std::nullopt;
    }
    std::optional<int> operator()(const Answer& answer) const {
        const std::optional<std::string> text = EncryptAnswer(answer.text, request_.receiver);
        if (!text) {
            return kExitAnswerLost;
        }
        block_.WriteText(*text);
        return std::nullopt;
    }
    std::optional<int> operator()(const RawBlock& raw) const {
        block_.Write(raw.bytes);
        return std::nullopt;
    }
    std::optional<int> operator()(const Crash&) const {
        CrashNow();
        return std::nullopt;
    }
    std::optional<int> operator()(const Exit& exit) const { return static_cast<int>(exit.code); }

private:
    const Request& request_;
    ReceiverBlock& block_;
};

} // namespace

std::optional<std::wstring> ScriptPath() {
    wchar_t path[1024];
    const DWORD length = GetEnvironmentVariableW(L"ZELTO_AUTH_MODULE_SCRIPT", path, 1024);
    if (length == 0) {
        return std::nullopt;
    }
    return length < 1024 ? std::wstring(path, length) : std::wstring(); // one too long is not found
}

int RunScript(const std::wstring& path, const Request& request, ReceiverBlock& block) {
    const std::optional<std::string> text = ReadFile(path);
    const Script script = text ? ReadScript(*text) : Script();
    if (!text || script.badLine != 0) {
        return kExitScript;
    }
    for (const Step& step : script.steps) {
        if (const std::optional<int> code = std::visit(StepRunner(request, block), step)) {
            return *code;
        }
    }
    return kExitAnswered;
}

} // namespace authmodule
