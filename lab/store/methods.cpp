#include "methods.h"

namespace lab {
namespace {

struct Row {
    const GUID* interface_id;
    std::uint32_t minor;
    MethodHandler handler;
};

// Every method has the major number 0.
constexpr Row methods[] = {
    {&volume_manager_operations, 2001, deport_group},
    {&volume_manager_operations, 2003, import_group},
    {&volume_manager_operations, 6054, rescan_disks},
    {&cluster_service_interface, 1, get_group_guid},
    {&cluster_service_interface, 11, get_volume_guid},
};

}  // namespace

MethodHandler find_method(const GUID& interface_id, std::uint32_t major, std::uint32_t minor) {
    for (const Row& row : methods) {
        if (major == 0 && row.minor == minor && IsEqualGUID(*row.interface_id, interface_id)) {
            return row.handler;
        }
    }
    return nullptr;
}

std::string narrow(const std::wstring& text) {
    std::string result;
    for (const wchar_t character : text) {
        result += character < 0x100 ? static_cast<char>(character) : '?';
    }
    return result;
}

}  // namespace lab
