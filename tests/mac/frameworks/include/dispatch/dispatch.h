#pragma once

// The part of Dispatch that the adapters use, declared by this project: they are checked against it
// where there is no macOS. Its objects are Objective-C objects, which ARC retains.

#include <Foundation/Foundation.h>

#include <cstddef>
#include <cstdint>

#pragma clang assume_nonnull begin

@protocol OS_dispatch_queue <NSObject>
@end
@protocol OS_dispatch_queue_attr <NSObject>
@end
@protocol OS_dispatch_source <NSObject>
@end
@protocol OS_dispatch_data <NSObject>
@end

typedef NSObject<OS_dispatch_queue>* dispatch_queue_t;
typedef NSObject<OS_dispatch_queue_attr>* dispatch_queue_attr_t;
typedef NSObject<OS_dispatch_source>* dispatch_source_t;
typedef NSObject<OS_dispatch_data>* dispatch_data_t;
typedef void (^dispatch_block_t)(void);
typedef void (*dispatch_function_t)(void* _Nullable context);
typedef bool (^dispatch_data_applier_t)(dispatch_data_t region, std::size_t offset,
                                        const void* buffer, std::size_t size);
using dispatch_time_t = std::uint64_t;
typedef const struct dispatch_source_type_s* dispatch_source_type_t;

enum qos_class_t : unsigned int {
    QOS_CLASS_DEFAULT = 0x15,
    QOS_CLASS_USER_INITIATED = 0x19,
};

#define DISPATCH_QUEUE_SERIAL nullptr
#define DISPATCH_TIME_NOW (0ull)
#define DISPATCH_TIME_FOREVER (~0ull)
#define DISPATCH_DATA_DESTRUCTOR_DEFAULT nullptr

extern "C" {

extern const struct dispatch_source_type_s _dispatch_source_type_signal;
extern const struct dispatch_source_type_s _dispatch_source_type_timer;
#define DISPATCH_SOURCE_TYPE_SIGNAL (&_dispatch_source_type_signal)
#define DISPATCH_SOURCE_TYPE_TIMER (&_dispatch_source_type_timer)

dispatch_queue_attr_t dispatch_queue_attr_make_with_qos_class(
    dispatch_queue_attr_t _Nullable attributes, qos_class_t qosClass, int relativePriority);
dispatch_queue_t dispatch_queue_create(const char* _Nullable label,
                                       dispatch_queue_attr_t _Nullable attributes)
    __attribute__((ns_returns_retained));
dispatch_queue_t dispatch_get_main_queue(void);
void dispatch_async_f(dispatch_queue_t queue, void* _Nullable context, dispatch_function_t work);

dispatch_time_t dispatch_time(dispatch_time_t when, std::int64_t nanoseconds);
dispatch_time_t dispatch_walltime(const struct timespec* _Nullable when, std::int64_t nanoseconds);

dispatch_source_t dispatch_source_create(dispatch_source_type_t type, std::uintptr_t handle,
                                         std::uintptr_t mask, dispatch_queue_t _Nullable queue)
    __attribute__((ns_returns_retained));
void dispatch_source_set_event_handler(dispatch_source_t source,
                                       dispatch_block_t _Nullable handler);
void dispatch_source_set_timer(dispatch_source_t source, dispatch_time_t start,
                               std::uint64_t interval, std::uint64_t leeway);
void dispatch_source_cancel(dispatch_source_t source);
void dispatch_resume(dispatch_source_t source);

dispatch_data_t dispatch_data_create(const void* buffer, std::size_t size,
                                     dispatch_queue_t _Nullable queue,
                                     dispatch_block_t _Nullable destructor)
    __attribute__((ns_returns_retained));
dispatch_data_t dispatch_data_create_concat(dispatch_data_t first, dispatch_data_t second)
    __attribute__((ns_returns_retained));
bool dispatch_data_apply(dispatch_data_t data, dispatch_data_applier_t applier);

}  // extern "C"

#pragma clang assume_nonnull end
