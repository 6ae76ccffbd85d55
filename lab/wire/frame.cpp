#include "wire/frame.h"

#include <cstring>

namespace lab {
namespace {

constexpr int depth_limit = 16;

class ScalarWriter {
  public:
    explicit ScalarWriter(Writer& writer) : m_writer(writer) {}

    void operator()(bool value) const { m_writer.flag(value); }
    void operator()(std::int32_t value) const {
        m_writer.number(static_cast<std::uint32_t>(value));
    }
    void operator()(std::uint32_t value) const { m_writer.number(value); }
    void operator()(std::int64_t value) const {
        m_writer.big_number(static_cast<std::uint64_t>(value));
    }
    void operator()(std::uint64_t value) const { m_writer.big_number(value); }
    void operator()(const std::string& value) const { m_writer.text(value); }
    void operator()(const std::wstring& value) const { m_writer.wide(value); }
    void operator()(const Bytes& value) const {
        m_writer.text(std::string(value.begin(), value.end()));
    }
    void operator()(const GUID& value) const { m_writer.guid(value); }
    void operator()(const opal_objid& value) const { m_writer.object(value); }
    void operator()(const std::shared_ptr<PropertySet>& value) const { m_writer.set(*value); }
    void operator()(const I18n& value) const {
        m_writer.number(value.message_id);
        m_writer.text(value.name);
        m_writer.text(value.catalog);
    }
    void operator()(const I18nFormat& value) const {
        m_writer.text(value.pattern);
        m_writer.number(static_cast<std::uint32_t>(value.insertions.size()));
        for (const Insertion& insertion : value.insertions) {
            const auto* text = std::get_if<std::string>(&insertion);
            m_writer.flag(text == nullptr);
            text != nullptr ? m_writer.text(*text)
                            : m_writer.wide(std::get<std::wstring>(insertion));
        }
    }

  private:
    Writer& m_writer;
};

}  // namespace

// ------------------------------------------------------------------- writing

void Writer::raw(const void* bytes, std::size_t size) {
    const auto* first = static_cast<const std::uint8_t*>(bytes);
    m_bytes.insert(m_bytes.end(), first, first + size);
}

void Writer::text(const std::string& value) {
    number(static_cast<std::uint32_t>(value.size()));
    raw(value.data(), value.size());
}

void Writer::wide(const std::wstring& value) {
    number(static_cast<std::uint32_t>(value.size()));
    raw(value.data(), value.size() * sizeof(wchar_t));
}

void Writer::objects(const std::vector<opal_objid>& values) {
    number(static_cast<std::uint32_t>(values.size()));
    raw(values.data(), values.size() * sizeof(opal_objid));
}

void Writer::value(const Value& value) {
    number(value.type);
    number(static_cast<std::uint32_t>(value.elements.size()));
    for (const Scalar& element : value.elements) {
        std::visit(ScalarWriter(*this), element);
    }
}

void Writer::set(const PropertySet& set) {
    number(static_cast<std::uint32_t>(set.size()));
    for (const Property& property : set) {
        text(property.name);
        value(property.value);
    }
}

// ------------------------------------------------------------------- reading

void Reader::raw(void* target, std::size_t size) {
    if (size > m_bytes.size() - m_at) {
        throw Malformed("the body ends too early");
    }
    if (size != 0) {
        std::memcpy(target, m_bytes.data() + m_at, size);
    }
    m_at += size;
}

std::uint32_t Reader::number() {
    std::uint32_t value;
    raw(&value, sizeof value);
    return value;
}

std::uint64_t Reader::big_number() {
    std::uint64_t value;
    raw(&value, sizeof value);
    return value;
}

std::uint32_t Reader::count(std::size_t least) {
    const std::uint32_t value = number();
    if (value > (m_bytes.size() - m_at) / least) {
        throw Malformed("a count is larger than the body");
    }
    return value;
}

bool Reader::flag() {
    const std::uint32_t value = number();
    if (value > 1) {
        throw Malformed("a flag that is neither 0 nor 1");
    }
    return value != 0;
}

Results Reader::results() {
    const std::uint32_t value = number();
    if (value > static_cast<std::uint32_t>(Results::withheld)) {
        throw Malformed("an unknown kind of results");
    }
    return static_cast<Results>(value);
}

Lie Reader::lie() {
    const std::uint32_t value = number();
    if (value > static_cast<std::uint32_t>(Lie::null)) {
        throw Malformed("an unknown lie");
    }
    return static_cast<Lie>(value);
}

std::string Reader::text() {
    std::string value(count(sizeof(char)), '\0');
    raw(value.data(), value.size());
    return value;
}

std::wstring Reader::wide() {
    std::wstring value(count(sizeof(wchar_t)), L'\0');
    raw(value.data(), value.size() * sizeof(wchar_t));
    return value;
}

GUID Reader::guid() {
    GUID value;
    raw(&value, sizeof value);
    return value;
}

opal_objid Reader::object() {
    opal_objid value;
    raw(&value, sizeof value);
    return value;
}

std::vector<opal_objid> Reader::objects() {
    std::vector<opal_objid> values(count(sizeof(opal_objid)));
    raw(values.data(), values.size() * sizeof(opal_objid));
    return values;
}

Scalar Reader::scalar(std::uint32_t type) {
    switch (type) {
    case TYPE_BOOLEAN:
        return flag();
    case TYPE_INT32:
        return static_cast<std::int32_t>(number());
    case TYPE_UINT32:
        return number();
    case TYPE_INT64:
    case TYPE_TIME:
        return static_cast<std::int64_t>(big_number());
    case TYPE_UINT64:
        return big_number();
    case TYPE_STR:
        return text();
    case TYPE_WSTR:
        return wide();
    case TYPE_BINARY: {
        const std::string bytes = text();
        return Bytes(bytes.begin(), bytes.end());
    }
    case TYPE_GUID:
        return guid();
    case TYPE_ZTOBJID:
        return object();
    case TYPE_PROPSET:
        return std::make_shared<PropertySet>(set());
    case TYPE_I18N: {
        I18n message;
        message.message_id = number();
        message.name = text();
        message.catalog = text();
        return message;
    }
    case TYPE_I18NFORMATSTRING: {
        I18nFormat format;
        format.pattern = text();
        for (std::uint32_t left = count(2 * sizeof(std::uint32_t)); left != 0; --left) {
            if (flag()) {
                format.insertions.emplace_back(wide());
            } else {
                format.insertions.emplace_back(text());
            }
        }
        return format;
    }
    default:
        throw Malformed("an unknown type");
    }
}

Value Reader::value() {
    Value value;
    value.type = number();
    const std::uint32_t elements = count(sizeof(std::uint32_t));
    if (!value.is_array() && elements != 1) {
        throw Malformed("a scalar without exactly one element");
    }
    if (std::strcmp(type_name(value.type), "?") == 0) {
        throw Malformed("an unknown type");
    }
    for (std::uint32_t i = 0; i < elements; ++i) {
        value.elements.push_back(scalar(value.element_type()));
    }
    return value;
}

PropertySet Reader::set() {
    if (++m_depth > depth_limit) {
        throw Malformed("sets are nested too deeply");
    }
    PropertySet set;
    for (std::uint32_t left = count(3 * sizeof(std::uint32_t)); left != 0; --left) {
        Property property;
        property.name = text();
        property.value = value();
        set.push_back(std::move(property));
    }
    --m_depth;
    return set;
}

void Reader::finish() const {
    if (m_at != m_bytes.size()) {
        throw Malformed("bytes after the end of the body");
    }
}

}  // namespace lab
