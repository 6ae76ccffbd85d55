// Narrow arguments of exported entries as wide strings.
#pragma once

#include "api/farlo.h"
#include "core/trace_log.h"

#include <cstddef>
#include <cwchar>

namespace farlo {

// A narrow argument as a wide string, in a buffer of `Capacity` characters. A string
// that does not fit, or is not valid in the code page, is refused, never cut short:
// half a name may name another group.
template <std::size_t Capacity> class WidenedString {
  public:
    explicit WidenedString(const char* narrow) : m_null(narrow == nullptr) {
        if (m_null) {
            return;
        }
        m_string[Capacity - 1] = L'\0';
        const int length = _snwprintf(m_string, Capacity, L"%S", narrow);
        m_fits = length >= 0 && static_cast<std::size_t>(length) < Capacity;
    }

    // Returns false, and logs the entry and the argument, when the string is refused.
    [[nodiscard]] bool accepted(const wchar_t* entry, const wchar_t* argument) const {
        if (!m_fits) {
            log(0, L"%s() failed , %s string of more than %u characters or invalid, error=(0x%x)",
                entry, argument, static_cast<unsigned>(Capacity - 1), FARLO_INVALID_ARGUMENT);
        }
        return m_fits;
    }
    // NULL for a NULL argument.
    const wchar_t* get() const { return m_null ? nullptr : m_string; }

  private:
    wchar_t m_string[Capacity];
    bool m_null;
    bool m_fits = true;
};
using WidenedGroupName = WidenedString<32>;
using WidenedPath = WidenedString<260>;

}  // namespace farlo
