#include "extbrowser/ipsec_redirect.h"

#include "extbrowser/extract_between.h"
#include "extbrowser/url_decode.h"

namespace zelto {

std::string ReadTokenId(std::string_view request) {
    return ExtractBetween(request, "tokenid=", "&");
}

std::string ReadUserName(std::string_view request) {
    return UrlDecode(FindBetween(request, "username=", " ").value_or(std::string_view()));
}

} // namespace zelto
