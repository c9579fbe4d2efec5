#include "trace/file_names.h"

#include "trace/bounded_text.h"
#include "trace/trace.h"

#include <algorithm>
#include <cstring>

namespace zelto {
namespace {

struct SplitName {
    std::string_view stem;
    std::string_view extension; // with its dot; the whole name when it has none
};

SplitName SplitAtLastDot(std::string_view fileName) noexcept {
    const std::size_t dot = fileName.rfind('.');
    if (dot == std::string_view::npos) {
        return {{}, fileName};
    }
    return {{fileName.data(), dot}, {fileName.data() + dot, fileName.size() - dot}};
}

} // namespace

std::size_t FileName::AppendPart(std::size_t length, std::string_view part) noexcept {
    const std::size_t count = std::min(part.size(), kMaximumName - length);
    if (count != 0) {
        std::memcpy(text + length, part.data(), count);
    }
    return length + count;
}

bool operator==(const FileName& left, const FileName& right) noexcept {
    return left.View() == right.View();
}

std::uint32_t CheckNames(std::string_view folder, std::string_view fileName) noexcept {
    if (!folder.ends_with('\\')) {
        return kFolderWithoutBackslash;
    }
    if (fileName.empty() || fileName.find('\\') != std::string_view::npos) {
        return kFileNameInvalid;
    }
    return kNamesOk;
}

PidPart MakePidPart(std::uint64_t flags, std::uint32_t processId) noexcept {
    PidPart pid;
    if ((flags & kTracePidInFileNames) != 0) {
        BoundedText text(pid.text, sizeof(pid.text) - 1);
        text.Append("_pid_");
        text.AppendDecimal(processId);
    }
    return pid;
}

void BuildPlainNames(LogFileNames& names, std::string_view folder, std::string_view fileName,
                     const PidPart& pid) noexcept {
    const auto [stem, extension] = SplitAtLastDot(fileName);
    names.main.Set(folder, stem, pid.text, extension);
    names.errorCopy.Set(folder, stem, "_error", pid.text, extension);
}

void BuildRotationNames(LogFileNames& names, std::string_view folder, std::string_view fileName,
                        const PidPart& pid) noexcept {
    const auto [stem, extension] = SplitAtLastDot(fileName);
    names.rotationA.Set(folder, stem, "_1", pid.text, extension);
    names.rotationB.Set(folder, stem, "_2", pid.text, extension);
    names.errorRotationA.Set(folder, stem, "_1_error", pid.text, extension);
    names.errorRotationB.Set(folder, stem, "_2_error", pid.text, extension);
}

} // namespace zelto
