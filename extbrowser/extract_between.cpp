#include "extbrowser/extract_between.h"

namespace zelto {

std::string ExtractBetween(std::string_view text, std::string_view startMarker, std::string_view endMarker) {
    const std::size_t marker = text.find(startMarker);
    if (marker == std::string_view::npos) {
        return {};
    }
    const std::size_t start = marker + startMarker.size();
    const std::size_t end = text.find(endMarker, start);
    if (end == std::string_view::npos) {
        return {};
    }
    return std::string(text.substr(start, end - start));
}

} // namespace zelto
