#include "bench/contests.h"
#include "tests/support/library_under_test.h"

namespace zelto::bench {
namespace {

using test::LibraryUnderTest;
using test::LoadBuiltLibrary;

Figures TimeLoad(const std::filesystem::path& library) {
    const std::uint64_t before = Ticks();
    const HMODULE module = LoadBuiltLibrary(library);
    const std::uint64_t loaded = Ticks();
    Require(module != nullptr, "the library loads");
    FreeLibrary(module);
    return {static_cast<double>(loaded - before) / TicksPerNanosecond() / 1000};
}

} // namespace

// The system's DLLs are in the process already: this program imports what the library imports, but for the one that
// the client brings itself, which is loaded beforehand.
void CompeteInLoading(const Effort& effort) {
    const std::filesystem::path ours = LibraryUnderTest::LibraryPath();
    const HMODULE session = LoadBuiltLibrary(ours.parent_path() / "ZeltoSession.dll");
    const std::filesystem::path empty = ours.parent_path() / "empty_runtime.dll";
    Compete("loading into a process that has the system's DLLs", {"us"},
            {{"ZeltoAuth.dll", [&] { return TimeLoad(ours); }},
             {"DLL with an empty C runtime", [&] { return TimeLoad(empty); }}},
            {{0, 1, 0, 2.0}}, effort);
    FreeLibrary(session);
}

} // namespace zelto::bench
