#pragma once

namespace zelto {

// Deletes the embedded browser's folder, the user's or, in session 0, the service's, with everything in it.
// Tries 15 times, a second apart, because a browser that is still ending keeps files open; what cannot be
// deleted then stays. It takes all of these 15 seconds: a folder that is gone counts as one that is still
// there, and a file that has the folder's name is not found under it, with the backslash at its end. Returns
// at once when there is no such path, or one of 260 characters and more.
void DeleteSamlAuthFolder() noexcept;

} // namespace zelto
