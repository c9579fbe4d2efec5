#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace zelto {

// Longest folder, base name, registry path and file name, in characters.
inline constexpr std::size_t kMaximumName = 260;

// A name in a fixed place: the trace allocates nothing for its names. Empty when it has not been set.
struct FileName {
    char text[kMaximumName + 1] = {};

    bool IsSet() const noexcept { return text[0] != '\0'; }
    std::string_view View() const noexcept { return text; }

    // Takes over `parts`, one behind the other, cut to kMaximumName characters.
    template <class... Parts>
    void Set(const Parts&... parts) noexcept {
        std::size_t length = 0;
        ((length = AppendPart(length, parts)), ...);
        text[length] = '\0';
    }

private:
    std::size_t AppendPart(std::size_t length, std::string_view part) noexcept;
};

bool operator==(const FileName& left, const FileName& right) noexcept;

// The names of one log. Without a size limit main and errorCopy are files of their own; with one, each is
// chosen from its pair of rotation files.
struct LogFileNames {
    FileName main;
    FileName errorCopy;
    FileName rotationA;
    FileName rotationB;
    FileName errorRotationA;
    FileName errorRotationB;
};

// Why names cannot be built, as a Windows error code.
inline constexpr std::uint32_t kNamesOk = 0;
inline constexpr std::uint32_t kFolderWithoutBackslash = 21; // ERROR_NOT_READY
inline constexpr std::uint32_t kFileNameInvalid = 87; // ERROR_INVALID_PARAMETER: empty, or with a backslash

std::uint32_t CheckNames(std::string_view folder, std::string_view fileName) noexcept;

// "_pid_1234" when `flags` ask for it (kTracePidInFileNames), otherwise empty.
struct PidPart {
    char text[16] = {};
};
PidPart MakePidPart(std::uint64_t flags, std::uint32_t processId) noexcept;

// Sets main and errorCopy: "folder\host.log" and "folder\host_error.log". A `fileName` without a dot is all
// extension.
void BuildPlainNames(LogFileNames& names, std::string_view folder, std::string_view fileName,
                     const PidPart& pid) noexcept;

// Sets the four rotation names: "folder\host_1.log", "_2", "_1_error" and "_2_error".
void BuildRotationNames(LogFileNames& names, std::string_view folder, std::string_view fileName,
                        const PidPart& pid) noexcept;

} // namespace zelto
