#pragma once

#include "auth/provider_table.h"
#include "auth/secret.h"

#include <cstdint>
#include <string>

namespace zelto {

// Starts the auth module of a provider in the active user's session, waits until it has ended or the caller
// has cancelled (StopRunningZeltoAuth), and fetches its answer. Makes the library's folder the process's current
// directory. There is no time-out: the module is told its own.
//
//   arguments     the options of the prompt, for the end of the command line.
//   answer        replaced by the module's answer; left alone when there is none that can be decrypted.
//   providerKind  the row of the provider table.
//
// Returns the module's exit code; AUTH_E_INVALID_PARAMETER for a kind that is not in the table; AUTH_E_BUSY
// when an auth module is running; AUTH_E_SHARED_MEMORY; AUTH_E_LAUNCH_FAILED; AUTH_E_CANCELLED. Throws
// std::bad_alloc, with nothing started.
std::uint32_t RunZeltoAuthInSession(const std::wstring& arguments, SecretText& answer,
                                    const ProviderKind& providerKind);

} // namespace zelto
