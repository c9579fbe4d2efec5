#pragma once

namespace zelto {

// Deletes the log files when file output has been switched off: the main file without a size limit, both
// rotation files, and of the two error rotation files the one that the choosing rule picks. The error copy
// without a size limit stays. Afterwards the names are those of a size limit of 1 MiB. Both streams are
// closed first, as an open file cannot be deleted. Called with the trace lock held.
void DeleteAllLogFiles() noexcept;

} // namespace zelto
