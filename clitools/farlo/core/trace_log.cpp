#include "core/trace_log.h"

#include "core/windows_handle.h"

#include <clocale>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <cwchar>
#include <iterator>

namespace farlo {
namespace {

constexpr DWORD share_all = FILE_SHARE_READ | FILE_SHARE_WRITE;

FileHandle open_file(const char* path, DWORD access, DWORD disposition) noexcept {
    return FileHandle(
        CreateFileA(path, access, share_all, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
}

// std::time asks for the time zone as well, which costs more than everything else
// about a line except its file.
std::time_t current_time() noexcept {
    constexpr std::uint64_t ticks_a_second = 10'000'000;
    constexpr std::uint64_t seconds_from_1601_to_1970 = 11'644'473'600;
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    const std::uint64_t ticks = std::uint64_t{now.dwHighDateTime} << 32 | now.dwLowDateTime;
    return static_cast<std::time_t>(ticks / ticks_a_second - seconds_from_1601_to_1970);
}

bool file_size(const FileHandle& file, std::uint64_t& size) noexcept {
    LARGE_INTEGER value;
    if (GetFileSizeEx(file.get(), &value) == FALSE) {
        return false;
    }
    size = static_cast<std::uint64_t>(value.QuadPart);
    return true;
}

// Waits for a lock on the first byte of the file. Closing the file releases it.
bool lock_first_byte(const FileHandle& file) noexcept {
    OVERLAPPED offset{};
    return LockFileEx(file.get(), LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &offset) != FALSE;
}

bool copy_contents(const FileHandle& from, const FileHandle& to) noexcept {
    static char block[64 * 1024];  // under the log's lock
    for (;;) {
        DWORD got = 0;
        DWORD put = 0;
        if (ReadFile(from.get(), block, sizeof block, &got, nullptr) == FALSE) {
            return false;
        }
        if (got == 0) {
            return true;
        }
        if (WriteFile(to.get(), block, got, &put, nullptr) == FALSE || put != got) {
            return false;
        }
    }
}

// Reports that the log could not be copied. Returns an invalid handle.
FileHandle copy_failed() noexcept {
    // KEPT: on standard output, where scripts that start agents look for it.
    std::fputs("\nError in copying into new file\n", stdout);
    std::fflush(stdout);
    return {};
}

// Opens the older generation of the log, emptied or new. The name is wide because
// the system refuses narrow names of more than 260 characters.
FileHandle open_older(const char* path) noexcept {
    constexpr wchar_t suffix[] = L".0";
    wchar_t older_path[TraceLog::path_characters + std::size(suffix)];
    const int size =
        MultiByteToWideChar(CP_ACP, 0, path, -1, older_path, TraceLog::path_characters + 1);
    if (size == 0) {
        return {};
    }
    std::wcscpy(older_path + size - 1, suffix);
    const auto open = [&](DWORD disposition) {
        return FileHandle(CreateFileW(older_path, GENERIC_WRITE, share_all, nullptr, disposition,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    };
    FileHandle older = open(TRUNCATE_EXISTING);
    if (!older && GetLastError() == ERROR_FILE_NOT_FOUND) {
        older = open(CREATE_NEW);
    }
    return older;
}

bool copy_to_older(const FileHandle& log, const char* path) noexcept {
    const FileHandle older = open_older(path);
    return older && copy_contents(log, older);
}

// Copies the log to its one older generation, "farlo.log.0", and empties it, unless
// another process has just done so. Returns the log, open and not locked, or an
// invalid handle when the line is to be dropped.
//
// The log is locked from the check of its size until it is empty. Otherwise another
// process could write a line that neither file keeps, or roll over a second time.
FileHandle roll_over(const char* path, std::size_t line_length) noexcept {
    FileHandle locked = open_file(path, GENERIC_READ | GENERIC_WRITE, OPEN_EXISTING);
    if (!locked) {
        return copy_failed();
    }
    std::uint64_t size = 0;
    if (!lock_first_byte(locked) || !file_size(locked, size)) {
        return {};
    }
    const bool done_by_another = size + line_length < TraceLog::rollover_size;
    if (!done_by_another && !copy_to_older(locked, path)) {
        return copy_failed();
    }
    FileHandle log =
        open_file(path, GENERIC_WRITE, done_by_another ? OPEN_ALWAYS : TRUNCATE_EXISTING);
    locked.close();
    return log;
}

class Exclusive {
  public:
    explicit Exclusive(SRWLOCK& lock) : m_lock(lock) { AcquireSRWLockExclusive(&m_lock); }
    ~Exclusive() { ReleaseSRWLockExclusive(&m_lock); }
    Exclusive(const Exclusive&) = delete;
    Exclusive& operator=(const Exclusive&) = delete;

  private:
    SRWLOCK& m_lock;
};

}  // namespace

TraceLog trace_log;

TraceLog::TraceLog() noexcept {
    const DWORD needed =
        ExpandEnvironmentStringsA("%VMPATH%logs\\farlo.log", m_path, sizeof m_path);
    // The count may include a character beyond the terminator, so the length of the
    // path itself is checked.
    if (needed == 0 || needed > sizeof m_path || strnlen(m_path, sizeof m_path) > path_characters) {
        std::memset(m_path, 0, sizeof m_path);
        return;
    }
    read_threshold();
}

void TraceLog::read_threshold() noexcept {
    RegistryKey key;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Solvane\\ZtSvc\\CurrentVersion\\Tracing\\Cmd",
                      0, KEY_READ, key.receive()) != ERROR_SUCCESS) {
        return;
    }
    DWORD value = 0;
    DWORD type = REG_NONE;
    DWORD size = sizeof value;
    if (RegQueryValueExA(key.get(), "TRACELEVEL", nullptr, &type, reinterpret_cast<BYTE*>(&value),
                         &size) == ERROR_SUCCESS &&
        type == REG_DWORD) {
        m_threshold = value;
    }
}

void TraceLog::write(const wchar_t* format, ...) noexcept {
    const Exclusive hold(m_lock);

    constexpr std::size_t last = line_capacity - 1;
    m_wide_line[last - 1] = L'\0';
    std::va_list arguments;
    va_start(arguments, format);
    const int length = _vsnwprintf(m_wide_line, last, format, arguments);
    va_end(arguments);
    const bool cut_short = length < 0 && m_wide_line[last - 1] != L'\0';
    if (length < 0 && !cut_short) {
        return;
    }
    m_wide_line[last] = L'\0';

    if (WideCharToMultiByte(CP_ACP, 0, m_wide_line, -1, m_narrow_line, line_capacity, nullptr,
                            nullptr) == 0) {
        return;
    }
    char line[line_capacity];
    append(line, build_line(line));
}

// Writes date, time, process, thread, message and line end. Cuts the message short
// if the line end would not fit.
std::size_t TraceLog::build_line(char* line) const noexcept {
    std::setlocale(LC_TIME, "C");
    const std::time_t now = current_time();
    const std::tm* local = std::localtime(&now);
    if (local == nullptr) {
        return 0;
    }
    constexpr char line_end[] = "\r\n";
    constexpr std::size_t end_length = sizeof line_end - 1;

    std::size_t length = std::strftime(line, line_capacity, "%x %X ", local);
    const int ids =
        _snprintf(line + length, line_capacity - length, "[PID:%02d,TID:%02d] ",
                  static_cast<int>(GetCurrentProcessId()), static_cast<int>(GetCurrentThreadId()));
    length += static_cast<std::size_t>(ids);

    const std::size_t room = line_capacity - length - end_length - 1;
    const std::size_t message = std::strlen(m_narrow_line);
    const std::size_t taken = message < room ? message : room;
    std::memcpy(line + length, m_narrow_line, taken);
    length += taken;
    std::memcpy(line + length, line_end, sizeof line_end);
    return length + end_length;
}

// Opens and closes the file for each line, so that every line is on disk.
void TraceLog::append(const char* line, std::size_t length) noexcept {
    FileHandle file = open_file(m_path, GENERIC_WRITE, OPEN_ALWAYS);
    std::uint64_t size = 0;
    if (!file || !file_size(file, size)) {
        return;
    }
    if (size + length >= rollover_size) {
        file.close();
        file = roll_over(m_path, length);
        if (!file) {
            return;
        }
    }
    if (!lock_first_byte(file)) {
        return;
    }
    LARGE_INTEGER none{};
    if (SetFilePointerEx(file.get(), none, nullptr, FILE_END) == FALSE) {
        return;
    }
    if (length != 0) {
        DWORD written = 0;
        WriteFile(file.get(), line, static_cast<DWORD>(length), &written, nullptr);
    }
}

}  // namespace farlo
