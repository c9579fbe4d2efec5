#pragma once

#include "auth/secret.h"

#include <string_view>
#include <vector>

namespace zelto {

// Cuts `text` at every character that occurs in `delimiters`. Empty fields are kept, and the field behind the
// last delimiter is always there: one field more than `text` has delimiters, so an empty text gives one empty
// field. The fields are copies, which are wiped before they are freed. Throws std::bad_alloc.
std::vector<SecretText> SplitByAnyOf(std::string_view text, std::string_view delimiters);

} // namespace zelto
