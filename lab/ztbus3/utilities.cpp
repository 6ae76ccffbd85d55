// The bus's alerts, messages and utilities.
#include "store/locks.h"
#include "store/string_conversions.h"
#include "store/value.h"
#include "ztbus3/faulty_call.h"
#include "ztbus3/live.h"

#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace lab {
namespace {

bool matches(const char* pattern, const char* name) {
    for (; *pattern != '\0'; ++pattern, ++name) {
        if (*pattern == '*') {
            for (const char* rest = name;; ++rest) {
                if (matches(pattern + 1, rest)) {
                    return true;
                }
                if (*rest == '\0') {
                    return false;
                }
            }
        }
        if (std::tolower(static_cast<unsigned char>(*pattern)) !=
            std::tolower(static_cast<unsigned char>(*name))) {
            return false;
        }
    }
    return *name == '\0';
}

void* counted(void* block) {
    if (block != nullptr) {
        ++live.blocks;
    }
    return block;
}

template <class Char> Char* copy_of(const Char* text) {
    std::size_t length = 0;
    while (text[length] != 0) {
        ++length;
    }
    auto* copy = static_cast<Char*>(counted(std::malloc((length + 1) * sizeof(Char))));
    if (copy != nullptr) {
        std::memcpy(copy, text, (length + 1) * sizeof(Char));
    }
    return copy;
}

void release(const void* block) {
    if (block != nullptr) {
        std::free(const_cast<void*>(block));
        --live.blocks;
    }
}

// Appends an insertion whose string is a copy, and takes ownership of the copy.
opal_status append(opal_i18n_format& format, const opal_insertion& insertion) {
    const std::size_t count = format.insertion_count;
    auto* longer =
        static_cast<opal_insertion*>(counted(std::malloc((count + 1) * sizeof(opal_insertion))));
    if (longer == nullptr) {
        release(insertion.string);
        release(insertion.wide_string);
        return ZTERROR_NO_MEMORY;
    }
    if (count != 0) {
        std::memcpy(longer, format.insertions, count * sizeof(opal_insertion));
    }
    longer[count] = insertion;
    release(format.insertions);
    format.insertions = longer;
    ++format.insertion_count;
    return ZTSTATUS_OK;
}

template <class Char, class Make>
opal_status add_insertion(Function function, opal_i18n_format* format, const Char* text,
                          Make&& make) {
    return client_call(
        function, nullptr,
        [&](const Fault&) -> opal_status {
            if (format == nullptr || text == nullptr) {
                return ZTERROR_INVALID_ARGUMENT;
            }
            const Char* copy = copy_of(text);
            return copy != nullptr ? append(*format, make(copy)) : ZTERROR_NO_MEMORY;
        },
        [](opal_status) { return std::string(); });
}

SRWLOCK trace_lock = SRWLOCK_INIT;
lab_trace_sink trace_sink = nullptr;

void trace_to_file(std::uint32_t level, const char* text) {
    char path[MAX_PATH];
    const DWORD length = GetEnvironmentVariableA("ZTLAB_TRACE", path, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) {
        return;
    }
    if (FILE* file = std::fopen(path, "ab")) {
        std::fprintf(file, "%u %s\n", level, text);
        std::fclose(file);
    }
}

}  // namespace
}  // namespace lab

using namespace lab;

opal_bool EvMatch(const char* pattern, const char* name) {
    count_call(Function::EvMatch);
    return pattern != nullptr && name != nullptr && matches(pattern, name) ? opal_true : opal_false;
}

opal_status I18nAddInsertionString(opal_i18n_format* format, const char* text) {
    return add_insertion(Function::I18nAddInsertionString, format, text, [](const char* copy) {
        return opal_insertion{copy, nullptr};
    });
}

opal_status I18nAddInsertionWideString(opal_i18n_format* format, const wchar_t* text) {
    return add_insertion(Function::I18nAddInsertionWideString, format, text,
                         [](const wchar_t* copy) {
                             return opal_insertion{nullptr, copy};
                         });
}

void ZtTrace(uint32_t level, const char* format, ...) {
    count_call(Function::ZtTrace);
    char text[2048];
    std::va_list arguments;
    va_start(arguments, format);
    // msvcrt's function, where "%S" is wide.
    const int length = _vsnprintf(text, sizeof text - 1, format, arguments);
    va_end(arguments);
    text[length < 0 ? static_cast<int>(sizeof text - 1) : length] = '\0';
    if (is_recorded(Function::ZtTrace)) {
        record(Function::ZtTrace, " " + std::to_string(level) + " " + name_string(text));
    }
    const Shared hold(trace_lock);
    if (trace_sink != nullptr) {
        trace_sink(level, text);
    } else {
        trace_to_file(level, text);
    }
}

char* ZtGUIDToString(const GUID* guid) {
    if (is_withheld(Function::ZtGUIDToString) || guid == nullptr) {
        return nullptr;
    }
    return copy_of(guid_string(*guid).c_str());
}

void* _ZtAlloc(size_t size) {
    if (is_withheld(Function::ZtAlloc)) {
        return nullptr;
    }
    return counted(std::calloc(1, size != 0 ? size : 1));
}

void _ZtFree(void* block) {
    count_call(Function::ZtFree);
    release(block);
}

void ZtSleep(uint32_t milliseconds) {
    count_call(Function::ZtSleep);
    if (is_recorded(Function::ZtSleep)) {
        record(Function::ZtSleep, " " + std::to_string(milliseconds));
    }
    Sleep(milliseconds);
}

void ZtInitializeCriticalSection(CRITICAL_SECTION* section) {
    count_call(Function::ZtInitializeCriticalSection);
    InitializeCriticalSection(section);
}

void ZtEnterCriticalSection(CRITICAL_SECTION* section) {
    count_call(Function::ZtEnterCriticalSection);
    EnterCriticalSection(section);
}

void ZtLeaveCriticalSection(CRITICAL_SECTION* section) {
    count_call(Function::ZtLeaveCriticalSection);
    LeaveCriticalSection(section);
}

void ZtDeleteCriticalSection(CRITICAL_SECTION* section) {
    count_call(Function::ZtDeleteCriticalSection);
    DeleteCriticalSection(section);
}

size_t Ztmbstowcs(wchar_t* target, const char* source, size_t capacity) {
    count_call(Function::Ztmbstowcs);
    constexpr auto failed = static_cast<std::size_t>(-1);
    if (target != nullptr && capacity != 0) {
        target[0] = L'\0';
    }
    const int needed = source != nullptr ? MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, source,
                                                               -1, nullptr, 0)
                                         : 0;
    if (needed == 0) {
        return failed;
    }
    const auto length = static_cast<std::size_t>(needed) - 1;
    if (target == nullptr) {
        return length;
    }
    if (length >= capacity) {
        return failed;
    }
    MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, source, -1, target, needed);
    return length;
}

size_t Ztwcstombs(char* target, const wchar_t* source, size_t capacity) {
    count_call(Function::Ztwcstombs);
    constexpr auto failed = static_cast<std::size_t>(-1);
    if (target != nullptr && capacity != 0) {
        target[0] = '\0';
    }
    std::string text;
    if (source == nullptr || !to_ansi(source, text)) {
        return failed;
    }
    if (target == nullptr) {
        return text.size();
    }
    if (text.size() >= capacity) {
        return failed;
    }
    std::memcpy(target, text.c_str(), text.size() + 1);
    return text.size();
}

BOOL ZtCloseHandle(HANDLE handle) {
    count_call(Function::ZtCloseHandle);
    return CloseHandle(handle);
}

void LabSetTraceSink(lab_trace_sink sink) {
    const Exclusive hold(trace_lock);
    trace_sink = sink;
}
