// IOKit, as far as this program uses it: drivers.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <dispatch/dispatch.h>
#include <mach/mach.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef mach_port_t io_object_t;
typedef io_object_t io_connect_t;
typedef io_object_t io_service_t;
typedef kern_return_t IOReturn;
typedef struct IONotificationPort* IONotificationPortRef;
typedef void (*IOServiceInterestCallback)(void* context, io_service_t service, uint32_t message, void* argument);

#define kIOReturnSuccess KERN_SUCCESS
#define kIOReturnError ((kern_return_t)0xe00002bc)
#define kIOReturnNoDevice ((kern_return_t)0xe00002c0)
#define kIOReturnNotPrivileged ((kern_return_t)0xe00002c1)
#define kIOReturnBadArgument ((kern_return_t)0xe00002c2)
#define kIOReturnNotOpen ((kern_return_t)0xe00002cd)
#define kIOReturnNotPermitted ((kern_return_t)0xe00002e2)

CFMutableDictionaryRef IOServiceMatching(const char* name);
io_service_t IOServiceGetMatchingService(mach_port_t mainPort, CFDictionaryRef matching);
kern_return_t IOServiceOpen(io_service_t service, task_port_t owningTask, uint32_t type, io_connect_t* connect);
kern_return_t IOServiceClose(io_connect_t connect);
kern_return_t IOObjectRelease(io_object_t object);
kern_return_t IOConnectCallStructMethod(mach_port_t connection, uint32_t selector, const void* input, size_t inputSize,
                                        void* output, size_t* outputSize);
void IONotificationPortSetDispatchQueue(IONotificationPortRef port, dispatch_queue_t queue);
void IONotificationPortDestroy(IONotificationPortRef port);

#ifdef __cplusplus
}
#endif
