#include "auth/module_command_line.h"

#include "auth/truncated_text.h"

namespace zelto {
namespace {

constexpr std::size_t kCommandLineSize = 4096; // characters, the terminating zero included

} // namespace

std::wstring ModuleCommandLine(std::wstring_view providerName, std::uint64_t receiver,
                               std::wstring_view arguments) {
    TruncatedText line(kCommandLineSize);
    line.Append(L" --provider-name=").Append(providerName);
    line.Append(L" --receiver=").AppendNumber(receiver);
    return line.Append(L" ").Append(arguments).Text();
}

} // namespace zelto
