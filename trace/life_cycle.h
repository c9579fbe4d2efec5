#pragma once

namespace zelto {

// Starts the trace: names the log files, starts the writer and logs the start-up line.
//
//   folderBase  "%localappdata%" (in any case): the user's local application data, then
//               "\ZeltoClient\logs\trace\".
//               Null or empty: "logs\trace\" beside the host's executable. Anything else is the folder itself
//               and must end in a backslash; when it does not, the last error is 21 (ERROR_NOT_READY) and
//               nothing is started.
//   fileName    base name of the files, without a folder, e.g. "host.exe_ZeltoAuth.log". Null, empty or with
//               a backslash in it: the trace runs without any file.
//
// A trace that runs already is left alone, with last error 183 (ERROR_ALREADY_EXISTS). Safe under the loader
// lock. Calls of TraceStart and TraceStop must not overlap; once stopped, the trace may be started again.
void TraceStart(const char* folderBase, const char* fileName);

// Stops the trace: logs "trace stopped", writes everything pending to the files and waits until the writer
// has left this module's code. Safe under the loader lock. It leaves the log files open; TraceOnProcessDetach
// closes them, and so does the next TraceStart. Does nothing while the trace is stopped.
void TraceStop();

// What TraceStop becomes in a process that has crashed: whatever it would wait for may belong to the crashed
// thread, so it waits some seconds at most. When the trace lock is not to be had, the trace is left as it is.
// The memory ring stays where it is, to be found in the dump; so do the lock and the crash-dump handler.
void TraceStopInCrash() noexcept;

// What TraceStop becomes at the end of the process, when every other thread is gone already: nothing is
// waited for. When a thread ended while it held the trace lock, what is pending cannot be trusted and is left
// unwritten.
void TraceStopAtProcessEnd();

} // namespace zelto
