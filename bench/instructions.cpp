// instructions CASE COUNT: makes the text of that many records, for a tool that counts instructions. Built natively.

#include "trace/formatter.h"
#include "trace/record.h"
#include "trace/time_block.h"

#include <cstdarg>
#include <cstdlib>
#include <string_view>
#include <utility>

using namespace zelto;

namespace {

char area[kMaximumTimeBlock + kMaximumRecordHead + kMessageArea];
std::size_t written = 0; // keeps the work from being left out
LastTimeBlock last;

void Message(const char* format, ...) {
    BoundedText out(area, kMessageArea - 1);
    std::va_list arguments;
    va_start(arguments, format);
    AppendMessage(out, format, arguments);
    va_end(arguments);
    written += out.Length();
}

void Constant(unsigned) {
    Message("trace stopped");
}
void Typical(unsigned) {
    Message("%s() response=%s", "GetHttpResponse",
            "{\"method\":\"saml\",\"auth_id\":\"6f1c8a2e907\",\"port\":8020,\"ok\":1}");
}
void Numbers(unsigned number) {
    Message("port=%d status=%d length=%u flags=%x id=%llu", 8020, 200, number, 0x3FEu, 123456789012ull);
}
void Wide(unsigned) {
    Message("folder %S", L"C:\\Users\\J\u00fcrgen\\AppData\\Local\\ZeltoClient\\auth module");
}
void Head(unsigned number) {
    last.Put(area, {}, number);
    RecordHead head;
    head.processId = 1234;
    head.threadId = 5678;
    head.moduleName = "ZeltoAuth";
    head.line = 1413;
    head.level = "   info";
    written += static_cast<std::size_t>(PutRecordHead(area + kPlainTimeBlock, head) - area);
}

constexpr std::pair<std::string_view, void (*)(unsigned)> kCases[] = {
    {"constant", &Constant}, {"typical", &Typical}, {"numbers", &Numbers}, {"wide", &Wide}, {"head", &Head}};

} // namespace

int main(int argc, char** argv) {
    last.Keep({}, "[2026-03-19 04:11:33.0000000 UTC+01:00] ");
    for (const auto& [name, run] : kCases) {
        if (argc == 3 && name == argv[1]) {
            for (unsigned left = static_cast<unsigned>(std::atoi(argv[2])); left > 0; --left) {
                run(left);
            }
        }
    }
    return written != 0 ? 0 : 1;
}
