// ZeltoSignIn.exe: signs in at a gateway from the command line, through ZeltoAuth.dll, and cleans up behind it.

#include "azure_token_command.h"
#include "clear_commands.h"
#include "command_line.h"
#include "console.h"
#include "ipsec_command.h"
#include "module_command.h"
#include "session_command.h"
#include "ssl_command.h"

#include <windows.h>

#include <shellapi.h>

// A kind of sign-in, or what there is besides. Another one is another row.
typedef struct {
    const wchar_t* name;
    CommandWords words;
    int (*run)(const Options* options);
    const wchar_t* summary;
} Command;

static const Command kCommands[] = {
    {L"ssl", kTakesGateway, RunSslCommand, L"for an SSL-VPN tunnel, in your default browser"},
    {L"ipsec", kTakesGateway, RunIpsecCommand, L"for an IPsec tunnel, in your default browser"},
    {L"session", kTakesGateway, RunSessionCommand,
     L"as a service, in the browser of the user at the console"},
    {L"saml-electron", kTakesGateway, RunElectronCommand, L"by SAML, in the auth module's Electron window"},
    {L"saml-webbrowser", kTakesGateway, RunWebBrowserCommand, L"by SAML, in its web browser control"},
    {L"saml-webview2", kTakesGateway, RunWebView2Command, L"by SAML, in its WebView2 window"},
    {L"password", kTakesGateway, RunPasswordCommand,
     L"with user name and password, asked for by the auth module"},
    {L"token", kTakesGateway, RunTokenCommand, L"with a second-factor token, asked for by the auth module"},
    {L"azure-token", kTakesClientAndTenant, RunAzureTokenCommand, L"no sign-in: fetches an Azure token"},
    {L"clear-cookies", kTakesNothing, RunClearCookiesCommand, L"no sign-in: deletes all your cookies"},
    {L"clear-browser-data", kTakesNothing, RunClearBrowserDataCommand,
     L"the same, and the embedded browser's folder"},
};
enum { kCommandCount = sizeof kCommands / sizeof *kCommands };

static void PrintHelp(FILE* stream) {
    Print(stream, L"Signs in at a gateway and prints the id that the gateway gave.\n\n"
                  L"  ZeltoSignIn.exe COMMAND GATEWAY [options]\n"
                  L"  ZeltoSignIn.exe azure-token CLIENT-ID TENANT [options]\n"
                  L"  ZeltoSignIn.exe clear-cookies|clear-browser-data [options]\n\n"
                  L"Commands:\n");
    for (int i = 0; i < kCommandCount; ++i) {
        Print(stream, L"  %-18ls %ls\n", kCommands[i].name, kCommands[i].summary);
    }
    Print(
        stream,
        L"\nGATEWAY is [https://]host[:port][/realm], for example https://vpn.example.com:10443/sales\n"
        L"(ipsec: without a realm; session: the address of the start page, with its query;\n"
        L"saml-…: the address that the sign-in starts at; password, token: shown to the user)\n\n"
        L"Options:\n"
        L"  --timeout SECONDS  how long the sign-in may take, 1 to 86400 (default 120);\n"
        L"                     the gateway's own limit counts when it is shorter\n"
        L"  --user-id ID       what the gateway shall know the user by (ipsec; default: sample)\n"
        L"  --library PATH     the library to load (default: ZeltoAuth.dll beside this program)\n"
        L"  --help             show this text\n\n"
        L"Ctrl+C cancels the sign-in (session: ends the program); a second Ctrl+C ends the program at once,\n"
        L"or, where the auth module asks, cancels again.\n\n"
        L"Exit code: 0 signed in, or done; 1 not (the result says why and what to do about it);\n"
        L"2 not tried (wrong command line, or the library cannot be loaded).\n");
}

static const Command* FindCommand(const wchar_t* name) {
    for (int i = 0; i < kCommandCount; ++i) {
        if (wcscmp(kCommands[i].name, name) == 0) {
            return &kCommands[i];
        }
    }
    return NULL;
}

static int Run(int count, wchar_t** arguments) {
    if (count < 2) {
        PrintHelp(stderr);
        return kExitNotTried;
    }
    if (wcscmp(arguments[1], L"--help") == 0 || wcscmp(arguments[1], L"-h") == 0) {
        PrintHelp(stdout);
        return kExitSignedIn;
    }
    const Command* const command = FindCommand(arguments[1]);
    if (command == NULL) {
        PrintError(0, L"there is no command %ls (--help shows them)", arguments[1]);
        return kExitNotTried;
    }
    Options options;
    if (!ReadOptions(count - 2, arguments + 2, command->words, &options)) {
        return kExitNotTried;
    }
    if (options.help) {
        PrintHelp(stdout);
        return kExitSignedIn;
    }
    return command->run(&options);
}

// The command line is read wide whatever the toolchain's idea of main() is.
int main(void) {
    int count = 0;
    wchar_t** const arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    if (arguments == NULL) {
        return kExitNotTried;
    }
    StartConsole();
    const int exitCode = Run(count, arguments);
    EndConsole();
    LocalFree(arguments);
    return exitCode;
}
