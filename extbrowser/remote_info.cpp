#include "extbrowser/remote_info.h"

#include "extbrowser/extract_between.h"
#include "extbrowser/stream_number.h"

namespace zelto {

std::uint32_t ReadSsoPort(std::string_view answer) {
    return ReadStreamNumber(ExtractBetween(answer, "sso_port='", "'"));
}

std::uint32_t ReadRemoteAuthTimeout(std::string_view answer) {
    return ReadStreamNumber(ExtractBetween(answer, "remoteauthtimeout='", "'"));
}

} // namespace zelto
