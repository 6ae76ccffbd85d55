// Localisable messages as strings.
#pragma once

#include "bus/typed_value.h"

#include <string>

namespace farlo {

class CZtI18NFM {
  public:
    explicit CZtI18NFM(const ZtI18n& message);
    explicit CZtI18NFM(const ZtI18nFormat& format);

    const std::string& string() const { return m_string; }

  private:
    std::string m_string;
};

}  // namespace farlo
