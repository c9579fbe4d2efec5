#pragma once

#include <windows.h>

// What this library uses of the client's session utility library, ZeltoSession.dll. The client brings its own; the one
// built in this folder stands in for it where there is none. Both functions may be called on any thread.

#ifdef __cplusplus
extern "C" {
#endif

// What SelectCurrentActiveTSSession answers when nobody is at the machine.
#define ZELTO_NO_SESSION 0xFFFFFFFFu

// Failures of CreateProcessInSessionEx; the thread's last error tells more.
#define ZELTO_SESSION_E_ARGUMENT (-1)    // neither application nor command line, or no such session
#define ZELTO_SESSION_E_NO_USER (-2)     // nobody is signed in there, or the caller may not act for the user
#define ZELTO_SESSION_E_ENVIRONMENT (-3) // the user's environment could not be built
#define ZELTO_SESSION_E_PROCESS (-4)     // the program could not be started

// The id of the active user session: the one at the console when it is in use, else another that is (a
// remote desktop). ZELTO_NO_SESSION when there is none.
DWORD SelectCurrentActiveTSSession(void);

// Starts a program in a session, as the user of that session and with the user's environment; in the caller's
// own session it is a plain start, as the caller. For another session the caller needs SE_TCB_NAME, which
// services of the local system have.
//
//   sessionId         the session to start in.
//   application       full path of the executable, or null: the command line's first word names it.
//   commandLine       passed on as it is, and may be written to by the system while the call runs.
//   inheritHandles    1: the program inherits every inheritable handle of the caller, under the same value. Where
//                     the system refuses a start in another session for that, the program inherits none.
//   creationFlags     further flags of CreateProcess; 0 for none.
//   currentDirectory  the program's current folder, or null for the caller's.
//   processId         receives the new process's id; may be null.
//   process           receives a handle of the new process, which the caller closes; may be null, and is set to
//                     null on failure.
//
// Returns 0, or one of the negative values above.
int CreateProcessInSessionEx(DWORD sessionId, const wchar_t* application, wchar_t* commandLine,
                             int inheritHandles, DWORD creationFlags, const wchar_t* currentDirectory,
                             DWORD* processId, HANDLE* process);

#ifdef __cplusplus
}
#endif
