#include "extbrowser/extract_between.h"

namespace zelto {

std::optional<std::string_view> FindBetween(std::string_view text, std::string_view startMarker,
                                            std::string_view endMarker) {
    const std::size_t marker = text.find(startMarker);
    if (marker == std::string_view::npos) {
        return std::nullopt;
    }
    const std::size_t start = marker + startMarker.size();
    const std::size_t end = text.find(endMarker, start);
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    return text.substr(start, end - start);
}

std::string ExtractBetween(std::string_view text, std::string_view startMarker, std::string_view endMarker) {
    return std::string(FindBetween(text, startMarker, endMarker).value_or(std::string_view()));
}

} // namespace zelto
