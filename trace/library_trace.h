#pragma once

namespace zelto {

// Called by DllMain on process attach. Starts the trace of this library: the log is named after the host's
// executable with "_ZeltoAuth.log" behind it, and lies beside the executable in session 0 (services) and in
// the user's local application data in any other session.
void TraceOnProcessAttach();

// Called by DllMain on process detach. Stops the trace and closes its files, so that a host that loads the
// library again logs again and keeps no handle. `processEnding` tells the end of the process (DllMain's third
// argument is not null) from an unload.
void TraceOnProcessDetach(bool processEnding);

} // namespace zelto
