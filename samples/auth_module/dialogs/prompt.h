#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace authmodule {

enum class FieldKind { Text, Password, Choice };

// One thing that the user is asked for.
struct Field {
    FieldKind kind = FieldKind::Text;
    std::wstring label;
    std::wstring text; // offered to the user; then what he answered
    std::vector<std::wstring> choices;
    std::size_t chosen = 0; // into choices
};
using Fields = std::vector<Field>;

struct Prompt {
    std::wstring heading;
    std::wstring description;
    std::wstring okText;
    Fields fields;
    std::uint32_t timeoutSeconds = 0;

    // What is done with the answers while the dialog still shows; may be missing. Runs on another thread, and
    // goes on there when the user cancels meanwhile: it must own what it uses. Returns a sentence for the
    // user, who may then try again, or an empty text when all is well.
    std::function<std::wstring(const Fields&)> submit;
};

enum class Outcome { Answered, Cancelled, TimedOut, NoWindow };

} // namespace authmodule
