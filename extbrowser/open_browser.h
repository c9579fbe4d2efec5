#pragma once

#include <string>

namespace zelto {

// Opens the page in the user's default browser; the address goes to the log. Whether that works is not looked
// at: a browser that cannot be started shows up as the listener's time-out.
void OpenBrowser(const std::wstring& url);

} // namespace zelto
