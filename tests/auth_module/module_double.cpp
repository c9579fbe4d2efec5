// A double of the auth module: writes down what it was given and does what a script tells it. It shares no code
// with the library, so that each checks the other's reading of the contract.
//
// The folder named by ZELTO_AUTH_MODULE_DOUBLE holds the script "script.txt", an action a line:
//
//   answer HEX     puts this answer, encrypted, into the block
//   damaged HEX    the same, with wrong padding
//   block FILE     puts the bytes of this file of the folder into the block as they are
//   signal EVENT   signals a named event
//   wait EVENT     waits for a named event
//   delay MS       waits for so many milliseconds
//   crash          ends with an access violation
//   exit CODE      ends with this exit code (at the end of the script: 0)
//
// and gets "record.txt" (see Record). Of a script in parts, which lines "or" separate, the double does one, by chance.

#include <windows.h>

#include <bcrypt.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>
#include <wincrypt.h>

namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::size_t kBlockSize = 65536;

// Exit codes of the double itself, which no script asks for.
constexpr int kNoScript = 90;
constexpr int kBadAction = 91;
constexpr int kNotEncrypted = 92;

std::wstring Folder() {
    wchar_t folder[MAX_PATH] = {};
    GetEnvironmentVariableW(L"ZELTO_AUTH_MODULE_DOUBLE", folder, MAX_PATH);
    return folder;
}

std::string FilePath(const std::string& name) {
    const std::wstring folder = Folder();
    return std::string(folder.begin(), folder.end()) + "\\" + name; // the tests' folders are plain ASCII
}

std::string ReceiverText() {
    const wchar_t* option = wcsstr(GetCommandLineW(), L"--receiver=");
    std::string digits;
    for (option = option == nullptr ? L"" : option + 11; *option >= L'0' && *option <= L'9'; ++option) {
        digits += static_cast<char>(*option);
    }
    return digits;
}

std::string Hex(const void* data, std::size_t size) {
    std::string text;
    for (std::size_t i = 0; i < size; ++i) {
        char digits[3];
        std::snprintf(digits, sizeof(digits), "%02x", static_cast<const unsigned char*>(data)[i]);
        text += digits;
    }
    return text;
}

Bytes Unhex(const std::string& text) {
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        bytes.push_back(static_cast<unsigned char>(std::strtoul(text.substr(i, 2).c_str(), nullptr, 16)));
    }
    return bytes;
}

std::string HexOfWide(const wchar_t* text) {
    return Hex(text, wcslen(text) * sizeof(wchar_t));
}

// One line for each thing that the double was given. Written under another name first, so that it is
// complete when it is there.
void Record(const std::string& receiver, const char* block) {
    wchar_t path[MAX_PATH] = {};
    wchar_t directory[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    GetCurrentDirectoryW(MAX_PATH, directory);
    MEMORY_BASIC_INFORMATION region = {};
    bool zero = block != nullptr;
    if (block != nullptr) {
        VirtualQuery(block, &region, sizeof(region));
        for (std::size_t i = 0; i < kBlockSize; ++i) {
            zero = zero && block[i] == '\0';
        }
    }
    {
        std::ofstream record(FilePath("record.new"), std::ios::binary);
        record << "program " << HexOfWide(path) << "\ncommand " << HexOfWide(GetCommandLineW())
               << "\ndirectory " << HexOfWide(directory) << "\nreceiver " << receiver << "\nblock_size "
               << region.RegionSize << "\nblock_zero " << zero << "\nprocess " << GetCurrentProcessId()
               << "\n";
    }
    MoveFileExA(FilePath("record.new").c_str(), FilePath("record.txt").c_str(), MOVEFILE_REPLACE_EXISTING);
}

Bytes Sha256(const std::string& text) {
    BCRYPT_ALG_HANDLE algorithm = nullptr;
    BCRYPT_HASH_HANDLE hash = nullptr;
    Bytes digest(32);
    std::string input = text;
    BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0);
    BCryptCreateHash(algorithm, &hash, nullptr, 0, nullptr, 0, 0);
    BCryptHashData(hash, reinterpret_cast<PUCHAR>(input.data()), static_cast<ULONG>(input.size()), 0);
    BCryptFinishHash(hash, digest.data(), 32, 0);
    BCryptDestroyHash(hash);
    BCryptCloseAlgorithmProvider(algorithm, 0);
    return digest;
}

// A random initialisation vector and the encrypted text behind it; empty on failure.
Bytes Encrypt(Bytes plaintext, const std::string& receiver) {
    BCRYPT_ALG_HANDLE algorithm = nullptr;
    BCRYPT_KEY_HANDLE key = nullptr;
    Bytes digest = Sha256(receiver);
    Bytes record(16 + (plaintext.size() / 16 + 1) * 16);
    BCryptGenRandom(nullptr, record.data(), 16, BCRYPT_USE_SYSTEM_PREFERRED_RNG);
    Bytes iv(record.begin(), record.begin() + 16);
    BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_AES_ALGORITHM, nullptr, 0);
    BCryptGenerateSymmetricKey(algorithm, &key, nullptr, 0, digest.data(), 16, 0);
    ULONG written = 0;
    const NTSTATUS status = BCryptEncrypt(
        key, plaintext.data(), static_cast<ULONG>(plaintext.size()), nullptr, iv.data(), 16,
        record.data() + 16, static_cast<ULONG>(record.size() - 16), &written, BCRYPT_BLOCK_PADDING);
    BCryptDestroyKey(key);
    BCryptCloseAlgorithmProvider(algorithm, 0);
    return status == 0 && written == record.size() - 16 ? record : Bytes();
}

// `damage` is what the padding of an answer is changed by.
bool PutAnswer(char* block, const std::string& hex, const std::string& receiver, unsigned char damage) {
    Bytes record = Encrypt(Unhex(hex), receiver);
    if (record.size() >= 32) {
        record[record.size() - 17] ^= damage;
    }
    DWORD size = kBlockSize;
    return !record.empty() &&
           CryptBinaryToStringA(record.data(), static_cast<DWORD>(record.size()),
                                CRYPT_STRING_BASE64 | CRYPT_STRING_NOCRLF, block, &size) != FALSE;
}

void PutFile(char* block, const std::string& name) {
    std::ifstream file(FilePath(name), std::ios::binary);
    file.read(block, kBlockSize);
}

// Keeps the platform's own crash handling, with its windows, out of it.
LONG WINAPI EndAtOnce(EXCEPTION_POINTERS* exception) {
    TerminateProcess(GetCurrentProcess(), exception->ExceptionRecord->ExceptionCode);
    return EXCEPTION_EXECUTE_HANDLER;
}

void Crash() {
    SetUnhandledExceptionFilter(EndAtOnce);
    RaiseException(EXCEPTION_ACCESS_VIOLATION, 0, 0, nullptr);
}

void Act(const std::string& action, const std::string& value, char* block, const std::string& receiver) {
    if (action == "answer" || action == "damaged") {
        if (!PutAnswer(block, value, receiver, action == "damaged" ? 0x80 : 0)) {
            ExitProcess(kNotEncrypted);
        }
    } else if (action == "delay") {
        Sleep(std::strtoul(value.c_str(), nullptr, 10));
    } else if (action == "block") {
        PutFile(block, value);
    } else if (action == "signal") {
        SetEvent(OpenEventA(EVENT_MODIFY_STATE, FALSE, value.c_str()));
    } else if (action == "wait") {
        WaitForSingleObject(OpenEventA(SYNCHRONIZE, FALSE, value.c_str()), INFINITE);
    } else if (action == "crash") {
        Crash();
    } else if (action == "exit") {
        ExitProcess(static_cast<UINT>(std::strtoul(value.c_str(), nullptr, 0)));
    } else {
        ExitProcess(kBadAction);
    }
}

// The lines of the script, or of one of its parts.
std::vector<std::string> ReadScript() {
    std::ifstream file(FilePath("script.txt"));
    if (!file) {
        ExitProcess(kNoScript);
    }
    std::vector<std::vector<std::string>> parts(1);
    std::string line;
    while (std::getline(file, line)) {
        if (line == "or") {
            parts.emplace_back();
        } else {
            parts.back().push_back(line);
        }
    }
    unsigned chance = 0;
    BCryptGenRandom(nullptr, reinterpret_cast<PUCHAR>(&chance), sizeof(chance),
                    BCRYPT_USE_SYSTEM_PREFERRED_RNG);
    return parts[chance % parts.size()];
}

} // namespace

int main() {
    const std::string receiver = ReceiverText();
    const auto mapping =
        reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(std::strtoull(receiver.c_str(), nullptr, 10)));
    char* const block = static_cast<char*>(MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, kBlockSize));
    Record(receiver, block);
    for (const std::string& line : ReadScript()) {
        const std::size_t blank = line.find(' ');
        Act(line.substr(0, blank), blank == std::string::npos ? "" : line.substr(blank + 1), block, receiver);
    }
    return 0;
}
