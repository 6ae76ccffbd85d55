// Texts in the forms that the lab meets: UTF-8 in its files, the ANSI code page
// and UTF-16 on the bus.
#pragma once

#include <string>

namespace lab {

// UTF-8 to UTF-16.
std::wstring widen(const std::string& utf8);

// ANSI code page to UTF-16.
std::wstring widen_ansi(const std::string& text);

// UTF-16 to the ANSI code page; false when it has characters that the code page
// lacks.
bool to_ansi(const std::wstring& text, std::string& ansi);

// As to_ansi, with "?" for what the code page lacks: for people to read.
std::string narrow(const std::wstring& text);

// The form in which texts are compared without regard to case.
std::wstring folded(std::wstring text);

}  // namespace lab
