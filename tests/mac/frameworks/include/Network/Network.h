#pragma once

// The part of Network.framework's C interface that the adapters use, declared by this project: they
// are checked against it where there is no macOS. Its objects are Objective-C objects, which ARC
// retains.

#include <Foundation/Foundation.h>
#include <dispatch/dispatch.h>

#include <cstdint>

#pragma clang assume_nonnull begin

@protocol OS_nw_parameters <NSObject>
@end
@protocol OS_nw_protocol_options <NSObject>
@end
@protocol OS_nw_listener <NSObject>
@end
@protocol OS_nw_connection <NSObject>
@end
@protocol OS_nw_content_context <NSObject>
@end
@protocol OS_nw_error <NSObject>
@end

typedef NSObject<OS_nw_parameters>* nw_parameters_t;
typedef NSObject<OS_nw_protocol_options>* nw_protocol_options_t;
typedef NSObject<OS_nw_listener>* nw_listener_t;
typedef NSObject<OS_nw_connection>* nw_connection_t;
typedef NSObject<OS_nw_content_context>* nw_content_context_t;
typedef NSObject<OS_nw_error>* nw_error_t;

enum nw_listener_state_t : unsigned int {
    nw_listener_state_invalid = 0,
    nw_listener_state_waiting = 1,
    nw_listener_state_ready = 2,
    nw_listener_state_failed = 3,
    nw_listener_state_cancelled = 4,
};

enum nw_connection_state_t : unsigned int {
    nw_connection_state_invalid = 0,
    nw_connection_state_waiting = 1,
    nw_connection_state_preparing = 2,
    nw_connection_state_ready = 3,
    nw_connection_state_failed = 4,
    nw_connection_state_cancelled = 5,
};

typedef void (^nw_parameters_configure_protocol_block_t)(nw_protocol_options_t options);
typedef void (^nw_listener_state_changed_handler_t)(nw_listener_state_t state,
                                                    nw_error_t _Nullable error);
typedef void (^nw_listener_new_connection_handler_t)(nw_connection_t connection);
typedef void (^nw_connection_state_changed_handler_t)(nw_connection_state_t state,
                                                      nw_error_t _Nullable error);
typedef void (^nw_connection_receive_completion_t)(dispatch_data_t _Nullable content,
                                                   nw_content_context_t _Nullable context,
                                                   bool isComplete, nw_error_t _Nullable error);
typedef void (^nw_connection_send_completion_t)(nw_error_t _Nullable error);

extern "C" {

extern const nw_parameters_configure_protocol_block_t _nw_parameters_configure_protocol_disable;
extern const nw_parameters_configure_protocol_block_t
    _nw_parameters_configure_protocol_default_configuration;
extern const nw_content_context_t _nw_content_context_default_message;
#define NW_PARAMETERS_DISABLE_PROTOCOL (_nw_parameters_configure_protocol_disable)
#define NW_PARAMETERS_DEFAULT_CONFIGURATION \
    (_nw_parameters_configure_protocol_default_configuration)
#define NW_CONNECTION_DEFAULT_MESSAGE_CONTEXT (_nw_content_context_default_message)

nw_parameters_t nw_parameters_create_secure_tcp(
    nw_parameters_configure_protocol_block_t configureTLS,
    nw_parameters_configure_protocol_block_t configureTCP) __attribute__((ns_returns_retained));

nw_listener_t _Nullable nw_listener_create_with_port(const char* port, nw_parameters_t parameters)
    __attribute__((ns_returns_retained));
void nw_listener_set_queue(nw_listener_t listener, dispatch_queue_t queue);
void nw_listener_set_state_changed_handler(nw_listener_t listener,
                                           nw_listener_state_changed_handler_t _Nullable handler);
void nw_listener_set_new_connection_handler(nw_listener_t listener,
                                            nw_listener_new_connection_handler_t _Nullable handler);
std::uint16_t nw_listener_get_port(nw_listener_t listener);
void nw_listener_start(nw_listener_t listener);
void nw_listener_cancel(nw_listener_t listener);

void nw_connection_set_queue(nw_connection_t connection, dispatch_queue_t queue);
void nw_connection_set_state_changed_handler(
    nw_connection_t connection, nw_connection_state_changed_handler_t _Nullable handler);
void nw_connection_start(nw_connection_t connection);
void nw_connection_receive(nw_connection_t connection, std::uint32_t minimumLength,
                           std::uint32_t maximumLength,
                           nw_connection_receive_completion_t completion);
void nw_connection_send(nw_connection_t connection, dispatch_data_t _Nullable content,
                        nw_content_context_t context, bool isComplete,
                        nw_connection_send_completion_t completion);
void nw_connection_cancel(nw_connection_t connection);

CFErrorRef nw_error_copy_cf_error(nw_error_t error) __attribute__((cf_returns_retained));

}  // extern "C"

#pragma clang assume_nonnull end
