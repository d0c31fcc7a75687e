// Holds a file open as other programs do, until its standard input ends. Usage: hold_file FILE alone|readable
#include <cstdio>
#include <string_view>

#include <windows.h>

int main(int, char** words)
{
    const DWORD shared = std::string_view(words[2]) == "readable" ? FILE_SHARE_READ : 0;
    const HANDLE file =
        CreateFileA(words[1], GENERIC_READ, shared, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return 1;
    }
    std::puts("held");
    std::fflush(stdout);
    std::getchar();
    return 0;
}
