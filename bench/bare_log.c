#include "bare_log.h"

#include <windows.h>

int bare_log_path(char* path, unsigned capacity) {
    const DWORD size = ExpandEnvironmentStringsA("%VMPATH%logs\\bare.log", path, capacity);
    return size != 0 && size <= capacity && path[0] != '%';
}

void bare_log_line(const char* path) {
    static const char line[] =
        "11/20/26 19:21:38 [PID:1234,TID:1234] OnlineDg dg_data is called with flag 0x1\r\n";
    const LARGE_INTEGER none = {{0}};
    LARGE_INTEGER size;
    OVERLAPPED offset = {0};
    DWORD count = 0;
    const HANDLE file = CreateFileA(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, NULL,
                                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, NULL);
    GetFileSizeEx(file, &size);
    LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &offset);
    SetFilePointerEx(file, none, NULL, FILE_END);
    WriteFile(file, line, sizeof line - 1, &count, NULL);
    CloseHandle(file);
}
