#include "ztbus3/marshal.h"

#include "ztbus3/live.h"
#include "ztbus3/propset.h"

#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>

namespace lab {
namespace {

// The memory that a returned value points to, other than its own bytes.
struct Pointees {
    std::deque<std::string> texts;
    std::deque<std::wstring> wide_texts;
    std::deque<std::vector<opal_insertion>> insertions;
    std::vector<opal_propset> sets;

    ~Pointees() {
        for (const opal_propset set : sets) {
            delete_propset(set);
        }
    }
};

// Precedes the name in memory; the value follows the name.
struct Head {
    static constexpr std::uint64_t alive = 0x79747265706f7270;
    std::uint64_t magic;
    Pointees* pointees;
};

constexpr std::size_t value_alignment = 16;

std::size_t raw_size(std::uint32_t element_type) {
    switch (element_type) {
    case TYPE_BOOLEAN:
        return sizeof(opal_bool);
    case TYPE_INT32:
    case TYPE_UINT32:
        return sizeof(std::uint32_t);
    case TYPE_GUID:
        return sizeof(GUID);
    case TYPE_ZTOBJID:
        return sizeof(opal_objid);
    case TYPE_I18N:
        return sizeof(opal_i18n);
    case TYPE_I18NFORMATSTRING:
        return sizeof(opal_i18n_format);
    default:  // 64-bit numbers, and pointers
        return sizeof(std::uint64_t);
    }
}

class RawWriter {
  public:
    // `pointees` may be null for a type without any.
    RawWriter(char* to, Pointees* pointees) : m_to(to), m_pointees(pointees) {}

    void operator()(bool value) { put(static_cast<opal_bool>(value ? opal_true : opal_false)); }
    template <class T>
    requires std::is_trivially_copyable_v<T>
    void operator()(const T& value) { put(value); }
    void operator()(const std::string& value) {
        put(m_pointees->texts.emplace_back(value).c_str());
    }
    void operator()(const std::wstring& value) {
        put(m_pointees->wide_texts.emplace_back(value).c_str());
    }
    void operator()(const Bytes&) {}  // never an element
    void operator()(const std::shared_ptr<PropertySet>& value) {
        put(m_pointees->sets.emplace_back(new_propset(*value)));
    }
    void operator()(const I18n& value) {
        put(opal_i18n{value.message_id, keep(value.name), keep(value.catalog)});
    }
    void operator()(const I18nFormat& value) {
        std::vector<opal_insertion>& insertions = m_pointees->insertions.emplace_back();
        for (const Insertion& insertion : value.insertions) {
            if (const auto* text = std::get_if<std::string>(&insertion)) {
                insertions.push_back({keep(*text), nullptr});
            } else {
                insertions.push_back(
                    {nullptr, m_pointees->wide_texts.emplace_back(std::get<std::wstring>(insertion))
                                  .c_str()});
            }
        }
        put(opal_i18n_format{keep(value.pattern), static_cast<std::uint32_t>(insertions.size()),
                             insertions.empty() ? nullptr : insertions.data()});
    }

  private:
    template <class T> void put(const T& value) {
        std::memcpy(m_to, &value, sizeof value);
        m_to += sizeof value;
    }
    const char* keep(const std::string& text) {
        return m_pointees->texts.emplace_back(text).c_str();
    }

    char* m_to;
    Pointees* m_pointees;
};

// The bytes of a scalar that consists of characters or bytes.
bool own_bytes(const Value& value, const void*& bytes, std::size_t& size) {
    if (value.is_array() || value.elements.empty()) {
        return false;
    }
    const Scalar& element = value.elements.front();
    if (const auto* text = std::get_if<std::string>(&element)) {
        bytes = text->c_str();
        size = text->size() + 1;
    } else if (const auto* wide = std::get_if<std::wstring>(&element)) {
        bytes = wide->c_str();
        size = (wide->size() + 1) * sizeof(wchar_t);
    } else if (const auto* binary = std::get_if<Bytes>(&element)) {
        bytes = binary->data();
        size = binary->size();
    } else {
        return false;
    }
    return true;
}

// Whether values of the type consist of characters or bytes.
bool holds_own_bytes(std::uint32_t type) {
    return type == TYPE_STR || type == TYPE_WSTR || type == TYPE_BINARY;
}

bool has_pointees(std::uint32_t element_type) {
    return element_type == TYPE_STR || element_type == TYPE_WSTR || element_type == TYPE_PROPSET ||
           element_type == TYPE_I18N || element_type == TYPE_I18NFORMATSTRING;
}

// `slack` more bytes after the value, filled with 'X'.
void fill(const std::string& name, const Value& value, std::size_t slack, opal_property& property) {
    const void* bytes = nullptr;
    std::size_t size = value.elements.size() * raw_size(value.element_type());
    const bool direct = own_bytes(value, bytes, size);

    const std::size_t front = sizeof(Head) + name.size() + 1;
    const std::size_t value_at = (front + value_alignment - 1) / value_alignment * value_alignment;
    char* block = static_cast<char*>(std::malloc(value_at + size + slack));
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    std::unique_ptr<char, void (*)(void*)> owner(block, std::free);
    std::unique_ptr<Pointees> pointees;
    if (direct) {
        if (size != 0) {
            std::memcpy(block + value_at, bytes, size);
        }
    } else {
        if (has_pointees(value.element_type())) {
            pointees = std::make_unique<Pointees>();
        }
        RawWriter writer(block + value_at, pointees.get());
        for (const Scalar& element : value.elements) {
            std::visit(writer, element);
        }
    }
    if (slack != 0) {
        std::memset(block + value_at + size, 'X', slack);
    }
    const Head head{Head::alive, pointees.release()};
    std::memcpy(block, &head, sizeof head);
    std::memcpy(block + sizeof head, name.c_str(), name.size() + 1);
    owner.release();

    property.name = block + sizeof(Head);
    property.type = value.type;
    property.count = value.is_array() ? static_cast<std::uint32_t>(value.elements.size()) : 1;
    property.size = static_cast<std::uint32_t>(size);
    property.value = size != 0 ? block + value_at : nullptr;
    ++live.properties;
}

// ----------------------------------------------------------------- reading

template <class T> bool take_raw(const opal_property& property, std::size_t index, T& value) {
    if (property.value == nullptr || property.size / sizeof(T) <= index) {
        return false;
    }
    std::memcpy(&value, static_cast<const char*>(property.value) + index * sizeof(T), sizeof(T));
    return true;
}

template <class T>
bool take_plain(const opal_property& property, std::size_t index, Scalar& element) {
    T value;
    if (!take_raw(property, index, value)) {
        return false;
    }
    element = value;
    return true;
}

template <class Char>
bool take_pointed_text(const opal_property& property, std::size_t index, Scalar& element) {
    const Char* text = nullptr;
    if (!take_raw(property, index, text) || text == nullptr) {
        return false;
    }
    element = std::basic_string<Char>(text);
    return true;
}

template <class Char> bool take_own_text(const opal_property& property, Scalar& element) {
    const auto* text = static_cast<const Char*>(property.value);
    const std::size_t capacity = property.size / sizeof(Char);
    for (std::size_t length = 0; text != nullptr && length < capacity; ++length) {
        if (text[length] == 0) {
            element = std::basic_string<Char>(text, length);
            return true;
        }
    }
    return false;
}

bool take_set(const opal_property& property, std::size_t index, Scalar& element) {
    opal_propset set = nullptr;
    if (!take_raw(property, index, set) || !is_propset(set)) {
        return false;
    }
    element = std::make_shared<PropertySet>(set->properties);
    return true;
}

bool take_message(const opal_property& property, std::size_t index, Scalar& element) {
    opal_i18n raw{};
    if (!take_raw(property, index, raw) || raw.name == nullptr || raw.catalog == nullptr) {
        return false;
    }
    element = I18n{raw.message_id, raw.name, raw.catalog};
    return true;
}

bool take_format(const opal_property& property, std::size_t index, Scalar& element) {
    opal_i18n_format raw{};
    if (!take_raw(property, index, raw) || raw.pattern == nullptr ||
        (raw.insertion_count != 0 && raw.insertions == nullptr)) {
        return false;
    }
    I18nFormat format{raw.pattern, {}};
    for (std::uint32_t i = 0; i < raw.insertion_count; ++i) {
        const opal_insertion& insertion = raw.insertions[i];
        if (insertion.wide_string != nullptr) {
            format.insertions.emplace_back(std::wstring(insertion.wide_string));
        } else if (insertion.string != nullptr) {
            format.insertions.emplace_back(std::string(insertion.string));
        } else {
            return false;
        }
    }
    element = std::move(format);
    return true;
}

bool take_element(const opal_property& property, std::uint32_t type, std::size_t index,
                  Scalar& element) {
    const bool array = (property.type & TYPE_ARRAY_BIT) != 0;
    switch (type) {
    case TYPE_BOOLEAN: {
        opal_bool value = opal_false;
        const bool taken = take_raw(property, index, value);
        element = value != opal_false;
        return taken;
    }
    case TYPE_INT32:
        return take_plain<std::int32_t>(property, index, element);
    case TYPE_UINT32:
        return take_plain<std::uint32_t>(property, index, element);
    case TYPE_INT64:
    case TYPE_TIME:
        return take_plain<std::int64_t>(property, index, element);
    case TYPE_UINT64:
        return take_plain<std::uint64_t>(property, index, element);
    case TYPE_STR:
        return array ? take_pointed_text<char>(property, index, element)
                     : take_own_text<char>(property, element);
    case TYPE_WSTR:
        return array ? take_pointed_text<wchar_t>(property, index, element)
                     : take_own_text<wchar_t>(property, element);
    case TYPE_BINARY: {
        const auto* bytes = static_cast<const std::uint8_t*>(property.value);
        if (bytes == nullptr && property.size != 0) {
            return false;
        }
        element = bytes != nullptr ? Bytes(bytes, bytes + property.size) : Bytes();
        return true;
    }
    case TYPE_GUID:
        return take_plain<GUID>(property, index, element);
    case TYPE_ZTOBJID:
        return take_plain<opal_objid>(property, index, element);
    case TYPE_PROPSET:
        return take_set(property, index, element);
    case TYPE_I18N:
        return take_message(property, index, element);
    case TYPE_I18NFORMATSTRING:
        return take_format(property, index, element);
    default:
        return false;
    }
}

}  // namespace

void hand_out(const std::string& name, const Value& value, opal_property& property) {
    fill(name, value, 0, property);
}

void hand_out_unterminated(const std::string& name, const Value& value, opal_property& property) {
    constexpr std::size_t slack = 64;
    fill(name, value, slack, property);
    const std::size_t terminator = value.type == TYPE_STR    ? sizeof(char)
                                   : value.type == TYPE_WSTR ? sizeof(wchar_t)
                                                             : 0;
    if (terminator != 0 && property.size >= terminator) {
        property.size -= static_cast<std::uint32_t>(terminator);
        char* bytes = static_cast<char*>(const_cast<void*>(property.value));
        std::memset(bytes + property.size, 'X', terminator);
    }
}

bool free_property(opal_property& property) {
    if (property.name == nullptr) {
        return false;
    }
    char* block = const_cast<char*>(property.name) - sizeof(Head);
    Head head;
    std::memcpy(&head, block, sizeof head);
    if (head.magic != Head::alive) {
        return false;
    }
    delete head.pointees;
    std::memset(block, 0, sizeof head);
    std::free(block);
    property = {};
    --live.properties;
    return true;
}

bool take_in(const opal_property& property, Property& result) {
    if (property.name == nullptr || std::strcmp(type_name(property.type), "?") == 0) {
        return false;
    }
    result.name = property.name;
    result.value.type = property.type;
    result.value.elements.clear();
    const std::uint32_t type = result.value.element_type();
    const std::size_t count = property.count;
    if (!result.value.is_array() && count != 1) {
        return false;
    }
    if (!holds_own_bytes(property.type) && property.size != count * raw_size(type)) {
        return false;
    }
    result.value.elements.reserve(count);
    for (std::size_t index = 0; index < count; ++index) {
        Scalar element;
        if (!take_element(property, type, index, element)) {
            return false;
        }
        result.value.elements.push_back(std::move(element));
    }
    return true;
}

}  // namespace lab
