#pragma once

/// Grand Central Dispatch with one list of work for all queues, which the test runs.
using dispatch_queue_t = struct DoubleQueue*;
using dispatch_function_t = void (*)(void*);

dispatch_queue_t dispatch_queue_create(const char* label, const void* attributes);
void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work);
void dispatch_sync_f(dispatch_queue_t queue, void* context, dispatch_function_t work);
void dispatch_release(dispatch_queue_t queue);
