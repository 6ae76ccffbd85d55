#include "sweep/call_pattern.h"

using namespace support;

namespace sweep {
namespace {

CallPattern with_word(CallPattern pattern, const std::string& word) {
    pattern.words += " " + word;
    return pattern;
}

std::string quoted(const std::string& property) {
    return "\"" + property + "\"";
}

}  // namespace

CallPattern CallPattern::nth(unsigned n) const {
    CallPattern pattern = *this;
    pattern.number = n;
    return pattern;
}

CallPattern CallPattern::returning(std::uint32_t status) const {
    return with_word(*this, hex(status));
}

CallPattern CallPattern::failing_with(std::uint32_t error) const {
    return with_word(*this, std::to_string(error));
}

CallPattern CallPattern::without_output() const {
    return with_word(*this, "nothing");
}

CallPattern CallPattern::succeeding() const {
    return with_word(*this, "succeeds");
}

CallPattern CallPattern::failing() const {
    return with_word(*this, "fails");
}

CallPattern CallPattern::abandoned() const {
    return with_word(*this, "abandoned");
}

CallPattern CallPattern::timing_out() const {
    return with_word(*this, "times");
}

CallPattern call_of(const std::string& function) {
    return function;
}

CallPattern get_objects(const std::string& type) {
    return "DbGetObjects " + type;
}

CallPattern query_objects(const std::string& type, const std::string& property) {
    return "DbGetObjectsByQuery " + type + " " + property;
}

CallPattern query_objects(const std::string& type) {
    return "DbGetObjectsByQuery " + type;
}

CallPattern get_children(const std::string& object, const std::string& type) {
    return "ObGetChildObjects " + object + " " + type;
}

CallPattern get_parents(const std::string& object, const std::string& type) {
    return "ObGetParentObjects " + object + " " + type;
}

CallPattern get_property(const std::string& object, const std::string& property) {
    return "ObGetProperty " + object + " " + quoted(property);
}

CallPattern get_any_property(const std::string& object) {
    return "ObGetProperty " + object;
}

CallPattern get_property_of_any(const std::string& property) {
    return "ObGetProperty " + quoted(property);
}

CallPattern create_set() {
    return "PsCreatePropset";
}

CallPattern add_property(const std::string& property) {
    return "PsAddProperty " + quoted(property);
}

CallPattern add_any_property() {
    return "PsAddProperty";
}

CallPattern add_property_to(unsigned set, const std::string& property) {
    return "PsAddProperty #" + std::to_string(set) + " " + quoted(property);
}

CallPattern add_any_property_to(unsigned set) {
    return "PsAddProperty #" + std::to_string(set);
}

CallPattern find_property(const std::string& property) {
    return "PsFindProperty " + quoted(property);
}

CallPattern call_method(const Method& method) {
    return std::string("PrCallDispatch ") + method.interface_id + " 0." +
           std::to_string(method.minor);
}

}  // namespace sweep
