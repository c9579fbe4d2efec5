#include "auth/split_by_any_of.h"

namespace zelto {

std::vector<SecretText> SplitByAnyOf(std::string_view text, std::string_view delimiters) {
    std::vector<SecretText> fields;
    for (;;) {
        const std::size_t end = text.find_first_of(delimiters);
        fields.emplace_back(text.substr(0, end));
        if (end == std::string_view::npos) {
            return fields;
        }
        text.remove_prefix(end + 1);
    }
}

} // namespace zelto
