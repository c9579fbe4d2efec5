#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zelto {

// The text between the first occurrence of `startMarker` and the first occurrence of `endMarker` behind it;
// nothing when either is missing. Bytes are compared as they are. An empty start marker is found at the very
// beginning; an empty end marker gives the empty text. The result is a part of `text`.
std::optional<std::string_view> FindBetween(std::string_view text, std::string_view startMarker,
                                            std::string_view endMarker);

// A copy of the same; empty when either marker is missing.
std::string ExtractBetween(std::string_view text, std::string_view startMarker, std::string_view endMarker);

} // namespace zelto
