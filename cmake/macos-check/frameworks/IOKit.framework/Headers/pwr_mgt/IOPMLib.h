// IOKit, as far as this program uses it: sleep and wake.
#pragma once

#include <IOKit/IOKitLib.h>

#ifdef __cplusplus
extern "C" {
#endif

io_connect_t IORegisterForSystemPower(void* context, IONotificationPortRef* port, IOServiceInterestCallback callback,
                                      io_object_t* notifier);
IOReturn IODeregisterForSystemPower(io_object_t* notifier);
IOReturn IOAllowPowerChange(io_connect_t kernelPort, intptr_t notification);

#ifdef __cplusplus
}
#endif
