#include "store/model.h"

#include "store/string_conversions.h"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <stdexcept>

namespace lab {
namespace {

std::atomic<std::uint64_t> last_number{0};

std::uint64_t number_of(const opal_objid& id) {
    std::uint64_t number;
    std::memcpy(&number, id.bytes, sizeof number);
    return number;
}

// A number that is unique in the process, and the process id: an id of one
// process identifies nothing in another.
opal_objid new_id() {
    opal_objid id{};
    const std::uint64_t number = ++last_number;
    const std::uint32_t process = GetCurrentProcessId();
    std::memcpy(id.bytes, &number, sizeof number);
    std::memcpy(id.bytes + sizeof number, &process, sizeof process);
    return id;
}

// Formats a value as queries compare it. Returns false if its type cannot be queried.
bool text_form(const Value& value, std::wstring& text) {
    if (value.is_array() || value.elements.empty()) {
        return false;
    }
    return std::visit(
        [&text](const auto& element) {
            using T = std::decay_t<decltype(element)>;
            if constexpr (std::is_same_v<T, bool>) {
                text = element ? L"true" : L"false";
            } else if constexpr (std::is_integral_v<T>) {
                text = std::to_wstring(element);
            } else if constexpr (std::is_same_v<T, std::string>) {
                text = widen_ansi(element);
            } else if constexpr (std::is_same_v<T, std::wstring>) {
                text = element;
            } else if constexpr (std::is_same_v<T, GUID>) {
                text = widen_ansi(guid_string(element));
            } else {
                return false;
            }
            return true;
        },
        value.elements.front());
}

template <class T> Value single(std::uint32_t type, T value) {
    Value result;
    result.type = type;
    result.elements.emplace_back(std::move(value));
    return result;
}

// Returns a property's first element if it has that C++ type, else nullptr.
template <class T> const T* element_of(const Value* value) {
    return value != nullptr && !value->is_array() && !value->elements.empty()
               ? std::get_if<T>(&value->elements.front())
               : nullptr;
}

}  // namespace

Value boolean_value(bool value) {
    return single(TYPE_BOOLEAN, value);
}
Value uint32_value(std::uint32_t value) {
    return single(TYPE_UINT32, value);
}
Value uint64_value(std::uint64_t value) {
    return single(TYPE_UINT64, value);
}
Value string_value(std::string value) {
    return single(TYPE_STR, std::move(value));
}
Value wide_value(std::wstring value) {
    return single(TYPE_WSTR, std::move(value));
}

// -------------------------------------------------------------------- Object

const Value* Object::get(const std::string& property) const {
    const Property* found = lab::find(properties, property);
    return found != nullptr ? &found->value : nullptr;
}

bool Object::is_true(const std::string& property) const {
    const bool* flag = element_of<bool>(get(property));
    return flag != nullptr && *flag;
}

std::wstring Object::text(const std::string& property) const {
    std::wstring text;
    if (const Value* value = get(property)) {
        text_form(*value, text);
    }
    return text;
}

std::string Object::narrow_string(const std::string& property) const {
    const std::string* text = element_of<std::string>(get(property));
    return text != nullptr ? *text : std::string();
}

std::uint32_t Object::number(const std::string& property) const {
    const std::uint32_t* number = element_of<std::uint32_t>(get(property));
    return number != nullptr ? *number : 0;
}

// --------------------------------------------------------------------- Model

Object& Model::add(const std::string& name, const std::string& type) {
    if (m_names.count(name) != 0) {
        throw std::invalid_argument("the name \"" + name + "\" is taken");
    }
    const opal_objid id = new_id();
    Object& object = m_objects[id];
    object.id = id;
    object.name = name;
    object.type = type;
    m_names[name] = id;
    m_types[type].push_back(id);
    return object;
}

void Model::link(Object& parent, Object& child) {
    parent.children.push_back(child.id);
    child.parents.push_back(parent.id);
}

void Model::remove(const opal_objid& id) {
    const Object* object = find(id);
    if (object == nullptr) {
        return;
    }
    const auto is_it = [&id](const opal_objid& other) { return IdEqual()(id, other); };
    touch(*object);
    for (const opal_objid& parent : object->parents) {
        std::erase_if(find(parent)->children, is_it);
    }
    for (const opal_objid& child : object->children) {
        std::erase_if(find(child)->parents, is_it);
    }
    for (const Property& property : object->properties) {
        if (Index* index = existing_index(*object, property.name)) {
            leave(*index, *object, property.name);
        }
    }
    std::erase_if(m_types[object->type], is_it);
    m_names.erase(object->name);
    m_objects.erase(id);
}

void Model::remove_tree(const opal_objid& id) {
    const Object* object = find(id);
    if (object == nullptr) {
        return;  // a subdisk is below its plex and its disk
    }
    for (const opal_objid& child : std::vector<opal_objid>(object->children)) {
        remove_tree(child);
    }
    remove(id);
}

void Model::hide_tree(Object& object, bool hidden) {
    object.hidden = hidden;
    touch(object);
    for (const opal_objid& child : object.children) {
        hide_tree(*find(child), hidden);
    }
}

void Model::set(Object& object, const std::string& property, Value value) {
    touch(object);
    Index* index = existing_index(object, property);
    if (index != nullptr) {
        leave(*index, object, property);
    }
    const auto existing =
        std::find_if(object.properties.begin(), object.properties.end(),
                     [&property](const Property& other) { return other.name == property; });
    if (existing != object.properties.end()) {
        existing->value = std::move(value);
    } else {
        object.properties.push_back({property, std::move(value)});
    }
    if (index != nullptr) {
        enter(*index, object, property);
    }
}

bool Model::unset(Object& object, const std::string& property) {
    touch(object);
    if (Index* index = existing_index(object, property)) {
        leave(*index, object, property);
    }
    return std::erase_if(object.properties, [&property](const Property& other) {
               return other.name == property;
           }) != 0;
}

Object* Model::find(const opal_objid& id) {
    const auto found = m_objects.find(id);
    return found == m_objects.end() ? nullptr : &found->second;
}

Object* Model::find_named(const std::string& name) {
    const auto found = m_names.find(name);
    return found == m_names.end() ? nullptr : find(found->second);
}

const std::vector<opal_objid>& Model::of_type(const std::string& type) const {
    static const std::vector<opal_objid> none;
    const auto found = m_types.find(type);
    return found == m_types.end() ? none : found->second;
}

std::vector<opal_objid> Model::matching(const std::string& type, const std::string& property,
                                        const std::wstring& text) {
    std::vector<opal_objid> ids;
    // No index for an unknown type: clients could fill the memory with such queries.
    if (of_type(type).empty()) {
        return ids;
    }
    const Index& index = index_of(type, property);
    const auto found = index.find(folded(text));
    if (found != index.end()) {
        for (const auto& [number, id] : found->second) {
            if (!find(id)->hidden) {
                ids.push_back(id);
            }
        }
    }
    return ids;
}

Object* Model::find_by_text(const std::string& type, const std::string& property,
                            const std::wstring& text) {
    const std::vector<opal_objid> ids = matching(type, property, text);
    return ids.empty() ? nullptr : find(ids.front());
}

std::size_t Model::reveal() {
    std::size_t count = 0;
    for (auto& [id, object] : m_objects) {
        if (object.hidden) {
            object.hidden = false;
            touch(object);
            ++count;
        }
    }
    return count;
}

void Model::touch(const Object& object) {
    if (m_tracks) {
        m_changes.push_back(object.id);
    }
}

Model::Index& Model::index_of(const std::string& type, const std::string& property) {
    const auto [at, is_new] = m_indexes.try_emplace({type, property});
    if (is_new) {
        for (const opal_objid& id : of_type(type)) {
            enter(at->second, *find(id), property);
        }
    }
    return at->second;
}

Model::Index* Model::existing_index(const Object& object, const std::string& property) {
    if (m_indexes.empty()) {
        return nullptr;
    }
    const auto found = m_indexes.find({object.type, property});
    return found == m_indexes.end() ? nullptr : &found->second;
}

void Model::enter(Index& index, const Object& object, const std::string& property) {
    const Value* value = object.get(property);
    std::wstring text;
    if (value != nullptr && text_form(*value, text)) {
        index[folded(std::move(text))].emplace(number_of(object.id), object.id);
    }
}

void Model::leave(Index& index, const Object& object, const std::string& property) {
    const auto found = index.find(folded(object.text(property)));
    if (found == index.end()) {
        return;
    }
    found->second.erase(number_of(object.id));
    if (found->second.empty()) {
        index.erase(found);
    }
}

}  // namespace lab
