#pragma once

namespace zelto {

// Deletes the embedded browser's folder, the user's or, in session 0, the service's, with everything in it.
// Tries 15 times, a second apart, because a browser that is still ending keeps files open; what cannot be
// deleted then stays. It takes all of these 15 seconds unless the folder's name is taken by something that is
// no folder: a folder that is gone counts as one that is still there.
void DeleteSamlAuthFolder() noexcept;

} // namespace zelto
