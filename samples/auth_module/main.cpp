// ZeltoAuth.exe, also built as Zeltoclient.exe: a sample of the program that the library starts to ask the
// user. docs/auth-module.md is the contract between the two. Nothing of the library's code is in here.

#include "command_line.h"
#include "encrypted_answer.h"
#include "exit_codes.h"
#include "prompts.h"
#include "receiver_block.h"
#include "script_run.h"
#include "wipe.h"

#include <windows.h>

namespace authmodule {
namespace {

int ExitCodeOf(Outcome outcome) {
    switch (outcome) {
    case Outcome::Answered:
        return kExitAnswered;
    case Outcome::Cancelled:
        return kExitCancelled;
    case Outcome::TimedOut:
        return kExitTimedOut;
    default:
        return kExitNoWindow;
    }
}

int Run() {
    const std::optional<Request> request = ReadCommandLine(GetCommandLineW());
    if (!request) {
        return kExitCommandLine;
    }
    std::optional<ReceiverBlock> block = ReceiverBlock::Open(request->receiver);
    if (!block) {
        return kExitReceiver;
    }
    if (const std::optional<std::wstring> script = ScriptPath()) {
        return RunScript(*script, *request, *block);
    }
    std::string answer;
    const WipeAtEnd wipeAnswer(answer);
    const Outcome outcome = AskUser(*request, answer);
    if (outcome != Outcome::Answered) {
        return ExitCodeOf(outcome);
    }
    const std::optional<std::string> text = EncryptAnswer(answer, request->receiver);
    if (!text) {
        return kExitAnswerLost;
    }
    block->WriteText(*text);
    return kExitAnswered;
}

} // namespace
} // namespace authmodule

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
    return authmodule::Run();
}
