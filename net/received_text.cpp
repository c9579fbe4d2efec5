#include "net/received_text.h"

namespace zelto {

std::string_view TextBeforeZero(std::string_view bytes) {
    return bytes.substr(0, bytes.find('\0'));
}

} // namespace zelto
