/*
 * xpc/xpc.h: xpc objects, their value types, dictionaries and the error
 * objects; includes the connection and endpoint interfaces.
 *
 * Objects. Every xpc object is reference counted: a creating call returns it
 * with one reference, which the caller gives back with xpc_release. Values
 * (bool, int64, uint64, double, date, data, string, uuid, fd) are immutable
 * once made and may be shared between threads freely. A dictionary may be
 * read from several threads at once, but must not be changed while another
 * thread reads or changes it. Objects handed to a handler belong to the
 * library and live until the handler returns.
 *
 * The booleans XPC_BOOL_TRUE and XPC_BOOL_FALSE and the three error objects
 * are immortal: retaining and releasing them has no effect. Compare error
 * events by identity with XPC_ERROR_CONNECTION_INVALID,
 * XPC_ERROR_CONNECTION_INTERRUPTED and XPC_ERROR_TERMINATION_IMMINENT; each
 * is a dictionary of type XPC_TYPE_ERROR whose XPC_ERROR_KEY_DESCRIPTION is a
 * readable text.
 *
 * Getters asked for the wrong type or a missing key return 0, false, NULL or
 * -1 (descriptors), as on Apple's platform. Dictionary setters copy the
 * value they are given (data and strings are copied, descriptors are
 * duplicated, objects are retained).
 *
 * Differences from Apple's platform:
 *   - A NULL object, key or dictionary is ignored (getters return their
 *     "nothing" value) instead of trapping, except as noted.
 *   - Data of 64 KiB or more is kept in a sealed memory file, so it travels
 *     to another process without being copied again; xpc_data_get_bytes_ptr
 *     then points into a read-only mapping.
 *   - Arrays, null objects and shared memory objects are not provided.
 *   - xpc_dictionary_apply visits the keys in byte order.
 *   - XPC_ERROR_TERMINATION_IMMINENT exists but is never delivered: nothing
 *     here ends a service on the system's behalf.
 */
#ifndef HARLUNE_COMPAT_XPC_XPC_H
#define HARLUNE_COMPAT_XPC_XPC_H

#include <xpc/base.h>

typedef const struct _xpc_type_s *xpc_type_t;

XPC_BEGIN_DECLS

XPC_EXPORT const struct _xpc_type_s _xpc_type_connection;
XPC_EXPORT const struct _xpc_type_s _xpc_type_endpoint;
XPC_EXPORT const struct _xpc_type_s _xpc_type_bool;
XPC_EXPORT const struct _xpc_type_s _xpc_type_int64;
XPC_EXPORT const struct _xpc_type_s _xpc_type_uint64;
XPC_EXPORT const struct _xpc_type_s _xpc_type_double;
XPC_EXPORT const struct _xpc_type_s _xpc_type_date;
XPC_EXPORT const struct _xpc_type_s _xpc_type_data;
XPC_EXPORT const struct _xpc_type_s _xpc_type_string;
XPC_EXPORT const struct _xpc_type_s _xpc_type_uuid;
XPC_EXPORT const struct _xpc_type_s _xpc_type_fd;
XPC_EXPORT const struct _xpc_type_s _xpc_type_dictionary;
XPC_EXPORT const struct _xpc_type_s _xpc_type_error;

#define XPC_TYPE_CONNECTION (&_xpc_type_connection)
#define XPC_TYPE_ENDPOINT (&_xpc_type_endpoint)
#define XPC_TYPE_BOOL (&_xpc_type_bool)
#define XPC_TYPE_INT64 (&_xpc_type_int64)
#define XPC_TYPE_UINT64 (&_xpc_type_uint64)
#define XPC_TYPE_DOUBLE (&_xpc_type_double)
#define XPC_TYPE_DATE (&_xpc_type_date)
#define XPC_TYPE_DATA (&_xpc_type_data)
#define XPC_TYPE_STRING (&_xpc_type_string)
#define XPC_TYPE_UUID (&_xpc_type_uuid)
#define XPC_TYPE_FD (&_xpc_type_fd)
#define XPC_TYPE_DICTIONARY (&_xpc_type_dictionary)
#define XPC_TYPE_ERROR (&_xpc_type_error)

XPC_EXPORT struct _xpc_bool_s _xpc_bool_true;
XPC_EXPORT struct _xpc_bool_s _xpc_bool_false;
#define XPC_BOOL_TRUE XPC_GLOBAL_OBJECT(_xpc_bool_true)
#define XPC_BOOL_FALSE XPC_GLOBAL_OBJECT(_xpc_bool_false)

XPC_EXPORT struct _xpc_error_s _xpc_error_connection_invalid;
XPC_EXPORT struct _xpc_error_s _xpc_error_connection_interrupted;
XPC_EXPORT struct _xpc_error_s _xpc_error_termination_imminent;
#define XPC_ERROR_CONNECTION_INVALID XPC_GLOBAL_OBJECT(_xpc_error_connection_invalid)
#define XPC_ERROR_CONNECTION_INTERRUPTED XPC_GLOBAL_OBJECT(_xpc_error_connection_interrupted)
#define XPC_ERROR_TERMINATION_IMMINENT XPC_GLOBAL_OBJECT(_xpc_error_termination_imminent)

/* The key under which an error object holds its description string. */
XPC_EXPORT const char *const _xpc_error_key_description;
#define XPC_ERROR_KEY_DESCRIPTION _xpc_error_key_description

/* Objects. */
XPC_EXPORT xpc_object_t xpc_retain(xpc_object_t object) XPC_NOTHROW;
XPC_EXPORT void xpc_release(xpc_object_t object) XPC_NOTHROW;
XPC_EXPORT xpc_type_t xpc_get_type(xpc_object_t object) XPC_NOTHROW;
/* The type's name ("dictionary", "int64", ...). */
XPC_EXPORT const char *xpc_type_get_name(xpc_type_t type) XPC_NOTHROW;
/* A readable rendering; the caller frees it with free(). */
XPC_EXPORT char *xpc_copy_description(xpc_object_t object) XPC_NOTHROW;
/* Values compare by type and content, dictionaries by their entries, and
 * connections, endpoints and descriptors by identity. */
XPC_EXPORT bool xpc_equal(xpc_object_t object1, xpc_object_t object2) XPC_NOTHROW;
XPC_EXPORT size_t xpc_hash(xpc_object_t object) XPC_NOTHROW;

/* Values. xpc_bool_create returns XPC_BOOL_TRUE or XPC_BOOL_FALSE. */
XPC_EXPORT xpc_object_t xpc_bool_create(bool value) XPC_NOTHROW;
XPC_EXPORT bool xpc_bool_get_value(xpc_object_t xbool) XPC_NOTHROW;
XPC_EXPORT xpc_object_t xpc_int64_create(int64_t value) XPC_NOTHROW;
XPC_EXPORT int64_t xpc_int64_get_value(xpc_object_t xint) XPC_NOTHROW;
XPC_EXPORT xpc_object_t xpc_uint64_create(uint64_t value) XPC_NOTHROW;
XPC_EXPORT uint64_t xpc_uint64_get_value(xpc_object_t xuint) XPC_NOTHROW;
XPC_EXPORT xpc_object_t xpc_double_create(double value) XPC_NOTHROW;
XPC_EXPORT double xpc_double_get_value(xpc_object_t xdouble) XPC_NOTHROW;
/* Dates are nanoseconds since 1970-01-01 UTC. */
XPC_EXPORT xpc_object_t xpc_date_create(int64_t interval) XPC_NOTHROW;
XPC_EXPORT xpc_object_t xpc_date_create_from_current(void) XPC_NOTHROW;
XPC_EXPORT int64_t xpc_date_get_value(xpc_object_t xdate) XPC_NOTHROW;
/* Copies `length` bytes; NULL bytes with a length of 0 make empty data. The
 * pointer of empty data is valid and non-NULL. */
XPC_EXPORT xpc_object_t xpc_data_create(const void *bytes, size_t length) XPC_NOTHROW;
XPC_EXPORT const void *xpc_data_get_bytes_ptr(xpc_object_t xdata) XPC_NOTHROW;
XPC_EXPORT size_t xpc_data_get_length(xpc_object_t xdata) XPC_NOTHROW;
/* Copies up to `length` bytes from `offset` on; returns how many. */
XPC_EXPORT size_t xpc_data_get_bytes(xpc_object_t xdata, void *buffer, size_t offset, size_t length) XPC_NOTHROW;
XPC_EXPORT xpc_object_t xpc_string_create(const char *string) XPC_NOTHROW;
XPC_EXPORT size_t xpc_string_get_length(xpc_object_t xstring) XPC_NOTHROW;
XPC_EXPORT const char *xpc_string_get_string_ptr(xpc_object_t xstring) XPC_NOTHROW;
XPC_EXPORT xpc_object_t xpc_uuid_create(const uuid_t uuid) XPC_NOTHROW;
XPC_EXPORT const uint8_t *xpc_uuid_get_bytes(xpc_object_t xuuid) XPC_NOTHROW;
/* Wraps a duplicate of `fd` (close-on-exec); NULL when it cannot be
 * duplicated. xpc_fd_dup returns a further duplicate, or -1. */
XPC_EXPORT xpc_object_t xpc_fd_create(int fd) XPC_NOTHROW;
XPC_EXPORT int xpc_fd_dup(xpc_object_t xfd) XPC_NOTHROW;

/* Dictionaries. */
XPC_EXPORT xpc_object_t xpc_dictionary_create(const char *const *keys, const xpc_object_t *values,
                                              size_t count) XPC_NOTHROW;
/* A reply to a received message that expects one, the first time it is
 * asked for; NULL otherwise (a message made here, one sent without a reply
 * handler, or a second request). Send it with xpc_connection_send_message
 * on the connection the message came from. */
XPC_EXPORT xpc_object_t xpc_dictionary_create_reply(xpc_object_t original) XPC_NOTHROW;
/* The connection a received message or reply arrived on, not retained; it
 * lives at least as long as the message. NULL for any other object. */
XPC_EXPORT xpc_connection_t xpc_dictionary_get_remote_connection(xpc_object_t xdict) XPC_NOTHROW;
/* Retains `value`; a NULL value removes the key. */
XPC_EXPORT void xpc_dictionary_set_value(xpc_object_t xdict, const char *key, xpc_object_t value) XPC_NOTHROW;
XPC_EXPORT xpc_object_t xpc_dictionary_get_value(xpc_object_t xdict, const char *key) XPC_NOTHROW;
XPC_EXPORT size_t xpc_dictionary_get_count(xpc_object_t xdict) XPC_NOTHROW;
XPC_EXPORT void xpc_dictionary_set_bool(xpc_object_t xdict, const char *key, bool value) XPC_NOTHROW;
XPC_EXPORT void xpc_dictionary_set_int64(xpc_object_t xdict, const char *key, int64_t value) XPC_NOTHROW;
XPC_EXPORT void xpc_dictionary_set_uint64(xpc_object_t xdict, const char *key, uint64_t value) XPC_NOTHROW;
XPC_EXPORT void xpc_dictionary_set_double(xpc_object_t xdict, const char *key, double value) XPC_NOTHROW;
XPC_EXPORT void xpc_dictionary_set_date(xpc_object_t xdict, const char *key, int64_t value) XPC_NOTHROW;
XPC_EXPORT void xpc_dictionary_set_data(xpc_object_t xdict, const char *key, const void *bytes,
                                        size_t length) XPC_NOTHROW;
XPC_EXPORT void xpc_dictionary_set_string(xpc_object_t xdict, const char *key, const char *string) XPC_NOTHROW;
XPC_EXPORT void xpc_dictionary_set_uuid(xpc_object_t xdict, const char *key, const uuid_t uuid) XPC_NOTHROW;
XPC_EXPORT void xpc_dictionary_set_fd(xpc_object_t xdict, const char *key, int fd) XPC_NOTHROW;
XPC_EXPORT bool xpc_dictionary_get_bool(xpc_object_t xdict, const char *key) XPC_NOTHROW;
XPC_EXPORT int64_t xpc_dictionary_get_int64(xpc_object_t xdict, const char *key) XPC_NOTHROW;
XPC_EXPORT uint64_t xpc_dictionary_get_uint64(xpc_object_t xdict, const char *key) XPC_NOTHROW;
XPC_EXPORT double xpc_dictionary_get_double(xpc_object_t xdict, const char *key) XPC_NOTHROW;
XPC_EXPORT int64_t xpc_dictionary_get_date(xpc_object_t xdict, const char *key) XPC_NOTHROW;
/* The bytes of a data value and, through `length` when not NULL, their
 * count; NULL (and `length` untouched) when there is no data under `key`. */
XPC_EXPORT const void *xpc_dictionary_get_data(xpc_object_t xdict, const char *key, size_t *length) XPC_NOTHROW;
XPC_EXPORT const char *xpc_dictionary_get_string(xpc_object_t xdict, const char *key) XPC_NOTHROW;
XPC_EXPORT const uint8_t *xpc_dictionary_get_uuid(xpc_object_t xdict, const char *key) XPC_NOTHROW;
/* A new duplicate of the descriptor under `key`, or -1. */
XPC_EXPORT int xpc_dictionary_dup_fd(xpc_object_t xdict, const char *key) XPC_NOTHROW;
/* The dictionary under `key`, not retained, or NULL. */
XPC_EXPORT xpc_object_t xpc_dictionary_get_dictionary(xpc_object_t xdict, const char *key) XPC_NOTHROW;

#ifdef __BLOCKS__
/* Returns false to stop the walk early. */
typedef bool (^xpc_dictionary_applier_t)(const char *key, xpc_object_t value);
/* Calls `applier` for each entry; returns false when it stopped early. The
 * dictionary must not change during the walk. */
XPC_EXPORT bool xpc_dictionary_apply(xpc_object_t xdict, xpc_dictionary_applier_t applier) XPC_NOTHROW;
#endif

XPC_END_DECLS

#include <xpc/connection.h>
#include <xpc/endpoint.h>

#endif
