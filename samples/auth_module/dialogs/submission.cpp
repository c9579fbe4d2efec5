#include "submission.h"

#include "../wipe.h"

#include <memory>

namespace authmodule {
namespace {

struct Submission {
    Prompt prompt;
    HWND window = nullptr;
    UINT message = 0;
    std::wstring result;

    Submission(const Prompt& thePrompt, HWND theWindow, UINT theMessage)
        : prompt(thePrompt), window(theWindow), message(theMessage) {}
    Submission(const Submission&) = delete;
    Submission& operator=(const Submission&) = delete;
    ~Submission() {
        for (Field& field : prompt.fields) {
            Wipe(field.text);
        }
    }
};

void CALLBACK Run(PTP_CALLBACK_INSTANCE, void* context) {
    auto* const submission = static_cast<Submission*>(context);
    submission->result = submission->prompt.submit(submission->prompt.fields);
    if (!PostMessageW(submission->window, submission->message, 0, reinterpret_cast<LPARAM>(submission))) {
        delete submission; // there is no window any more that could take it over
    }
}

} // namespace

bool StartSubmission(const Prompt& prompt, HWND window, UINT message) {
    auto* const submission = new Submission(prompt, window, message);
    if (!TrySubmitThreadpoolCallback(Run, submission, nullptr)) {
        delete submission;
        return false;
    }
    return true;
}

std::wstring EndSubmission(LPARAM lParam) {
    const std::unique_ptr<Submission> submission(reinterpret_cast<Submission*>(lParam));
    return std::move(submission->result);
}

} // namespace authmodule
