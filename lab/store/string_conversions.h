// Conversions of strings: between UTF-8 in files and the ANSI code page and UTF-16 on the
// bus, and to folded case.
#pragma once

#include <string>

namespace lab {

// UTF-16 to UTF-8.
std::string to_utf8(const std::wstring& wide);

// UTF-8 to UTF-16.
std::wstring widen(const std::string& utf8);

// ANSI code page to UTF-16.
std::wstring widen_ansi(const std::string& ansi);

// UTF-16 to the ANSI code page. Returns false if the code page lacks a character.
bool to_ansi(const std::wstring& wide, std::string& ansi);

// Like to_ansi, but writes "?" for characters that the code page lacks.
std::string narrow(const std::wstring& wide);

// Writes "?" for control characters, so that the string takes one line.
std::string printable(std::string text);

// Folds case: strings that differ only in case become equal.
std::wstring folded(std::wstring wide);

}  // namespace lab
