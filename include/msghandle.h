/* Datagram messaging: one UDP datagram carries a request; the receiver
 * acknowledges it with the 7 bytes "RECVED!", then sends the handler's reply
 * as a second datagram and runs the handler's after-reply action. */
#ifndef VESPIN_MSGHANDLE_H
#define VESPIN_MSGHANDLE_H

#include <netinet/in.h>
#include <stdint.h>

#include "result_codes.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

#define MESSAGE_RECEIVER_BUFFER_SIZE 8192
#define MESH_REPLY_MAX 2000

/* The action a handler may leave for after its reply has been sent. */
typedef void (*message_post_action)(void);

/* Called once per datagram with (buffer, bytes received, place for the reply,
 * context, place for the after-reply action); both places start NULL. A reply
 * must be heap-allocated and NUL-terminated: the receiver sends and frees it.
 * Returns 0, or a code: then nothing is sent and no action runs. */
typedef int (*message_handler)(char *buffer, int32_t length, char **reply, uintptr_t context,
                               message_post_action *post);

typedef struct message_receiver {
    int32_t socket;
    char buffer[MESSAGE_RECEIVER_BUFFER_SIZE];
    struct sockaddr_in address;
    message_handler handler;
    uintptr_t context;
} message_receiver;

/* New receiver bound to the UDP port (host order; 0 picks a free port, read
 * it with getsockname on receiver->socket): -600000 as a pointer when memory
 * runs out, -600001 when the socket cannot be made or bound. The bind address
 * is the node's own (plat_bind_address): 0.0.0.0 on the router, but in an
 * emulated root the node's loopback address, so that several emulated nodes
 * on one PC can each own the same port. Free with destroy_message_receiver. */
VESPIN_API message_receiver *new_message_receiver(message_handler handler, uintptr_t context, uint16_t port);
/* Serves one datagram: acknowledges it with "RECVED!", calls the handler,
 * sends its reply and then runs its after-reply action (both only when the
 * handler returned 0). Waits as long as it takes: the timeout, in ms, only
 * wakes the wait every (timeout_ms / 1000 + 1) s (a negative timeout counts
 * as 0). A datagram of 8192 bytes fills the buffer without a NUL. Returns the
 * handler's result, or 600001 on a receive error or a NULL receiver. */
VESPIN_API int message_receiver_listen(message_receiver *receiver, int timeout_ms);
/* Closes the socket and frees the receiver; NULL and error values are ignored. */
VESPIN_API void destroy_message_receiver(message_receiver *receiver);

/* Sends payload once to address:port (dotted IPv4 text) and waits for the
 * acknowledgement (reply NULL) or the reply (copied as text, at most 2000
 * bytes, into reply, which must hold 2001); any datagram starting "RECVED"
 * is an acknowledgement. Gives up after three receive timeouts of
 * (timeout_ms / 1000 + 1) s each. Returns 0 or 600406 (also for an address
 * that is not dotted IPv4, a NULL payload or a negative length). A receive
 * error takes the last datagram again as what was received; when that was an
 * acknowledgement, the error counts as a try, so a lasting error ends in
 * 600406 instead of a wait without end. */
VESPIN_API int mesh_req(const char *address, uint16_t port, const char *payload, int length, char *reply,
                        int timeout_ms);
/* mesh_req without a reply buffer and with timeout 0. */
VESPIN_API int mesh_message(const char *address, const char *payload, int length, uint16_t port);
/* mesh_req with a reply buffer and the timeout given. */
VESPIN_API int mesh_call(const char *address, const char *payload, int length, uint16_t port, char *reply,
                         int timeout_ms);

#ifdef __cplusplus
}
#endif

#endif
