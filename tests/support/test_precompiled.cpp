#include "support/test_precompiled.h"

template class std::basic_string<char>;
template class std::basic_string<wchar_t>;
template class std::vector<std::string>;
template class std::vector<std::wstring>;
template class std::function<void()>;
