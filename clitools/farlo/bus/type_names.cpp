#include "bus/type_names.h"

#include "ztbus3.h"

namespace farlo {
namespace {

#define IS_NOT_OF "%S: ERROR: CZtPropertySet::GetProp() : Property %s is not of "

constexpr TypeNames rows[] = {
    {TYPE_BOOLEAN, "(TYPE_BOOLEAN) ", IS_NOT_OF "TYPE_BOOLEAN"},
    {TYPE_INT32, "(TYPE_INT32) ", IS_NOT_OF "TYPE_INT32"},
    {TYPE_UINT32, "(TYPE_UINT32) ", IS_NOT_OF "TYPE_UINT32"},
    {TYPE_INT64, "(TYPE_INT64) ", IS_NOT_OF "TYPE_INT64"},
    {TYPE_UINT64, "(TYPE_UINT64) ", IS_NOT_OF "TYPE_UINT64"},
    {TYPE_STR, "(TYPE_STR) ", IS_NOT_OF "TYPE_STR"},
    {TYPE_WSTR, "(TYPE_WSTR) ", IS_NOT_OF "TYPE_WSTR"},
    {TYPE_BINARY, "(TYPE_BINARY) ", IS_NOT_OF "TYPE_BINARY"},
    {TYPE_GUID, "(TYPE_GUID) ", IS_NOT_OF "TYPE_GUID"},
    {TYPE_PROPSET, "(TYPE_PROPSET) ", IS_NOT_OF "TYPE_PROPSET"},
    {TYPE_ZTOBJID, "(TYPE_ZTOBJID) ", IS_NOT_OF "TYPE_ZTOBJID or TYPE_GUID"},
    {TYPE_I18N, "(TYPE_I18N) ", IS_NOT_OF "TYPE_I18N"},
    {TYPE_I18NFORMATSTRING, "(TYPE_I18NFORMATSTRING) ", IS_NOT_OF "TYPE_I18NFORMATSTRING"},
    {TYPE_TIME, "(TYPE_TIME) ", IS_NOT_OF "TYPE_TIME"},
    {TYPE_BOOLEANZ, "(TYPE_BOOLEANZ) ", IS_NOT_OF "TYPE_BOOLEANZ"},
    {TYPE_INT32Z, "(TYPE_INT32Z) ", IS_NOT_OF "TYPE_INT32Z"},
    {TYPE_UINT32Z, "(TYPE_UINT32Z) ", IS_NOT_OF "TYPE_UINT32Z"},
    {TYPE_INT64Z, "(TYPE_INT64Z) ", IS_NOT_OF "TYPE_INT64Z"},
    {TYPE_UINT64Z, "(TYPE_UINT64Z) ", IS_NOT_OF "TYPE_UINT64Z"},
    {TYPE_STRZ, "(TYPE_STRZ) ", IS_NOT_OF "TYPE_STRZ"},
    {TYPE_WSTRZ, "(TYPE_WSTRZ) ", IS_NOT_OF "TYPE_WSTRZ"},
    // KEPT: "not or"; trace filters look for this wording.
    {TYPE_GUIDZ, "(TYPE_GUIDZ) ",
     "%S: ERROR: CZtPropertySet::GetProp() : Property %s is not or TYPE_GUIDZ"},
    {TYPE_PROPSETZ, "(TYPE_PROPSETZ) ", IS_NOT_OF "TYPE_PROPSETZ"},
    {TYPE_ZTOBJIDZ, "(TYPE_ZTOBJIDZ) ", IS_NOT_OF "TYPE_ZTOBJIDZ or TYPE_GUIDZ"},
    {TYPE_I18NZ, "(TYPE_I18NZ) ", IS_NOT_OF "TYPE_I18NZ"},
    // KEPT: this type has never had a label.
    {TYPE_I18NFORMATSTRINGZ, "", IS_NOT_OF "TYPE_I18NFORMATSTRINGZ"},
    {TYPE_TIMEZ, "(TYPE_TIMEZ) ", IS_NOT_OF "TYPE_TIMEZ"},
};

constexpr TypeNames unknown = {0, "", IS_NOT_OF "its type"};

}  // namespace

const TypeNames& names_of_type(std::uint32_t tag) {
    for (const TypeNames& row : rows) {
        if (row.tag == tag) {
            return row;
        }
    }
    return unknown;
}

}  // namespace farlo
