#include "bus/database.h"

#include "bus/status.h"
#include "bus/trace.h"

#include <cwchar>

namespace farlo {

QueryString::QueryString() : m_string(static_cast<wchar_t*>(_ZtAlloc(bytes))) {}

bool QueryString::format(const char* type, const char* property, const wchar_t* value) {
    const int length = _snwprintf(m_string.get(), characters - 1,
                                  L"SELECT FROM %S where \"%S\" EQ %s", type, property, value);
    m_string.get()[length < 0 ? 0 : length] = L'\0';
    return length >= 0;
}

std::uint32_t CZtDatabase::GetObjects(const ConnectionPair& pair, const char* type,
                                      std::vector<CZtObject>& objects) {
    BusIds ids;
    const std::uint32_t status =
        DbGetObjects(pair.connection, pair.context, type, ids.ids(), ids.count());
    if (is_failure(status)) {
        ZtTrace(trace_level_warning,
                "WARNING: %x in CZtDatabase::GetObjects() call to DbGetObjects for all objects of "
                "type %s failed",
                status, type);
        return status;
    }
    append_objects(objects, pair, ids);
    return status;
}

std::uint32_t CZtDatabase::GetObjectsByQuery(const ConnectionPair& pair, const wchar_t* query,
                                             std::vector<CZtObject>& objects) {
    BusIds ids;
    const std::uint32_t status =
        DbGetObjectsByQuery(pair.connection, pair.context, query, ids.ids(), ids.count());
    if (is_failure(status)) {
        return status;
    }
    append_objects(objects, pair, ids);
    return status;
}

}  // namespace farlo
