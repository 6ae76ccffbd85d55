// The headers that most tests include, compiled once for all of them. A source still includes every
// header that it uses.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

// In C++20 each source would compile the members of these classes again. test_precompiled.cpp does
// it once.
extern template class std::basic_string<char>;
extern template class std::basic_string<wchar_t>;
extern template class std::vector<std::string>;
extern template class std::vector<std::wstring>;
extern template class std::function<void()>;
