// Conversions between the encodings of strings: UTF-8 in files, the ANSI code page
// and UTF-16 on the bus.
#pragma once

#include <string>

namespace lab {

// UTF-8 to UTF-16.
std::wstring widen(const std::string& utf8);

// ANSI code page to UTF-16.
std::wstring widen_ansi(const std::string& text);

// UTF-16 to the ANSI code page. Returns false if the code page lacks a character.
bool to_ansi(const std::wstring& text, std::string& ansi);

// Like to_ansi, but writes "?" for characters that the code page lacks.
std::string narrow(const std::wstring& text);

// Folds case: strings that differ only in case become equal.
std::wstring folded(std::wstring text);

}  // namespace lab
