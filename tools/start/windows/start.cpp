#include "start/start.h"

#include <algorithm>
#include <filesystem>
#include <string>

#include <windows.h>
// Needs what is declared there.
#include <shellapi.h>

namespace kx {

namespace {

namespace fs = std::filesystem;

// The files that the last part of a path stands for, but for hidden ones, in the order of their names; the word itself
// where there are none.
std::vector<std::wstring> files_of(const std::wstring& word)
{
    std::vector<std::wstring> found;
    const fs::path folder = fs::path(word).parent_path();
    WIN32_FIND_DATAW entry{};
    const HANDLE search = FindFirstFileW(word.c_str(), &entry);
    if (search != INVALID_HANDLE_VALUE) {
        do {
            const std::wstring name = static_cast<const wchar_t*>(entry.cFileName);
            const bool hidden = (entry.dwFileAttributes & FILE_ATTRIBUTE_HIDDEN) != 0;
            if (name != L"." && name != L".." && !hidden) {
                found.push_back((folder / name).wstring());
            }
        } while (FindNextFileW(search, &entry) != FALSE);
        FindClose(search);
    }
    std::sort(found.begin(), found.end());
    return found.empty() ? std::vector{word} : found;
}

std::string utf8_of(const std::wstring& text)
{
    const auto length = static_cast<int>(text.size());
    std::string converted(3 * text.size(), '\0');
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, converted.data(),
                                         static_cast<int>(converted.size()), nullptr, nullptr);
    converted.resize(static_cast<std::size_t>(size));
    return converted;
}

// The console keeps its code page when the program has ended.
class utf8_console {
public:
    utf8_console() : before_(GetConsoleOutputCP()) { SetConsoleOutputCP(CP_UTF8); }
    utf8_console(const utf8_console&) = delete;
    utf8_console& operator=(const utf8_console&) = delete;
    ~utf8_console() { SetConsoleOutputCP(before_); }

private:
    UINT before_;
};

} // namespace

std::vector<char*> start_program(int /*count*/, char** /*words*/)
{
    SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32);
    static const utf8_console console;
    static std::vector<std::string> words;
    int count = 0;
    wchar_t** const given = CommandLineToArgvW(GetCommandLineW(), &count);
    for (int i = 0; i < count; ++i) {
        const std::wstring word = given[i];
        const bool expands = i > 0 && word.find_first_of(L"*?") != std::wstring::npos && !word.starts_with(L"-");
        for (const std::wstring& file : expands ? files_of(word) : std::vector{word}) {
            words.push_back(utf8_of(file));
        }
    }
    LocalFree(given);
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    return pointers;
}

} // namespace kx
