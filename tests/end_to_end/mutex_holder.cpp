// Holds a mutex like a reservation thread: "mutex_holder NAME MUTEX". Releases the
// semaphore NAME.ready once it holds the mutex. When the event NAME.go is set, it
// releases the mutex and exits.
#include <windows.h>

#include <string>

int wmain(int argc, wchar_t** argv) {
    if (argc != 3) {
        return 2;
    }
    const std::wstring name = argv[1];
    const HANDLE ready = OpenSemaphoreW(SEMAPHORE_MODIFY_STATE, FALSE, (name + L".ready").c_str());
    const HANDLE go = OpenEventW(SYNCHRONIZE, FALSE, (name + L".go").c_str());
    const HANDLE mutex = CreateMutexW(nullptr, TRUE, argv[2]);
    const bool held = mutex != nullptr && GetLastError() != ERROR_ALREADY_EXISTS;
    if (!held || ReleaseSemaphore(ready, 1, nullptr) == FALSE ||
        WaitForSingleObject(go, INFINITE) != WAIT_OBJECT_0) {
        return 1;
    }
    return ReleaseMutex(mutex) != FALSE ? 0 : 1;
}
