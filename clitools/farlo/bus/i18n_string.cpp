#include "bus/i18n_string.h"

namespace farlo {

CZtI18NFM::CZtI18NFM(const ZtI18n& message)
    : m_string("messageId=" + std::to_string(message.message_id) + ", name=\"" + message.name +
               "\", catalog=" + message.catalog) {}

CZtI18NFM::CZtI18NFM(const ZtI18nFormat& format)
    : m_string("FormatSpec={" + format.pattern + "}, Insertions={") {
    const char* separator = "";
    for (const std::string& insertion : format.insertions) {
        m_string += separator + insertion;
        separator = ", ";
    }
    m_string += "}";
}

}  // namespace farlo
