#include "store/string_conversions.h"

#include <windows.h>

#include <algorithm>

namespace lab {
namespace {

std::wstring to_wide(UINT code_page, const std::string& narrow) {
    const auto length = static_cast<int>(narrow.size());
    const int needed = MultiByteToWideChar(code_page, 0, narrow.data(), length, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(needed), L'\0');
    MultiByteToWideChar(code_page, 0, narrow.data(), length, wide.data(), needed);
    return wide;
}

std::string to_narrow(const std::wstring& wide, BOOL* lost) {
    // UTF-8 can represent every character and rejects this parameter.
    const bool lacks = GetACP() != CP_UTF8;
    const DWORD flags = lacks ? WC_NO_BEST_FIT_CHARS : 0;
    const auto length = static_cast<int>(wide.size());
    const int needed =
        WideCharToMultiByte(CP_ACP, flags, wide.data(), length, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<std::size_t>(needed), '\0');
    WideCharToMultiByte(CP_ACP, flags, wide.data(), length, result.data(), needed, nullptr,
                        lacks ? lost : nullptr);
    return result;
}

}  // namespace

std::wstring widen(const std::string& utf8) {
    return to_wide(CP_UTF8, utf8);
}

std::wstring widen_ansi(const std::string& ansi) {
    return to_wide(CP_ACP, ansi);
}

bool to_ansi(const std::wstring& wide, std::string& ansi) {
    BOOL lost = FALSE;
    ansi = to_narrow(wide, &lost);
    return lost == FALSE;
}

std::string narrow(const std::wstring& wide) {
    BOOL lost = FALSE;
    return to_narrow(wide, &lost);
}

std::wstring folded(std::wstring wide) {
    const auto length = static_cast<int>(wide.size());
    if (length != 0) {
        LCMapStringEx(LOCALE_NAME_INVARIANT, LCMAP_LOWERCASE, wide.c_str(), length, wide.data(),
                      length, nullptr, nullptr, 0);
    }
    return wide;
}

std::string printable(std::string text) {
    std::replace_if(
        text.begin(), text.end(),
        [](char character) { return static_cast<unsigned char>(character) < 0x20; }, '?');
    return text;
}

std::string to_utf8(const std::wstring& wide) {
    const auto length = static_cast<int>(wide.size());
    const int needed =
        WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<std::size_t>(needed), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, utf8.data(), needed, nullptr, nullptr);
    return utf8;
}

}  // namespace lab
