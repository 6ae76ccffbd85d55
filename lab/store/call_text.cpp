#include "store/call_text.h"

#include <cstdio>

namespace lab {

std::string CallText::object(const opal_objid& object) const {
    return "@" + m_name_of(object, m_context);
}

std::string CallText::objects(const std::vector<opal_objid>& objects) const {
    std::string text = "[";
    for (const opal_objid& one : objects) {
        text += (text.size() == 1 ? "" : " ") + object(one);
    }
    return text + "]";
}

std::string CallText::set(const PropertySet& set) const {
    return to_text(set, m_name_of, m_context);
}

std::string CallText::value(const Value& value) const {
    return std::string(type_name(value.type)) + " " + to_text(value, m_name_of, m_context);
}

std::string CallText::value(const Value& value, const ResultFault& fault) const {
    Value changed = value;
    const bool resized = resize(changed, fault.lie);
    std::string contents = to_text(changed, m_name_of, m_context);
    std::string remark;
    if (fault.lie == Lie::null) {
        contents = "NULL";
    } else if (fault.lie == Lie::unterminated &&
               (value.type == TYPE_STR || value.type == TYPE_WSTR)) {
        remark = " unterminated";
    } else if (!resized && (fault.lie == Lie::empty || fault.lie == Lie::shorter)) {
        remark = " of size 0";  // a number
    }
    const std::string type = type_name(value.type);
    const bool other_type = fault.as_type != 0 && fault.as_type != value.type;
    return (other_type ? std::string(type_name(fault.as_type)) + " with the bytes of " + type
                       : type) +
           " " + contents + remark;
}

std::string status_string(opal_status status) {
    char text[24];
    std::snprintf(text, sizeof text, " -> 0x%x", static_cast<unsigned>(status));
    return text;
}

}  // namespace lab
