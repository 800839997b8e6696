#pragma once

#include <cstddef>
#include <cstdint>
#include <sys/types.h>

#include "dispatch/dispatch.h"

/// XPC, as far as the program uses it, within one process.
using xpc_object_t = void*;
using xpc_type_t = const struct XPCType*;
using xpc_connection_t = struct XPCConnection*;
using xpc_handler_t = void (^)(xpc_object_t);

extern const xpc_type_t XPC_TYPE_NULL, XPC_TYPE_BOOL, XPC_TYPE_INT64, XPC_TYPE_UINT64, XPC_TYPE_DOUBLE, XPC_TYPE_STRING,
    XPC_TYPE_ARRAY, XPC_TYPE_DICTIONARY, XPC_TYPE_CONNECTION, XPC_TYPE_ERROR, XPC_TYPE_DATA;
extern const xpc_object_t XPC_ERROR_CONNECTION_INTERRUPTED, XPC_ERROR_CONNECTION_INVALID,
    XPC_ERROR_PEER_CODE_SIGNING_REQUIREMENT;
inline constexpr std::uint64_t XPC_CONNECTION_MACH_SERVICE_LISTENER = 1;
inline constexpr std::uint64_t XPC_CONNECTION_MACH_SERVICE_PRIVILEGED = 2;

xpc_object_t xpc_retain(xpc_object_t object);
void xpc_release(xpc_object_t object);
xpc_type_t xpc_get_type(xpc_object_t object);

xpc_object_t xpc_null_create();
xpc_object_t xpc_bool_create(bool value);
xpc_object_t xpc_int64_create(std::int64_t value);
xpc_object_t xpc_uint64_create(std::uint64_t value);
xpc_object_t xpc_double_create(double value);
xpc_object_t xpc_string_create(const char* text);
xpc_object_t xpc_array_create(const xpc_object_t* values, std::size_t count);
xpc_object_t xpc_dictionary_create(const char* const* keys, const xpc_object_t* values, std::size_t count);
bool xpc_bool_get_value(xpc_object_t object);
std::int64_t xpc_int64_get_value(xpc_object_t object);
std::uint64_t xpc_uint64_get_value(xpc_object_t object);
double xpc_double_get_value(xpc_object_t object);
const char* xpc_string_get_string_ptr(xpc_object_t object);
std::size_t xpc_string_get_length(xpc_object_t object);
std::size_t xpc_array_get_count(xpc_object_t array);
xpc_object_t xpc_array_get_value(xpc_object_t array, std::size_t index);
void xpc_array_append_value(xpc_object_t array, xpc_object_t value);
xpc_object_t xpc_dictionary_get_value(xpc_object_t dictionary, const char* key);
void xpc_dictionary_set_value(xpc_object_t dictionary, const char* key, xpc_object_t value);
bool xpc_dictionary_apply(xpc_object_t dictionary, bool (^each)(const char* key, xpc_object_t value));
xpc_object_t xpc_dictionary_create_reply(xpc_object_t message);
xpc_connection_t xpc_dictionary_get_remote_connection(xpc_object_t message);

xpc_connection_t xpc_connection_create_mach_service(const char* name, dispatch_queue_t queue, std::uint64_t flags);
void xpc_connection_set_target_queue(xpc_connection_t connection, dispatch_queue_t queue);
void xpc_connection_set_event_handler(xpc_connection_t connection, xpc_handler_t handler);
int xpc_connection_set_peer_code_signing_requirement(xpc_connection_t connection, const char* requirement);
void xpc_connection_resume(xpc_connection_t connection);
void xpc_connection_cancel(xpc_connection_t connection);
void xpc_connection_send_message(xpc_connection_t connection, xpc_object_t message);
void xpc_connection_send_message_with_reply(xpc_connection_t connection, xpc_object_t message, dispatch_queue_t queue,
                                            xpc_handler_t handler);
uid_t xpc_connection_get_euid(xpc_connection_t connection);
pid_t xpc_connection_get_pid(xpc_connection_t connection);
