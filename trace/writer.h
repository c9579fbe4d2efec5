#pragma once

namespace zelto {

// The trace writer: every 300 ms it writes out what is pending when nothing has been logged for 100 ms, and
// looks at the registry settings about every 11 seconds, when a key path is set.
//
// It is a work item of the process's thread pool and no thread of our own: the trace starts and stops under
// the loader lock, where a thread can neither begin nor end, and code of this module must not run once it is
// unmapped. Waiting for the work item returns when its callback has left the module.

// Called by TraceStart, when the trace takes records already. Without memory or handles there is no writer;
// records are then written when enough are pending, and at the stop.
void StartWriter() noexcept;

// Called by TraceStop, without the trace lock, which the writer takes. Returns when the writer has ended.
void StopWriter() noexcept;

// The same in a process that has crashed. The writer may be the crashed thread, or need what that one holds:
// it is waited for 2 seconds at most.
void StopWriterInCrash() noexcept;

} // namespace zelto
