// Writes numbered lines to the trace log from several threads:
//
//   log_writer PROCESS THREADS LINES WIDTH
//
// Each line is the first of the two lines that a call with a NULL handle writes. It
// contains process, thread and number and is WIDTH characters wide.
#include "end_to_end/agent_program.h"
#include "farlo.h"
#include "support/private_registry.h"

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

OnlineDgExW_fn online;
int process;
int lines;
int width;

DWORD WINAPI write_lines(void* argument) {
    const int thread = *static_cast<int*>(argument);
    for (int line = 0; line < lines; ++line) {
        std::wstring name = L"p" + std::to_wstring(process) + L" t" + std::to_wstring(thread) +
                            L" n" + std::to_wstring(line) + L" ";
        name.resize(static_cast<std::size_t>(width), static_cast<wchar_t>(L'a' + thread));
        online(nullptr, name.c_str(), nullptr, nullptr, 0, 0);
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fputs("usage: log_writer PROCESS THREADS LINES WIDTH\n", stderr);
        return 2;
    }
    const support::PrivateRegistry registry;
    process = std::atoi(argv[1]);
    lines = std::atoi(argv[3]);
    width = std::atoi(argv[4]);
    const HMODULE farlo = LoadLibraryW(L"farlo.dll");
    if (farlo == nullptr) {
        std::fprintf(stderr, "log_writer: farlo.dll cannot be loaded, error %lu\n", GetLastError());
        return 1;
    }
    online = end_to_end::find_export<OnlineDgExW_fn>(farlo, "OnlineDgExW");
    std::vector<int> numbers(static_cast<std::size_t>(std::atoi(argv[2])));
    std::vector<HANDLE> threads;
    for (int& number : numbers) {
        number = static_cast<int>(threads.size());
        threads.push_back(CreateThread(nullptr, 0, write_lines, &number, 0, nullptr));
    }
    for (const HANDLE thread : threads) {
        WaitForSingleObject(thread, INFINITE);
        CloseHandle(thread);
    }
    return 0;
}
