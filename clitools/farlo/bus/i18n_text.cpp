#include "bus/i18n_text.h"

namespace farlo {

CZtI18NFM::CZtI18NFM(const ZtI18n& message)
    : m_text("messageId=" + std::to_string(message.message_id) + ", name=\"" + message.name +
             "\", catalog=" + message.catalog) {}

CZtI18NFM::CZtI18NFM(const ZtI18nFormat& format)
    : m_text("FormatSpec={" + format.pattern + "}, Insertions={") {
    const char* separator = "";
    for (const std::string& insertion : format.insertions) {
        m_text += separator + insertion;
        separator = ", ";
    }
    m_text += "}";
}

}  // namespace farlo
