/*
 * ztbus3.h - contract of the object-bus client library, ztbus3.dll.
 *
 * The bus gives a client access to the objects of the storage management
 * service: it finds them, reads and writes their properties, and sends them
 * method calls that carry one property set in and one out.
 *
 * Statuses. Every function that can fail returns an opal_status. Bits 16 to 27
 * hold a facility, bits 30 and 31 a severity. A status s is a failure
 *   - in facility 0x100 (the bus and the service), if both severity bits are set;
 *   - in facility 0, if s is not 0;
 *   - in any other facility, if bit 31 is set.
 * All other statuses, including informational ones, are successes.
 *
 * Memory. Everything that a function returns must be freed with the function
 * named in its description, and no other. Out arguments are written on success
 * only, unless a description says otherwise.
 *
 * Threads. Every function may be called from any thread. A property set has no
 * lock: only one thread may use it at a time.
 *
 * Strings. "Narrow" means NUL-terminated in the ANSI code page, "wide" means
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
#define ZTERROR_NOT_CONNECTED 0xc1000103u  /* the connection is lost, or not a valid one */
#define ZTERROR_UNKNOWN_OBJECT 0xc1000104u /* no object has that id */
#define ZTERROR_UNKNOWN_METHOD 0xc1000105u /* the target does not offer that method */
#define ZTERROR_BAD_QUERY 0xc1000106u      /* malformed query string */
#define ZTERROR_END_OF_SET 0xc1000107u     /* PsFindNextProperty: no more properties */
#define ZTERROR_DUPLICATE 0xc1000108u      /* PsAddProperty: the set already has that name */
#define ZTERROR_READ_ONLY 0xc1000109u      /* clients may not write this property */
#define ZTERROR_NO_EVENT 0xc100010au       /* nothing listens for the event */

/* ------------------------------------------------------------------- types */

typedef uint8_t opal_bool;
#define opal_false ((opal_bool)0)
#define opal_true ((opal_bool)1)

/* A connection to the service and its context, which functions take as a pair.
 * Both are opaque and come from the command library (ztcmd.h). */
typedef struct opal_connection_s* opal_connection;
typedef struct opal_context_s* opal_context;

/* Identifies one object of the service. Compare ids with ObCompareId only. The
 * null id, all bytes zero, identifies no object. */
typedef struct opal_objid {
    uint8_t bytes[16];
} opal_objid;

/* A property set: named, typed values in the order they were added. */
typedef struct opal_propset_s* opal_propset;

/* Type tags. The tag of an array is its element type with the top bit set. */
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

/* Value of TYPE_I18N: a message to be translated by a catalog. */
typedef struct opal_i18n {
    uint32_t message_id;
    const char* name;    /* narrow, never NULL */
    const char* catalog; /* narrow, never NULL */
} opal_i18n;

/* One string to insert into a pattern. Exactly one of the members is set. */
typedef struct opal_insertion {
    const char* string;         /* narrow, or NULL */
    const wchar_t* wide_string; /* wide, or NULL */
} opal_insertion;

/* Value of TYPE_I18NFORMATSTRING: a pattern and the strings to insert into it. */
typedef struct opal_i18n_format {
    const char* pattern; /* narrow, never NULL */
    uint32_t insertion_count;
    opal_insertion* insertions; /* insertion_count elements; NULL if there are none */
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
 *   array types             `count` consecutive elements of the above; those of
 *                           TYPE_STRZ and TYPE_WSTRZ are pointers to
 *                           NUL-terminated strings
 *
 * `count` is the number of elements: 1 unless the type is an array. `size` is
 * the number of bytes that `value` points to. `value` may be NULL only if
 * `size` is 0. A reader must not look for a terminator or an array element
 * beyond `size`.
 */
typedef struct opal_property {
    const char* name;
    uint32_t type;
    uint32_t count;
    uint32_t size;
    const void* value;
} opal_property;

/* ----------------------------------------------------------- property sets */

/* Creates an empty set. Free it with PsDestroyPropset. */
ZTBUS3_API opal_status PsCreatePropset(opal_propset* set);

/* Destroys a set and everything in it, including nested sets. */
ZTBUS3_API opal_status PsDestroyPropset(opal_propset set);

/* Appends a copy of a property to the set. Returns ZTERROR_DUPLICATE if the set
 * already has a property of that name. */
ZTBUS3_API opal_status PsAddProperty(opal_propset set, const opal_property* property);

/* Replaces the property of that name in place with a copy of `property`, or
 * appends the copy. Returns ZTSTATUS_SAME_VALUE if the value is already set. */
ZTBUS3_API opal_status PsSetProperty(opal_propset set, const opal_property* property);

/* Returns a copy of the property with a name (compared byte for byte). Free it
 * with PsFreeProperty. Returns ZTERROR_PROPERTY if the set has none. */
ZTBUS3_API opal_status PsFindProperty(opal_propset set, const char* name, opal_property* property);

/* Starts an iteration over the set's properties. A set has one iterator. */
ZTBUS3_API opal_status PsOpenPropset(opal_propset set);

/* Returns a copy of the iteration's next property. Free it with PsFreeProperty.
 * Returns ZTERROR_END_OF_SET after the last one. */
ZTBUS3_API opal_status PsFindNextProperty(opal_propset set, opal_property* property);

/* Frees everything that a property returned by the bus points to (name, value
 * and what the value refers to) and clears the record. Does nothing if the
 * record is already cleared. */
ZTBUS3_API opal_status PsFreeProperty(opal_property* property);

/* Creates a new set with copies of all properties of `set`. Free it with
 * PsDestroyPropset. */
ZTBUS3_API opal_status PsCopyPropset(opal_propset set, opal_propset* copy);

/* ----------------------------------------------------------------- objects */

/* Reads one property of an object. Free it with PsFreeProperty. Returns
 * ZTERROR_PROPERTY if the object has no property of that name. */
ZTBUS3_API opal_status ObGetProperty(opal_connection connection, opal_context context,
                                     const opal_objid* object, const char* name,
                                     opal_property* property);

/* Writes one property of an object. */
ZTBUS3_API opal_status ObSetProperty(opal_connection connection, opal_context context,
                                     const opal_objid* object, const opal_property* property);

/* Reads all properties of an object into a new set. Free it with
 * PsDestroyPropset. */
ZTBUS3_API opal_status ObGetProperties(opal_connection connection, opal_context context,
                                       const opal_objid* object, opal_propset* set);

/* Returns the object's type name. Free it with _ZtFree. */
ZTBUS3_API opal_status ObGetObjectType(opal_connection connection, opal_context context,
                                       const opal_objid* object, char** type);

/* Returns the ids of an object's children, in the service's order: those of one
 * type, or all of them if `type` is NULL. Free `ids` with _ZtFree; it is NULL
 * if there are none. */
ZTBUS3_API opal_status ObGetChildObjects(opal_connection connection, opal_context context,
                                         const opal_objid* object, const char* type,
                                         opal_objid** ids, uint32_t* count);

/* Returns the ids of an object's parents, otherwise like ObGetChildObjects. */
ZTBUS3_API opal_status ObGetParentObjects(opal_connection connection, opal_context context,
                                          const opal_objid* object, const char* type,
                                          opal_objid** ids, uint32_t* count);

/* Deletes an object. */
ZTBUS3_API opal_status ObDeleteObject(opal_connection connection, opal_context context,
                                      const opal_objid* object);

/* Returns 0 if both ids identify the same object, else another value. */
ZTBUS3_API int32_t ObCompareId(const opal_objid* left, const opal_objid* right);

/* ---------------------------------------------------------------- database */

/* Returns the ids of all objects of a type, in the service's order. Free `ids`
 * with _ZtFree. Succeeds with a count of 0 and NULL if there are none. */
ZTBUS3_API opal_status DbGetObjects(opal_connection connection, opal_context context,
                                    const char* type, opal_objid** ids, uint32_t* count);

/* Returns the ids of the objects that match a query, like DbGetObjects. The
 * query is: SELECT FROM type where "property" EQ value. The value is the rest
 * of the string after "EQ ", including quotes and blanks. It is compared with
 * the property formatted as a string, ignoring case. */
ZTBUS3_API opal_status DbGetObjectsByQuery(opal_connection connection, opal_context context,
                                           const wchar_t* query, opal_objid** ids, uint32_t* count);

/* ----------------------------------------------------------------- methods */

/*
 * Calls a method of an object and waits until it returns.
 *
 *   target      the object
 *   interface_id, major, minor   the method (see ztservice.h)
 *   input       the parameters, owned by the caller; NULL if there are none
 *   output      a set of the caller that receives the results; may be NULL
 *   reserved1 to reserved4   pass 0
 *   task        receives the service's number for the call; may be NULL
 *   result      receives the provider's own result; may be NULL
 *
 * Returns the method's status, or a bus status if the call did not reach the
 * service.
 */
ZTBUS3_API opal_status PrCallDispatch(opal_connection connection, const opal_objid* target,
                                      const GUID* interface_id, uint32_t major, uint32_t minor,
                                      opal_propset input, opal_propset output, uintptr_t reserved1,
                                      uintptr_t reserved2, uintptr_t reserved3, uintptr_t reserved4,
                                      uint64_t* task, uint64_t* result);

/* ------------------------------------------------------- alerts, messages */

/* Returns whether an alert's name matches a pattern, ignoring case. A "*" in the
 * pattern matches any number of characters. */
ZTBUS3_API opal_bool EvMatch(const char* pattern, const char* name);

/* Appends a copy of a string to the insertions of a format value that was
 * initialised as {pattern, 0, NULL}. The copies and the array are allocated
 * with _ZtAlloc; the caller frees each string, then the array, with _ZtFree. */
ZTBUS3_API opal_status I18nAddInsertionString(opal_i18n_format* format, const char* string);
ZTBUS3_API opal_status I18nAddInsertionWideString(opal_i18n_format* format, const wchar_t* string);

/* --------------------------------------------------------------- utilities */

/* Writes one line to the bus's own trace, which is not farlo's trace log. The
 * format is narrow and follows Windows: "%s" is narrow, "%S" is wide. */
ZTBUS3_API void ZtTrace(uint32_t level, const char* format, ...);

/* Returns a GUID as a string, "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}" in
 * lower-case hexadecimal, or NULL when out of memory. Free it with _ZtFree. */
ZTBUS3_API char* ZtGUIDToString(const GUID* guid);

/* Memory of the bus. _ZtAlloc returns `size` zeroed bytes, or NULL; _ZtFree
 * ignores NULL. */
ZTBUS3_API void* _ZtAlloc(size_t size);
ZTBUS3_API void _ZtFree(void* block);

/* Sleeps for a number of milliseconds. */
ZTBUS3_API void ZtSleep(uint32_t milliseconds);

/* Critical sections, as the bus itself uses them. */
ZTBUS3_API void ZtInitializeCriticalSection(CRITICAL_SECTION* section);
ZTBUS3_API void ZtEnterCriticalSection(CRITICAL_SECTION* section);
ZTBUS3_API void ZtLeaveCriticalSection(CRITICAL_SECTION* section);
ZTBUS3_API void ZtDeleteCriticalSection(CRITICAL_SECTION* section);

/* Convert between wide strings and the ANSI code page. They write at most
 * `capacity` characters, including the terminator, and return the number
 * written without it. With a NULL target they return the required length. If
 * the source is NULL, cannot be converted or does not fit, they return
 * (size_t)-1 and the target is an empty string. */
ZTBUS3_API size_t Ztmbstowcs(wchar_t* target, const char* source, size_t capacity);
ZTBUS3_API size_t Ztwcstombs(char* target, const wchar_t* source, size_t capacity);

/* Closes a Windows handle. Returns FALSE on failure. */
ZTBUS3_API BOOL ZtCloseHandle(HANDLE handle);

#ifdef __cplusplus
}
#endif

#endif
