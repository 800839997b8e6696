// The unified log, as far as this program uses it.
#pragma once

#include <os/base.h>
#include <stdint.h>

__BEGIN_DECLS

typedef struct os_log_s* os_log_t;
typedef uint8_t os_log_type_t;

enum { OS_LOG_TYPE_DEFAULT = 0x00, OS_LOG_TYPE_INFO = 0x01, OS_LOG_TYPE_DEBUG = 0x02, OS_LOG_TYPE_ERROR = 0x10 };

extern void* __dso_handle;

os_log_t os_log_create(const char* subsystem, const char* category);
void _os_log_impl(void* dso, os_log_t log, os_log_type_t type, const char* format, uint8_t* buffer, uint32_t size);

#define os_log_with_type(log, type, format, ...)                                                                \
  __extension__({                                                                                               \
    static const char text[] __attribute__((section("__TEXT,__oslogstring,cstring_literals"))) = format;        \
    uint8_t _Alignas(16) buffer[__builtin_os_log_format_buffer_size(format, ##__VA_ARGS__)];                    \
    _os_log_impl(&__dso_handle, log, type, text,                                                                \
                 static_cast<uint8_t*>(__builtin_os_log_format(buffer, format, ##__VA_ARGS__)), sizeof buffer); \
  })

__END_DECLS
