/*
 * ztbus3.h - contract of the object-bus client library, ztbus3.dll.
 *
 * The bus gives a client access to the objects of the storage management
 * service: it finds them, reads and writes their properties, and sends them
 * method calls that carry one property set in and one out.
 *
 * Statuses. Every function that can fail returns an opal_status. Bits 16 to 27
 * hold a facility, bits 30 and 31 a severity. A status s is a failure
 *   - facility 0x100 (the bus and the service): when both top bits are set;
 *   - facility 0: when s is not 0;
 *   - any other facility: when bit 31 is set.
 * Everything else, informational statuses included, is a success.
 *
 * Memory. What a function hands out is freed by the function that its
 * description names, and by no other. Out arguments are written on success
 * only, except where a description says otherwise.
 *
 * Threads. Every function may be called from any thread. A property set is not
 * guarded: one thread at a time.
 *
 * Texts. "Narrow" is NUL-terminated in the ANSI code page, "wide" is
 * NUL-terminated UTF-16. Type names and property names are narrow.
 */
#ifndef ZTBUS3_H
#define ZTBUS3_H

#include <windows.h>

#include <stddef.h>
#include <stdint.h>

#ifdef ZTBUS3_BUILD
#define ZTBUS3_API __declspec(dllexport)
#else
#define ZTBUS3_API __declspec(dllimport)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---------------------------------------------------------------- statuses */

typedef uint32_t opal_status;

#define ZTSTATUS_OK 0x00000000u
/* PsSetProperty: the property already has that value; nothing was changed. */
#define ZTSTATUS_SAME_VALUE 0x41000012u
#define ZTERROR_PROVIDER 0xc1000001u      /* provider failed, or a start failed */
#define ZTERROR_NULL_OBJECT 0xc1000010u   /* the null object id was given */
#define ZTERROR_PROPERTY 0xc100003au      /* property missing or of another type */
#define ZTERROR_SHUTTING_DOWN 0xc10000c9u /* the runtime is shutting down */
#define ZTERROR_INVALID_ARGUMENT 0xc1000101u
#define ZTERROR_NO_MEMORY 0xc1000102u
#define ZTERROR_NOT_CONNECTED 0xc1000103u  /* the connection is gone, or was never one */
#define ZTERROR_UNKNOWN_OBJECT 0xc1000104u /* no object has that id */
#define ZTERROR_UNKNOWN_METHOD 0xc1000105u /* the target does not offer that method */
#define ZTERROR_BAD_QUERY 0xc1000106u      /* a query text that is no query */
#define ZTERROR_END_OF_SET 0xc1000107u     /* PsFindNextProperty: no further property */
#define ZTERROR_DUPLICATE 0xc1000108u      /* PsAddProperty: the set has that name already */
#define ZTERROR_READ_ONLY 0xc1000109u      /* the service does not let clients write it */
#define ZTERROR_NO_EVENT 0xc100010au       /* nobody listens for the event */

/* ------------------------------------------------------------------- types */

typedef uint8_t opal_bool;
#define opal_false ((opal_bool)0)
#define opal_true ((opal_bool)1)

/* One connection to the service, and the second word that goes with it. Both
 * come from the command library (ztcmd.h) and are opaque. */
typedef struct opal_connection_s* opal_connection;
typedef struct opal_context_s* opal_context;

/* Names one object of the service. Compared with ObCompareId only. All bytes
 * zero is the null id, which names no object. */
typedef struct opal_objid {
    uint8_t bytes[16];
} opal_objid;

/* A property set: named, typed values in the order in which they were added. */
typedef struct opal_propset_s* opal_propset;

/* Type tags. An array type is its element type with the top bit set. */
#define TYPE_BOOLEAN 1u
#define TYPE_INT32 2u
#define TYPE_UINT32 3u
#define TYPE_INT64 4u
#define TYPE_UINT64 5u
#define TYPE_STR 6u
#define TYPE_WSTR 7u
#define TYPE_BINARY 8u
#define TYPE_GUID 9u
#define TYPE_PROPSET 10u
#define TYPE_ZTOBJID 11u
#define TYPE_I18N 16u
#define TYPE_I18NFORMATSTRING 17u
#define TYPE_TIME 0x10005u
#define TYPE_ARRAY_BIT 0x80000000u
#define TYPE_BOOLEANZ (TYPE_ARRAY_BIT | TYPE_BOOLEAN)
#define TYPE_INT32Z (TYPE_ARRAY_BIT | TYPE_INT32)
#define TYPE_UINT32Z (TYPE_ARRAY_BIT | TYPE_UINT32)
#define TYPE_INT64Z (TYPE_ARRAY_BIT | TYPE_INT64)
#define TYPE_UINT64Z (TYPE_ARRAY_BIT | TYPE_UINT64)
#define TYPE_STRZ (TYPE_ARRAY_BIT | TYPE_STR)
#define TYPE_WSTRZ (TYPE_ARRAY_BIT | TYPE_WSTR)
#define TYPE_GUIDZ (TYPE_ARRAY_BIT | TYPE_GUID)
#define TYPE_PROPSETZ (TYPE_ARRAY_BIT | TYPE_PROPSET)
#define TYPE_ZTOBJIDZ (TYPE_ARRAY_BIT | TYPE_ZTOBJID)
#define TYPE_I18NZ (TYPE_ARRAY_BIT | TYPE_I18N)
#define TYPE_I18NFORMATSTRINGZ (TYPE_ARRAY_BIT | TYPE_I18NFORMATSTRING)
#define TYPE_TIMEZ (TYPE_ARRAY_BIT | TYPE_TIME)

/* Value of TYPE_I18N: a message that a catalog translates. */
typedef struct opal_i18n {
    uint32_t message_id;
    const char* name;    /* narrow, never NULL */
    const char* catalog; /* narrow, never NULL */
} opal_i18n;

/* One text put into a format pattern. Exactly one of the two is set. */
typedef struct opal_insertion {
    const char* text;         /* narrow, or NULL */
    const wchar_t* wide_text; /* wide, or NULL */
} opal_insertion;

/* Value of TYPE_I18NFORMATSTRING: a pattern and the texts put into it. */
typedef struct opal_i18n_format {
    const char* pattern; /* narrow, never NULL */
    uint32_t insertion_count;
    opal_insertion* insertions; /* insertion_count of them; NULL when there is none */
} opal_i18n_format;

/*
 * One property. `value` points to the value:
 *
 *   TYPE_BOOLEAN            opal_bool
 *   TYPE_INT32, _UINT32     int32_t, uint32_t
 *   TYPE_INT64, _UINT64     int64_t, uint64_t
 *   TYPE_TIME               int64_t: 100 ns steps since 1601-01-01 UTC
 *   TYPE_STR                the characters themselves, `size` bytes with the NUL
 *   TYPE_WSTR               the characters themselves, `size` bytes with the NUL
 *   TYPE_BINARY             the bytes themselves, `size` of them
 *   TYPE_GUID               GUID
 *   TYPE_ZTOBJID            opal_objid
 *   TYPE_PROPSET            opal_propset
 *   TYPE_I18N               opal_i18n
 *   TYPE_I18NFORMATSTRING   opal_i18n_format
 *   array types             `count` elements of the above, one behind the other;
 *                           for TYPE_STRZ and TYPE_WSTRZ the elements are
 *                           pointers to NUL-terminated texts
 *
 * `count` is the number of elements, 1 for a type that is no array. `size` is
 * the number of bytes that `value` points to. `value` may be NULL only when
 * `size` is 0. Readers trust neither a terminator beyond `size` nor an array
 * longer than `size`.
 */
typedef struct opal_property {
    const char* name;
    uint32_t type;
    uint32_t count;
    uint32_t size;
    const void* value;
} opal_property;

/* ----------------------------------------------------------- property sets */

/* Makes an empty set. Freed by PsDestroyPropset. */
ZTBUS3_API opal_status PsCreatePropset(opal_propset* set);

/* Destroys a set and all that it holds, nested sets included. */
ZTBUS3_API opal_status PsDestroyPropset(opal_propset set);

/* Adds a copy of a property at the end of the set. ZTERROR_DUPLICATE when the
 * set has a property of that name already. */
ZTBUS3_API opal_status PsAddProperty(opal_propset set, const opal_property* property);

/* Replaces the property of that name by a copy, in its place, or adds it at the
 * end. ZTSTATUS_SAME_VALUE when the set holds that very value already. */
ZTBUS3_API opal_status PsSetProperty(opal_propset set, const opal_property* property);

/* Finds a property by name (compared byte for byte). ZTERROR_PROPERTY when the
 * set has none. What was found is a copy, freed by PsFreeProperty. */
ZTBUS3_API opal_status PsFindProperty(opal_propset set, const char* name, opal_property* property);

/* Puts the set's walk before its first property. A set has one walk. */
ZTBUS3_API opal_status PsOpenPropset(opal_propset set);

/* Hands out a copy of the next property of the walk, freed by PsFreeProperty;
 * ZTERROR_END_OF_SET behind the last. */
ZTBUS3_API opal_status PsFindNextProperty(opal_propset set, opal_property* property);

/* Frees what a property that the bus handed out points to (the name, the value
 * and all below it) and clears the record. A cleared record is left alone. */
ZTBUS3_API opal_status PsFreeProperty(opal_property* property);

/* Makes a new set with copies of all properties of `set`. Freed by
 * PsDestroyPropset. */
ZTBUS3_API opal_status PsCopyPropset(opal_propset set, opal_propset* copy);

/* ----------------------------------------------------------------- objects */

/* Reads one property of an object. ZTERROR_PROPERTY when it has none of that
 * name. Freed by PsFreeProperty. */
ZTBUS3_API opal_status ObGetProperty(opal_connection connection, opal_context context,
                                     const opal_objid* object, const char* name,
                                     opal_property* property);

/* Writes one property of an object. */
ZTBUS3_API opal_status ObSetProperty(opal_connection connection, opal_context context,
                                     const opal_objid* object, const opal_property* property);

/* Reads all properties of an object into a new set, freed by PsDestroyPropset. */
ZTBUS3_API opal_status ObGetProperties(opal_connection connection, opal_context context,
                                       const opal_objid* object, opal_propset* set);

/* The object's type name; freed by _ZtFree. */
ZTBUS3_API opal_status ObGetObjectType(opal_connection connection, opal_context context,
                                       const opal_objid* object, char** type);

/* The ids of the objects below an object, in the service's order: of all types
 * when `type` is NULL, else of that type. `ids` is freed by _ZtFree and is NULL
 * when there is none. */
ZTBUS3_API opal_status ObGetChildObjects(opal_connection connection, opal_context context,
                                         const opal_objid* object, const char* type,
                                         opal_objid** ids, uint32_t* count);

/* The ids of the objects of a type above an object; otherwise as
 * ObGetChildObjects. */
ZTBUS3_API opal_status ObGetParentObjects(opal_connection connection, opal_context context,
                                          const opal_objid* object, const char* type,
                                          opal_objid** ids, uint32_t* count);

/* Deletes an object. */
ZTBUS3_API opal_status ObDeleteObject(opal_connection connection, opal_context context,
                                      const opal_objid* object);

/* 0 when both ids name the same object, else not 0. Cannot fail. */
ZTBUS3_API int32_t ObCompareId(const opal_objid* left, const opal_objid* right);

/* ---------------------------------------------------------------- database */

/* The ids of all objects of a type, in the service's order. No object is a
 * success with a count of 0 and NULL. `ids` is freed by _ZtFree. */
ZTBUS3_API opal_status DbGetObjects(opal_connection connection, opal_context context,
                                    const char* type, opal_objid** ids, uint32_t* count);

/* The ids of the objects that a query names, as DbGetObjects gives them. The
 * text is: SELECT FROM type where "property" EQ value. The value is all that
 * stands behind "EQ ", quotes and blanks included; it is compared with the
 * property's text form without regard to case. */
ZTBUS3_API opal_status DbGetObjectsByQuery(opal_connection connection, opal_context context,
                                           const wchar_t* query, opal_objid** ids, uint32_t* count);

/* ----------------------------------------------------------------- methods */

/*
 * Calls a method of an object and waits for its answer.
 *
 *   target, interface_id, major, minor   which method of which object
 *   input       the parameters; stays the caller's; may be NULL (no parameters)
 *   output      a set of the caller's that receives the results; may be NULL
 *   reserved1 to reserved4               pass 0
 *   task, result   receive the service's number for the call and the provider's
 *                  own result; may be NULL
 *
 * Returns the method's status, or a bus status when the call did not get there.
 */
ZTBUS3_API opal_status PrCallDispatch(opal_connection connection, const opal_objid* target,
                                      const GUID* interface_id, uint32_t major, uint32_t minor,
                                      opal_propset input, opal_propset output, uintptr_t reserved1,
                                      uintptr_t reserved2, uintptr_t reserved3, uintptr_t reserved4,
                                      uint64_t* task, uint64_t* result);

/* ------------------------------------------------------- alerts, messages */

/* Whether an alert's name matches a pattern, without regard to case; a "*" in
 * the pattern stands for any characters. Cannot fail. */
ZTBUS3_API opal_bool EvMatch(const char* pattern, const char* name);

/* Appends a copy of a text to the insertions of a format value that was begun
 * as {pattern, 0, NULL}. The copies and the array come from _ZtAlloc; the
 * caller frees each text and then the array with _ZtFree. */
ZTBUS3_API opal_status I18nAddInsertionString(opal_i18n_format* format, const char* text);
ZTBUS3_API opal_status I18nAddInsertionWideString(opal_i18n_format* format, const wchar_t* text);

/* --------------------------------------------------------------- utilities */

/* Writes one line to the bus's own trace, which is not farlo's trace log. The
 * format is narrow, of the Windows family: "%s" narrow, "%S" wide. */
ZTBUS3_API void ZtTrace(uint32_t level, const char* format, ...);

/* The text of a GUID, "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}" in lower-case
 * hexadecimal; freed by _ZtFree. NULL when out of memory. */
ZTBUS3_API char* ZtGUIDToString(const GUID* guid);

/* Memory of the bus: _ZtAlloc returns `size` zeroed bytes, or NULL; _ZtFree
 * takes NULL without complaint. */
ZTBUS3_API void* _ZtAlloc(size_t size);
ZTBUS3_API void _ZtFree(void* block);

/* Sleeps for a number of milliseconds. */
ZTBUS3_API void ZtSleep(uint32_t milliseconds);

/* The bus's own critical sections. */
ZTBUS3_API void ZtInitializeCriticalSection(CRITICAL_SECTION* section);
ZTBUS3_API void ZtEnterCriticalSection(CRITICAL_SECTION* section);
ZTBUS3_API void ZtLeaveCriticalSection(CRITICAL_SECTION* section);
ZTBUS3_API void ZtDeleteCriticalSection(CRITICAL_SECTION* section);

/* Conversions in the ANSI code page. They write at most `capacity` characters,
 * the terminator included, and return the number written without it, or
 * (size_t)-1 when the text is no text or does not fit (the target is then an
 * empty text). With a NULL target they return the length that is needed. */
ZTBUS3_API size_t Ztmbstowcs(wchar_t* target, const char* source, size_t capacity);
ZTBUS3_API size_t Ztwcstombs(char* target, const wchar_t* source, size_t capacity);

/* Closes a Windows handle; FALSE when that failed. */
ZTBUS3_API BOOL ZtCloseHandle(HANDLE handle);

#ifdef __cplusplus
}
#endif

#endif
