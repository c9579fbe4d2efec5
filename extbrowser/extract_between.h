#pragma once

#include <string>
#include <string_view>

namespace zelto {

// The text between the first occurrence of `startMarker` and the first occurrence of `endMarker` behind it;
// empty when either is missing. Bytes are compared as they are. An empty start marker is found at the very
// beginning; an empty end marker gives the empty text.
std::string ExtractBetween(std::string_view text, std::string_view startMarker, std::string_view endMarker);

} // namespace zelto
