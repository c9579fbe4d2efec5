#include "bench/contests.h"
#include "tests/support/library_under_test.h"
#include "trace/library_trace.h"

namespace zelto::bench {
namespace {

using test::LibraryUnderTest;
using test::LoadBuiltLibrary;

// Microseconds since `before`.
Figures TimeSince(std::uint64_t before) {
    return {static_cast<double>(Ticks() - before) / TicksPerNanosecond() / 1000};
}

template <class Load>
Figures TimeLoad(const Load& load) {
    const std::uint64_t before = Ticks();
    const HMODULE module = load();
    const Figures time = TimeSince(before);
    Require(module != nullptr, "the library loads");
    FreeLibrary(module);
    return time;
}

Figures TimeFullLoad(const std::filesystem::path& library) {
    return TimeLoad([&] { return LoadBuiltLibrary(library); });
}

// Without its imports, and without running any of its code.
Figures TimeMapping(const std::filesystem::path& library) {
    return TimeLoad([&] { return LoadLibraryExW(library.c_str(), nullptr, DONT_RESOLVE_DLL_REFERENCES); });
}

// What the library does first when it is loaded.
Figures TimeTraceStart() {
    const std::uint64_t before = Ticks();
    TraceOnProcessAttach();
    const Figures time = TimeSince(before);
    TraceOnProcessDetach(false);
    return time;
}

// Loads for good what `module` imports, so that only its own load is left to be timed.
void KeepImportsOf(HMODULE module) {
    const auto* base = reinterpret_cast<const char*>(module);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const auto& imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    const auto* entry = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + imports.VirtualAddress);
    for (; entry->Name != 0; ++entry) {
        const HMODULE loaded = GetModuleHandleA(base + entry->Name);
        wchar_t path[MAX_PATH];
        Require(loaded != nullptr && GetModuleFileNameW(loaded, path, MAX_PATH) != 0 &&
                    LoadLibraryW(path) != nullptr,
                "what the library imports stays loaded");
    }
}

} // namespace

void CompeteInLoading(const Effort& effort) {
    const std::filesystem::path ours = LibraryUnderTest::LibraryPath();
    const std::filesystem::path empty = ours.parent_path() / "empty_runtime.dll";
    const HMODULE first = LoadBuiltLibrary(ours);
    Require(first != nullptr, "the library loads");
    KeepImportsOf(first);
    FreeLibrary(first);
    Compete("loading into a process that has the system's DLLs", {"us"},
            {{"ZeltoAuth.dll", [&] { return TimeFullLoad(ours); }},
             {"DLL with an empty C runtime", [&] { return TimeFullLoad(empty); }},
             {"ZeltoAuth.dll, mapped only", [&] { return TimeMapping(ours); }},
             {"empty DLL, mapped only", [&] { return TimeMapping(empty); }},
             {"start of the trace alone", &TimeTraceStart}},
            {{0, 1, 0, 2.0}}, effort);
}

} // namespace zelto::bench
